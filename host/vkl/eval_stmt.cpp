// Execution of statements.
#include <string>

#include "host/vkl/engine.h"
#include "host/vkl/operators.h"

namespace vkl::lang {
namespace {

int64_t bound_of(Engine& E, Frame& F, const Expr& e) {
  TempCell tmp(E.state());
  const TObject* v = vkl_follow(e.peek(E, F, tmp.get()));
  if (!vkl_is_number_tag(v->tag)) E.fail(F, e.line, "a for bound must be a number, not " + kind_name(v));
  return VKL_AsInt64(v);
}

}  // namespace

Flow ExprStmt::exec(Engine& E, Frame& F) const {
  TempCell value(E.state());
  expr->eval(E, F, value.get());
  if (print) E.write_line(E.literal_text(value.get()));
  return Flow::Next;
}

Flow Assign::exec(Engine& E, Frame& F) const {
  TempCell v(E.state());
  value->eval(E, F, v.get());
  move_cell(E.state(), E.cell(F, slot), v.get());
  return Flow::Next;
}

Flow IndexAssign::exec(Engine& E, Frame& F) const {
  VKL_State* L = E.state();
  const int n = static_cast<int>(keys.size());
  // Keys and value come first, so no entry pointer is held while script code runs.
  CellBlock cells(L, n + 1);
  for (int i = 0; i < n; ++i) keys[static_cast<size_t>(i)]->eval(E, F, &cells[i]);
  value->eval(E, F, &cells[n]);
  TObject* at = E.cell(F, slot);
  for (int i = 0; i < n; ++i) {
    at = vkl_follow(at);
    VKL_Table* t = VKL_ForceTable(L, at, 0);
    if (!t) E.fail(F, line, "cannot index " + kind_name(at));
    TObject* entry = VKL_HashSet(L, t, vkl_follow(&cells[i]));
    if (!entry) E.fail(F, line, "a table key cannot be " + kind_name(vkl_follow(&cells[i])));
    at = entry;
  }
  move_cell(L, at, &cells[n]);
  return Flow::Next;
}

Flow Echo::exec(Engine& E, Frame& F) const {
  std::string line_text;
  for (size_t i = 0; i < values.size(); ++i) {
    TempCell tmp(E.state());
    const TObject* v = values[i]->peek(E, F, tmp.get());
    if (i) line_text += ' ';
    line_text += E.display_text(v);
  }
  E.echo_line(line_text);
  return Flow::Next;
}

Flow If::exec(Engine& E, Frame& F) const {
  if (truth(E, F, *cond)) return then_branch->exec(E, F);
  return else_branch ? else_branch->exec(E, F) : Flow::Next;
}

Flow While::exec(Engine& E, Frame& F) const {
  for (;;) {
    E.check_stop(F, line);
    if (!truth(E, F, *cond)) return Flow::Next;
    const Flow flow = body->exec(E, F);
    if (flow == Flow::Break) return Flow::Next;
    if (flow == Flow::Return) return flow;
  }
}

Flow For::exec(Engine& E, Frame& F) const {
  const int64_t first = bound_of(E, F, *from);
  const int64_t last = bound_of(E, F, *to);
  const int64_t step = downto ? -1 : 1;
  if (downto ? first < last : first > last) return Flow::Next;
  for (int64_t i = first;; i += step) {
    E.check_stop(F, line);
    TObject* v = E.cell(F, slot);
    release_cell(E.state(), v);
    put_integer(v, i);
    const Flow flow = body->exec(E, F);
    if (flow == Flow::Break) return Flow::Next;
    if (flow == Flow::Return) return flow;
    if (i == last) return Flow::Next;
  }
}

Flow Block::exec(Engine& E, Frame& F) const {
  for (const StmtPtr& s : body) {
    const Flow flow = s->exec(E, F);
    if (flow != Flow::Next) return flow;
  }
  return Flow::Next;
}

Flow Return::exec(Engine& E, Frame& F) const {
  if (value) {
    TempCell v(E.state());
    value->eval(E, F, v.get());
    move_cell(E.state(), &F.ret, v.get());
  }
  return Flow::Return;
}

}  // namespace vkl::lang
