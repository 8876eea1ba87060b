// The syntax tree the parser builds and the evaluator walks. Variables are resolved to slots
// while parsing, and call nodes cache what their name resolves to, so running a script does no
// string work.
#pragma once

#include <vkl/kernel.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vkl::lang {

class Engine;

// Where a variable lives: a cell of the engine's globals or of the running function's frame.
struct Slot {
  bool global = true;
  int index = -1;
};

// The cells of one running function (top-level code has no locals).
struct Frame {
  TObject* locals = nullptr;
  const std::string* file = nullptr;
  TObject ret{VKL_TNIL, {}};
};

struct Node {
  explicit Node(int at) : line(at) {}
  virtual ~Node() = default;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  int line;
};

struct Expr : Node {
  using Node::Node;
  int height = 1;  // of the subtree: bounds the evaluator's recursion
  // Writes the value into `out`, a nil cell the caller owns.
  virtual void eval(Engine& E, Frame& F, TObject* out) const = 0;
  // The value without a copy where possible: a variable's own cell (valid until the variable
  // changes) or `tmp` (a nil cell the caller owns and frees).
  virtual const TObject* peek(Engine& E, Frame& F, TObject* tmp) const {
    eval(E, F, tmp);
    return tmp;
  }
  // Evaluating it calls nothing and changes no variable.
  virtual bool pure() const { return false; }
  // The slot when the expression is a plain variable.
  virtual const Slot* variable() const { return nullptr; }
};
using ExprPtr = std::unique_ptr<Expr>;

enum class Flow { Next, Break, Continue, Return };

struct Stmt : Node {
  using Node::Node;
  virtual Flow exec(Engine& E, Frame& F) const = 0;
};
using StmtPtr = std::unique_ptr<Stmt>;

// A script function. Parameters take the first slots of its frame, other locals follow.
struct Function {
  std::string name;
  const std::string* file = nullptr;
  int line = 0;
  int nparams = 0;
  int nslots = 0;
  StmtPtr body;
};

// ---- expressions ----

struct Constant final : Expr {
  Constant(int at, VKL_State* L, const TObject& v) : Expr(at), state(L), value(v) {}
  ~Constant() override { VKL_FreeObjectContent(state, &value); }
  void eval(Engine& E, Frame& F, TObject* out) const override;
  const TObject* peek(Engine&, Frame&, TObject*) const override { return &value; }
  bool pure() const override { return true; }
  VKL_State* state;
  TObject value;
};

struct Variable final : Expr {
  Variable(int at, Slot s) : Expr(at), slot(s) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  const TObject* peek(Engine& E, Frame& F, TObject* tmp) const override;
  bool pure() const override { return true; }
  const Slot* variable() const override { return &slot; }
  Slot slot;
};

struct Index final : Expr {
  Index(int at, ExprPtr b, ExprPtr k) : Expr(at), base(std::move(b)), key(std::move(k)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  bool pure() const override { return base->pure() && key->pure(); }
  ExprPtr base, key;
};

enum class UnaryOp { Negate, Not };

struct Unary final : Expr {
  Unary(int at, UnaryOp o, ExprPtr e) : Expr(at), op(o), operand(std::move(e)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  bool pure() const override { return operand->pure(); }
  UnaryOp op;
  ExprPtr operand;
};

enum class BinaryOp { Add, Sub, Mul, Div, IntDiv, Mod, Eq, Ne, Lt, Gt, Le, Ge };

struct Binary final : Expr {
  Binary(int at, BinaryOp o, ExprPtr a, ExprPtr b)
      : Expr(at), op(o), lhs(std::move(a)), rhs(std::move(b)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  bool pure() const override { return lhs->pure() && rhs->pure(); }
  BinaryOp op;
  ExprPtr lhs, rhs;
};

// `and` / `or`: short-circuit, the result is the integer 1 or 0.
struct Logical final : Expr {
  Logical(int at, bool is_and, ExprPtr a, ExprPtr b)
      : Expr(at), conjunction(is_and), lhs(std::move(a)), rhs(std::move(b)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  bool pure() const override { return lhs->pure() && rhs->pure(); }
  bool conjunction;
  ExprPtr lhs, rhs;
};

struct ArrayLiteral final : Expr {
  struct Entry {
    ExprPtr key;  // null for a positional entry
    ExprPtr value;
  };
  explicit ArrayLiteral(int at) : Expr(at) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  std::vector<Entry> entries;
  int64_t positional = 0;
};

// The arguments of a call. A plain variable argument receives its cell back after a handler
// call; `movable` marks local variables named nowhere else in the list, whose cells are moved
// into the call instead of copied.
struct Args {
  std::vector<ExprPtr> exprs;
  std::vector<uint8_t> movable;
  int size() const { return static_cast<int>(exprs.size()); }
};

struct Call final : Expr {
  Call(int at, std::string n, std::string key) : Expr(at), name(std::move(n)), lower(std::move(key)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  std::string name;   // as written, for messages
  std::string lower;  // the lookup key
  // A variable of the same name, called when it holds a function value.
  bool has_variable = false;
  Slot variable_slot;
  Args args;
  // What the name resolved to at the engine's generation `cached_generation`.
  mutable uint64_t cached_generation = 0;
  mutable const Function* function = nullptr;
  mutable VKL_Handler handler = nullptr;
};

struct MethodCall final : Expr {
  MethodCall(int at, ExprPtr obj, std::string n) : Expr(at), object(std::move(obj)), name(std::move(n)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  ExprPtr object;
  std::string name;
  Args args;
};

// `@name`: a function value of a script function or a registered one.
struct FunctionRef final : Expr {
  FunctionRef(int at, std::string n, std::string key) : Expr(at), name(std::move(n)), lower(std::move(key)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  std::string name, lower;
};

// Test helpers, known to the parser only in test runs.
struct CheckEqual final : Expr {
  CheckEqual(int at, ExprPtr a, ExprPtr b) : Expr(at), actual(std::move(a)), expected(std::move(b)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  ExprPtr actual, expected;
};

struct CheckNear final : Expr {
  CheckNear(int at, ExprPtr a, ExprPtr b, ExprPtr t)
      : Expr(at), actual(std::move(a)), expected(std::move(b)), tolerance(std::move(t)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  ExprPtr actual, expected, tolerance;
};

struct CheckFail final : Expr {
  CheckFail(int at, ExprPtr c) : Expr(at), call(std::move(c)) {}
  void eval(Engine& E, Frame& F, TObject* out) const override;
  ExprPtr call;
};

// ---- statements ----

struct ExprStmt final : Stmt {
  ExprStmt(int at, ExprPtr e, bool show) : Stmt(at), expr(std::move(e)), print(show) {}
  Flow exec(Engine& E, Frame& F) const override;
  ExprPtr expr;
  bool print;  // the interactive reader shows the value
};

struct Assign final : Stmt {
  Assign(int at, Slot s, ExprPtr v) : Stmt(at), slot(s), value(std::move(v)) {}
  Flow exec(Engine& E, Frame& F) const override;
  Slot slot;
  ExprPtr value;
};

// `v[k1][k2] := e`: nil along the way becomes a table.
struct IndexAssign final : Stmt {
  IndexAssign(int at, Slot s, std::vector<ExprPtr> k, ExprPtr v)
      : Stmt(at), slot(s), keys(std::move(k)), value(std::move(v)) {}
  Flow exec(Engine& E, Frame& F) const override;
  Slot slot;
  std::vector<ExprPtr> keys;
  ExprPtr value;
};

struct Echo final : Stmt {
  explicit Echo(int at) : Stmt(at) {}
  Flow exec(Engine& E, Frame& F) const override;
  std::vector<ExprPtr> values;
};

struct If final : Stmt {
  If(int at, ExprPtr c, StmtPtr t, StmtPtr e)
      : Stmt(at), cond(std::move(c)), then_branch(std::move(t)), else_branch(std::move(e)) {}
  Flow exec(Engine& E, Frame& F) const override;
  ExprPtr cond;
  StmtPtr then_branch, else_branch;
};

struct While final : Stmt {
  While(int at, ExprPtr c, StmtPtr b) : Stmt(at), cond(std::move(c)), body(std::move(b)) {}
  Flow exec(Engine& E, Frame& F) const override;
  ExprPtr cond;
  StmtPtr body;
};

struct For final : Stmt {
  For(int at, Slot s, ExprPtr a, ExprPtr b, bool down, StmtPtr st)
      : Stmt(at), slot(s), from(std::move(a)), to(std::move(b)), downto(down), body(std::move(st)) {}
  Flow exec(Engine& E, Frame& F) const override;
  Slot slot;
  ExprPtr from, to;
  bool downto;
  StmtPtr body;
};

struct Block final : Stmt {
  explicit Block(int at) : Stmt(at) {}
  Flow exec(Engine& E, Frame& F) const override;
  std::vector<StmtPtr> body;
};

struct Return final : Stmt {
  Return(int at, ExprPtr v) : Stmt(at), value(std::move(v)) {}
  Flow exec(Engine& E, Frame& F) const override;
  ExprPtr value;  // may be null
};

struct Jump final : Stmt {
  Jump(int at, Flow f) : Stmt(at), flow(f) {}
  Flow exec(Engine&, Frame&) const override { return flow; }
  Flow flow;
};

}  // namespace vkl::lang
