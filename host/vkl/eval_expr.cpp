// Evaluation of expressions: values, operators, tables, calls of script functions, handlers,
// function values and object methods.
#include <cstring>

#include "host/vkl/engine.h"
#include "host/vkl/operators.h"

namespace vkl::lang {

void ArgCells::fill(Engine& E, Frame& F, const Args& args, bool write_back) {
  for (int i = 0; i < args.size(); ++i) {
    const Expr& e = *args.exprs[static_cast<size_t>(i)];
    const Slot* s = write_back ? e.variable() : nullptr;
    if (!s) {
      e.eval(E, F, &cells_[i]);
      continue;
    }
    TObject* v = E.cell(F, *s);
    if (args.movable[static_cast<size_t>(i)]) {
      std::memcpy(&cells_[i], v, sizeof(TObject));
      vkl_put_nil(v);
    } else if (!copy_cell(E.state(), &cells_[i], v)) {
      E.fail(F, e.line, "out of memory");
    }
    back_[i] = v;
    std::memcpy(&given_[i], &cells_[i], sizeof(TObject));
  }
}

namespace {

// The left operand of a pair: a variable is read in place unless evaluating the right operand
// could change it.
const TObject* left_operand(Engine& E, Frame& F, const Expr& left, const Expr& right,
                            TObject* tmp) {
  if (right.pure()) return left.peek(E, F, tmp);
  left.eval(E, F, tmp);
  return tmp;
}

}  // namespace

void Constant::eval(Engine& E, Frame& F, TObject* out) const {
  if (!copy_cell(E.state(), out, &value)) E.fail(F, line, "out of memory");
}

void Variable::eval(Engine& E, Frame& F, TObject* out) const {
  if (!copy_cell(E.state(), out, E.cell(F, slot))) E.fail(F, line, "out of memory");
}

const TObject* Variable::peek(Engine& E, Frame& F, TObject*) const { return E.cell(F, slot); }

void Index::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell base_tmp(E.state()), key_tmp(E.state());
  const TObject* b = vkl_follow(left_operand(E, F, *base, *key, base_tmp.get()));
  const TObject* k = key->peek(E, F, key_tmp.get());
  if (b->tag == VKL_TNIL) return;  // indexing nil reads nil
  if (b->tag != VKL_TTABLE) E.fail(F, line, "cannot index " + kind_name(b));
  const TObject* entry = VKL_HashGet(vkl_table(b), vkl_follow(k));
  if (entry && !copy_cell(E.state(), out, entry)) E.fail(F, line, "out of memory");
}

void Unary::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell tmp(E.state());
  const TObject* v = operand->peek(E, F, tmp.get());
  if (op == UnaryOp::Not) {
    vkl_put_int(out, !VKL_AsBool(v));
    return;
  }
  const std::string error = apply_negate(v, out);
  if (!error.empty()) E.fail(F, line, error);
}

void Binary::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell ta(E.state()), tb(E.state());
  const TObject* a = left_operand(E, F, *lhs, *rhs, ta.get());
  const TObject* b = rhs->peek(E, F, tb.get());
  if (a->tag == VKL_TINT && b->tag == VKL_TINT) {
    const int64_t x = vkl_int(a), y = vkl_int(b);
    switch (op) {
      case BinaryOp::Add: put_integer(out, x + y); return;
      case BinaryOp::Sub: put_integer(out, x - y); return;
      case BinaryOp::Mul: put_integer(out, x * y); return;
      case BinaryOp::Eq: vkl_put_int(out, x == y); return;
      case BinaryOp::Ne: vkl_put_int(out, x != y); return;
      case BinaryOp::Lt: vkl_put_int(out, x < y); return;
      case BinaryOp::Gt: vkl_put_int(out, x > y); return;
      case BinaryOp::Le: vkl_put_int(out, x <= y); return;
      case BinaryOp::Ge: vkl_put_int(out, x >= y); return;
      default: break;
    }
  }
  const std::string error = apply_binary(E.state(), op, a, b, out);
  if (!error.empty()) E.fail(F, line, error);
}

bool truth(Engine& E, Frame& F, const Expr& e) {
  TempCell tmp(E.state());
  const TObject* v = e.peek(E, F, tmp.get());
  if (v->tag == VKL_TINT) return vkl_int(v) != 0;
  return VKL_AsBool(v) != 0;
}

void Logical::eval(Engine& E, Frame& F, TObject* out) const {
  const bool a = truth(E, F, *lhs);
  if (conjunction ? !a : a) {
    vkl_put_int(out, a);
    return;
  }
  vkl_put_int(out, truth(E, F, *rhs));
}

void ArrayLiteral::eval(Engine& E, Frame& F, TObject* out) const {
  VKL_State* L = E.state();
  TempCell table(L);
  if (!VKL_NewHashEx(L, table.get(), positional,
                     static_cast<int64_t>(entries.size()) - positional))
    E.fail(F, line, "out of memory");
  int32_t next = 0;
  for (const Entry& entry : entries) {
    TempCell key(L), value(L);
    if (entry.key) entry.key->eval(E, F, key.get());
    else vkl_put_int(key.get(), next++);
    entry.value->eval(E, F, value.get());
    TObject* slot = VKL_HashSet(L, vkl_table(table.get()), vkl_follow(key.get()));
    if (!slot) E.fail(F, entry.value->line, "a table key cannot be " + kind_name(key.get()));
    move_cell(L, slot, value.get());
  }
  move_cell(L, out, table.get());
}

void Call::eval(Engine& E, Frame& F, TObject* out) const {
  if (has_variable) {
    const TObject* v = vkl_follow(E.cell(F, variable_slot));
    if (v->tag == VKL_TFUNCTION) {
      TempCell callee(E.state());
      if (!copy_cell(E.state(), callee.get(), v)) E.fail(F, line, "out of memory");
      ArgCells cells(E.state(), args.size());
      cells.fill(E, F, args, false);
      E.call_value(callee.get(), cells.data(), args.size(), out, F, line);
      return;
    }
  }
  if (cached_generation != E.generation()) {
    function = E.find_function(lower);
    handler = function ? nullptr : VKL_FindFunction(lower.data(), static_cast<int64_t>(lower.size()));
    if (!function && !handler) E.fail(F, line, "unknown function " + name);
    cached_generation = E.generation();
  }
  if (function) {
    E.call_function(*function, args, F, out, line);
    return;
  }
  ArgCells cells(E.state(), args.size());
  cells.fill(E, F, args, true);
  E.call_handler(handler, name, cells.data(), args.size(), out, F, line);
}

void MethodCall::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell obj(E.state());
  object->eval(E, F, obj.get());
  ArgCells cells(E.state(), args.size());
  cells.fill(E, F, args, true);
  const Engine::CallSite site(E, F, line);
  const int ok = VKL_CallAnyMethod(E.state(), obj.get(), name.c_str(), cells.data(), args.size(), out);
  E.rethrow_callback_error(ok);
  if (ok == -1) E.fail(F, line, "no method " + name + " for " + kind_name(vkl_follow(obj.get())));
  if (ok != 1) E.fail(F, line, name + ": call rejected");
}

void FunctionRef::eval(Engine& E, Frame& F, TObject* out) const {
  const Function* fn = E.find_function(lower);
  VKL_Handler handler =
      fn ? nullptr : VKL_FindFunction(lower.data(), static_cast<int64_t>(lower.size()));
  if (!fn && !handler) E.fail(F, line, "unknown function " + name);
  E.make_function_value(out, fn, handler, name);
}

}  // namespace vkl::lang
