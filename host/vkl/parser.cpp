#include "host/vkl/parser.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "host/vkl/engine.h"
#include "host/vkl/operators.h"
#include "host/vkl/text_codec.h"

namespace vkl::lang {
namespace {

// Nesting of statements and parenthesised expressions, and the height of an expression tree:
// both bound the recursion of the parser and of the evaluator.
constexpr int kMaxNesting = 400;
constexpr int kMaxHeight = 1000;
constexpr int64_t kParserStackReserve = 512 * 1024;

class Parser {
 public:
  Parser(Engine& E, std::vector<Token> tokens, const std::string* file, const ParseOptions& o)
      : E_(E), L_(E.state()), toks_(std::move(tokens)), file_(file), opts_(o) {}

  std::unique_ptr<Chunk> run() {
    auto chunk = std::make_unique<Chunk>();
    chunk->file = file_;
    chunk_ = chunk.get();
    while (!at(Tok::End)) {
      if (at(Tok::KwFunction)) {
        function_declaration();
        continue;
      }
      if (StmtPtr s = statement()) chunk->statements.push_back(std::move(s));
    }
    return chunk;
  }

 private:
  struct FunctionScope {
    std::unordered_map<std::string, int> locals;
    std::unordered_set<std::string> globals;
    int nslots = 0;
  };

  // Counts nesting while a construct is parsed.
  class Nest {
   public:
    explicit Nest(Parser& p) : p_(p) {
      const int64_t stack = VKL_StackAvail();
      if (++p_.nesting_ > kMaxNesting || (stack != 0 && stack < kParserStackReserve))
        p_.fail("nested too deeply");
    }
    ~Nest() { --p_.nesting_; }
    Nest(const Nest&) = delete;
    Nest& operator=(const Nest&) = delete;

   private:
    Parser& p_;
  };

  // ---- tokens ----

  const Token& cur() const { return toks_[pos_]; }
  const Token& ahead(size_t n) const { return toks_[std::min(pos_ + n, toks_.size() - 1)]; }
  bool at(Tok k) const { return cur().kind == k; }
  const Token& advance() {
    const Token& t = toks_[pos_];
    if (pos_ + 1 < toks_.size()) ++pos_;
    return t;
  }
  bool accept(Tok k) {
    if (!at(k)) return false;
    advance();
    return true;
  }
  const Token& expect(Tok k) {
    if (!at(k)) fail(std::string("expected ") + token_name(k) + ", found " + found());
    return advance();
  }
  std::string found() const {
    if (at(Tok::Ident)) return "'" + cur().text + "'";
    return token_name(cur().kind);
  }
  [[noreturn]] void fail(const std::string& msg) const {
    throw SyntaxError(msg, cur().line, at(Tok::End));
  }

  // A simple statement ends with ';', which may be left out before 'end', 'else' or the end of
  // the input.
  void end_statement() {
    if (accept(Tok::Semicolon)) return;
    if (at(Tok::KwEnd) || at(Tok::KwElse) || at(Tok::End)) return;
    fail("expected ';', found " + found());
  }

  // ---- names ----

  Slot resolve(const std::string& lower) {
    if (!scope_ || scope_->globals.count(lower)) return E_.global_slot(lower);
    auto it = scope_->locals.find(lower);
    if (it == scope_->locals.end()) it = scope_->locals.emplace(lower, scope_->nslots++).first;
    return Slot{false, it->second};
  }

  bool find_existing(const std::string& lower, Slot* slot) const {
    if (!scope_ || scope_->globals.count(lower)) return E_.find_global(lower, slot);
    const auto it = scope_->locals.find(lower);
    if (it == scope_->locals.end()) return false;
    *slot = Slot{false, it->second};
    return true;
  }

  ExprPtr variable(int line, const std::string& lower) {
    const Slot s = resolve(lower);
    slot_log_.push_back(s);
    return std::make_unique<Variable>(line, s);
  }

  // ---- statements ----

  StmtPtr statement() {
    Nest nest(*this);
    const int line = cur().line;
    switch (cur().kind) {
      case Tok::Semicolon:
        advance();
        return nullptr;
      case Tok::KwBegin:
        return block();
      case Tok::KwIf:
        return if_statement();
      case Tok::KwWhile: {
        advance();
        ExprPtr cond = expression();
        expect(Tok::KwDo);
        return std::make_unique<While>(line, std::move(cond), loop_body());
      }
      case Tok::KwFor:
        return for_statement();
      case Tok::KwFunction:
        fail("functions are declared at the top level");
      case Tok::KwReturn: {
        advance();
        ExprPtr value;
        if (!at(Tok::Semicolon) && !at(Tok::KwEnd) && !at(Tok::KwElse) && !at(Tok::End))
          value = expression();
        end_statement();
        return std::make_unique<Return>(line, std::move(value));
      }
      case Tok::KwBreak:
      case Tok::KwContinue: {
        const bool is_break = at(Tok::KwBreak);
        if (loops_ == 0) fail(std::string(is_break ? "break" : "continue") + " outside a loop");
        advance();
        end_statement();
        return std::make_unique<Jump>(line, is_break ? Flow::Break : Flow::Continue);
      }
      case Tok::KwEcho:
        return echo_statement();
      case Tok::KwGlobal:
        global_statement();
        return nullptr;
      default:
        return simple_statement();
    }
  }

  StmtPtr block() {
    auto b = std::make_unique<Block>(cur().line);
    expect(Tok::KwBegin);
    while (!accept(Tok::KwEnd)) {
      if (at(Tok::End)) fail("expected end, found end of input");
      if (StmtPtr s = statement()) b->body.push_back(std::move(s));
    }
    accept(Tok::Semicolon);
    return b;
  }

  StmtPtr if_statement() {
    const int line = advance().line;
    ExprPtr cond = expression();
    expect(Tok::KwThen);
    StmtPtr then_branch = statement_or_empty();
    StmtPtr else_branch;
    if (accept(Tok::KwElse)) else_branch = statement_or_empty();
    return std::make_unique<If>(line, std::move(cond), std::move(then_branch),
                                std::move(else_branch));
  }

  StmtPtr statement_or_empty() {
    if (at(Tok::End)) fail("expected a statement, found end of input");
    StmtPtr s = statement();
    if (!s) s = std::make_unique<Block>(cur().line);
    return s;
  }

  StmtPtr loop_body() {
    ++loops_;
    StmtPtr body = statement_or_empty();
    --loops_;
    return body;
  }

  StmtPtr for_statement() {
    const int line = advance().line;
    const Token& name = expect(Tok::Ident);
    const Slot s = resolve(ascii_lower(name.text));
    slot_log_.push_back(s);
    expect(Tok::Assign);
    ExprPtr from = expression();
    bool down = false;
    if (accept(Tok::KwDownto)) down = true;
    else expect(Tok::KwTo);
    ExprPtr to = expression();
    expect(Tok::KwDo);
    return std::make_unique<For>(line, s, std::move(from), std::move(to), down, loop_body());
  }

  StmtPtr echo_statement() {
    auto e = std::make_unique<Echo>(advance().line);
    if (!at(Tok::Semicolon) && !at(Tok::KwEnd) && !at(Tok::KwElse) && !at(Tok::End)) {
      do e->values.push_back(expression());
      while (accept(Tok::Comma));
    }
    end_statement();
    return e;
  }

  void global_statement() {
    advance();
    do {
      const std::string lower = ascii_lower(expect(Tok::Ident).text);
      if (scope_) {
        if (scope_->locals.count(lower)) fail("'" + lower + "' is already a local variable");
        scope_->globals.insert(lower);
      }
      E_.global_slot(lower);
    } while (accept(Tok::Comma));
    end_statement();
  }

  // An assignment (to a variable or a table entry) or an expression statement.
  StmtPtr simple_statement() {
    const int line = cur().line;
    ExprPtr target = expression();
    if (!accept(Tok::Assign)) {
      end_statement();
      return std::make_unique<ExprStmt>(line, std::move(target), opts_.print_values);
    }
    ExprPtr value = expression();
    end_statement();
    if (const Slot* s = target->variable()) return std::make_unique<Assign>(line, *s, std::move(value));
    std::vector<ExprPtr> keys;
    Expr* at_expr = target.get();
    while (auto* index = dynamic_cast<Index*>(at_expr)) {
      keys.push_back(std::move(index->key));
      at_expr = index->base.get();
    }
    const Slot* base = at_expr->variable();
    if (keys.empty() || !base) throw SyntaxError("cannot assign to this expression", line, false);
    std::reverse(keys.begin(), keys.end());
    return std::make_unique<IndexAssign>(line, *base, std::move(keys), std::move(value));
  }

  void function_declaration() {
    const int line = advance().line;
    const Token& name = expect(Tok::Ident);
    auto fn = std::make_unique<Function>();
    fn->name = name.text;
    fn->file = file_;
    fn->line = line;
    FunctionScope scope;
    if (accept(Tok::LParen) && !accept(Tok::RParen)) {
      do {
        const std::string param = ascii_lower(expect(Tok::Ident).text);
        if (!scope.locals.emplace(param, scope.nslots).second)
          fail("parameter '" + param + "' is named twice");
        ++scope.nslots;
      } while (accept(Tok::Comma));
      expect(Tok::RParen);
    }
    accept(Tok::Semicolon);
    fn->nparams = scope.nslots;
    scope_ = &scope;
    const int outer_loops = loops_;
    loops_ = 0;
    if (at(Tok::End)) fail("expected the body of " + fn->name + ", found end of input");
    fn->body = statement_or_empty();
    loops_ = outer_loops;
    scope_ = nullptr;
    fn->nslots = scope.nslots;
    chunk_->functions.push_back(std::move(fn));
  }

  // ---- expressions ----

  template <typename T>
  ExprPtr grown(std::unique_ptr<T> node, std::initializer_list<const Expr*> children) {
    int h = 0;
    for (const Expr* c : children)
      if (c) h = std::max(h, c->height);
    node->height = h + 1;
    if (node->height > kMaxHeight) throw SyntaxError("expression too complex", node->line, false);
    return node;
  }

  ExprPtr logical(int line, bool is_and, ExprPtr a, ExprPtr b) {
    const Expr* l = a.get();
    const Expr* r = b.get();
    return grown(std::make_unique<Logical>(line, is_and, std::move(a), std::move(b)), {l, r});
  }

  ExprPtr expression() {
    Nest nest(*this);
    ExprPtr a = and_expression();
    while (at(Tok::KwOr)) {
      const int line = advance().line;
      a = logical(line, false, std::move(a), and_expression());
    }
    return a;
  }

  ExprPtr and_expression() {
    ExprPtr a = not_expression();
    while (at(Tok::KwAnd)) {
      const int line = advance().line;
      a = logical(line, true, std::move(a), not_expression());
    }
    return a;
  }

  ExprPtr not_expression() {
    if (at(Tok::KwNot)) {
      Nest nest(*this);
      const int line = advance().line;
      ExprPtr e = not_expression();
      const Expr* child = e.get();
      return grown(std::make_unique<Unary>(line, UnaryOp::Not, std::move(e)), {child});
    }
    return comparison();
  }

  static bool comparison_op(Tok k, BinaryOp* op) {
    switch (k) {
      case Tok::Eq: *op = BinaryOp::Eq; return true;
      case Tok::Ne: *op = BinaryOp::Ne; return true;
      case Tok::Lt: *op = BinaryOp::Lt; return true;
      case Tok::Gt: *op = BinaryOp::Gt; return true;
      case Tok::Le: *op = BinaryOp::Le; return true;
      case Tok::Ge: *op = BinaryOp::Ge; return true;
      default: return false;
    }
  }

  ExprPtr binary(int line, BinaryOp op, ExprPtr a, ExprPtr b) {
    const Expr* l = a.get();
    const Expr* r = b.get();
    auto n = std::make_unique<Binary>(line, op, std::move(a), std::move(b));
    return grown(std::move(n), {l, r});
  }

  ExprPtr comparison() {
    ExprPtr a = additive();
    BinaryOp op;
    while (comparison_op(cur().kind, &op)) {
      const int line = advance().line;
      a = binary(line, op, std::move(a), additive());
    }
    return a;
  }

  ExprPtr additive() {
    ExprPtr a = multiplicative();
    while (at(Tok::Plus) || at(Tok::Minus)) {
      const BinaryOp op = at(Tok::Plus) ? BinaryOp::Add : BinaryOp::Sub;
      const int line = advance().line;
      a = binary(line, op, std::move(a), multiplicative());
    }
    return a;
  }

  ExprPtr multiplicative() {
    ExprPtr a = unary();
    for (;;) {
      BinaryOp op;
      switch (cur().kind) {
        case Tok::Star: op = BinaryOp::Mul; break;
        case Tok::Slash: op = BinaryOp::Div; break;
        case Tok::KwDiv: op = BinaryOp::IntDiv; break;
        case Tok::KwMod: op = BinaryOp::Mod; break;
        default: return a;
      }
      const int line = advance().line;
      a = binary(line, op, std::move(a), unary());
    }
  }

  ExprPtr unary() {
    if (at(Tok::Minus) || at(Tok::Plus)) {
      Nest nest(*this);
      const bool negate = at(Tok::Minus);
      const int line = advance().line;
      if (negate && (at(Tok::Int) || at(Tok::Real))) return number(advance(), true);
      ExprPtr e = unary();
      if (!negate) return e;
      const Expr* child = e.get();
      return grown(std::make_unique<Unary>(line, UnaryOp::Negate, std::move(e)), {child});
    }
    return postfix();
  }

  ExprPtr postfix() {
    ExprPtr e = primary();
    for (;;) {
      if (at(Tok::LBracket)) {
        const int line = advance().line;
        ExprPtr key = expression();
        expect(Tok::RBracket);
        const Expr* b = e.get();
        const Expr* k = key.get();
        e = grown(std::make_unique<Index>(line, std::move(e), std::move(key)), {b, k});
      } else if (at(Tok::Dot)) {
        const int line = advance().line;
        const std::string name = expect(Tok::Ident).text;
        if (!at(Tok::LParen)) fail("expected '(' after the method name " + name);
        const Expr* obj = e.get();
        auto m = std::make_unique<MethodCall>(line, std::move(e), name);
        const int h = arguments(&m->args);
        e = grown(std::move(m), {obj});
        e->height = std::max(e->height, h + 1);
      } else {
        return e;
      }
    }
  }

  ExprPtr number(const Token& t, bool negated) {
    TObject v;
    vkl_put_nil(&v);
    if (t.kind == Tok::Real) {
      vkl_put_real(&v, negated ? -t.real_value : t.real_value);
    } else {
      const int64_t raw = t.int_value;
      if (raw == std::numeric_limits<int64_t>::min() && !negated) {
        vkl_put_real(&v, 9223372036854775808.0);  // 2^63 does not fit an int64
      } else {
        const int64_t value = negated ? static_cast<int64_t>(0ULL - static_cast<uint64_t>(raw))
                                      : raw;
        if (t.int64_suffix) vkl_put_int64(&v, value);
        else put_integer(&v, value);
      }
    }
    return std::make_unique<Constant>(t.line, L_, v);
  }

  ExprPtr constant_of(int line, TObject v) { return std::make_unique<Constant>(line, L_, v); }

  ExprPtr primary() {
    const Token& t = cur();
    const int line = t.line;
    TObject v;
    vkl_put_nil(&v);
    switch (t.kind) {
      case Tok::Int:
      case Tok::Real:
        return number(advance(), false);
      case Tok::String:
        if (!VKL_SetStringEx(L_, &v, t.text.data(), static_cast<int64_t>(t.text.size())))
          fail("string too long");
        advance();
        return constant_of(line, v);
      case Tok::WString:
        if (!VKL_SetWStringEx(L_, &v, t.wide.data(), static_cast<int64_t>(t.wide.size())))
          fail("string too long");
        advance();
        return constant_of(line, v);
      case Tok::Binary:
        if (!VKL_SetBin(L_, &v, t.text.data(), static_cast<int64_t>(t.text.size())))
          fail("binary too long");
        advance();
        return constant_of(line, v);
      case Tok::KwNil:
        advance();
        return constant_of(line, v);
      case Tok::KwInf:
        advance();
        vkl_put_real(&v, std::numeric_limits<double>::infinity());
        return constant_of(line, v);
      case Tok::KwNan:
        advance();
        vkl_put_real(&v, std::numeric_limits<double>::quiet_NaN());
        return constant_of(line, v);
      case Tok::KwArray:
        return array_literal();
      case Tok::LParen: {
        advance();
        ExprPtr e = expression();
        expect(Tok::RParen);
        return e;
      }
      case Tok::At: {
        advance();
        const Token& name = expect(Tok::Ident);
        return std::make_unique<FunctionRef>(line, name.text, ascii_lower(name.text));
      }
      case Tok::Ident:
        return name_expression();
      default:
        fail("expected an expression, found " + found());
    }
  }

  ExprPtr array_literal() {
    const int line = advance().line;
    auto a = std::make_unique<ArrayLiteral>(line);
    expect(Tok::LParen);
    int h = 0;
    if (!accept(Tok::RParen)) {
      do {
        ArrayLiteral::Entry entry;
        entry.value = expression();
        if (accept(Tok::Colon)) {
          entry.key = std::move(entry.value);
          entry.value = expression();
          h = std::max(h, entry.key->height);
        } else {
          ++a->positional;
        }
        h = std::max(h, entry.value->height);
        a->entries.push_back(std::move(entry));
      } while (accept(Tok::Comma));
      expect(Tok::RParen);
    }
    a->height = h + 1;
    if (a->height > kMaxHeight) throw SyntaxError("expression too complex", line, false);
    return a;
  }

  // Parses "(args)"; returns the tallest argument's height.
  int arguments(Args* args) {
    expect(Tok::LParen);
    const size_t log_start = slot_log_.size();
    std::vector<std::pair<size_t, size_t>> ranges;
    int h = 0;
    if (!accept(Tok::RParen)) {
      do {
        const size_t from = slot_log_.size();
        args->exprs.push_back(expression());
        ranges.emplace_back(from, slot_log_.size());
        h = std::max(h, args->exprs.back()->height);
      } while (accept(Tok::Comma));
      expect(Tok::RParen);
    }
    args->movable.assign(args->exprs.size(), 0);
    for (size_t i = 0; i < args->exprs.size(); ++i) {
      const Slot* s = args->exprs[i]->variable();
      if (!s || s->global) continue;
      const auto uses = std::count_if(slot_log_.begin() + static_cast<ptrdiff_t>(log_start),
                                      slot_log_.end(), [&](const Slot& u) {
                                        return !u.global && u.index == s->index;
                                      });
      args->movable[i] = uses == 1;
    }
    return h;
  }

  ExprPtr name_expression() {
    const Token& t = advance();
    const int line = t.line;
    const std::string name = t.text;
    const std::string lower = ascii_lower(name);
    if (!at(Tok::LParen)) return variable(line, lower);
    if (opts_.test_builtins) {
      if (ExprPtr check = test_builtin(line, lower)) return check;
    }
    auto call = std::make_unique<Call>(line, name, lower);
    call->has_variable = find_existing(lower, &call->variable_slot);
    const int h = arguments(&call->args);
    call->height = h + 1;
    return call;
  }

  ExprPtr test_builtin(int line, const std::string& lower) {
    size_t want = 0;
    if (lower == "check") want = 2;
    else if (lower == "checknear") want = 3;
    else if (lower == "checkfail") want = 1;
    else return nullptr;
    Args args;
    const int h = arguments(&args);
    if (args.exprs.size() != want)
      throw SyntaxError(lower + " takes " + std::to_string(want) + " argument" +
                            (want == 1 ? "" : "s"),
                        line, false);
    ExprPtr e;
    auto& a = args.exprs;
    if (want == 2) e = std::make_unique<CheckEqual>(line, std::move(a[0]), std::move(a[1]));
    else if (want == 3)
      e = std::make_unique<CheckNear>(line, std::move(a[0]), std::move(a[1]), std::move(a[2]));
    else e = std::make_unique<CheckFail>(line, std::move(a[0]));
    e->height = h + 1;
    return e;
  }

  Engine& E_;
  VKL_State* L_;
  std::vector<Token> toks_;
  size_t pos_ = 0;
  const std::string* file_;
  ParseOptions opts_;
  Chunk* chunk_ = nullptr;
  FunctionScope* scope_ = nullptr;
  int loops_ = 0;
  int nesting_ = 0;
  std::vector<Slot> slot_log_;
};

}  // namespace

std::unique_ptr<Chunk> parse(Engine& E, std::string_view source, const std::string* file,
                             const ParseOptions& options) {
  return Parser(E, tokenize(source), file, options).run();
}

}  // namespace vkl::lang
