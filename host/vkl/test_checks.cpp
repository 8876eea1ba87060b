// The helpers of test scripts: check, checknear and checkfail count a passed or failed check
// and report a failure with the values' literal forms.
#include <cmath>

#include "host/vkl/engine.h"

namespace vkl::lang {

void CheckEqual::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell a(E.state()), b(E.state());
  actual->eval(E, F, a.get());
  expected->eval(E, F, b.get());
  const bool pass = VKL_ObjEqual(a.get(), b.get()) != 0;
  E.count_check(pass);
  if (!pass)
    E.report(F, line, "check failed: got " + E.literal_text(a.get()) + ", expected " +
                          E.literal_text(b.get()));
  vkl_put_int(out, pass);
}

void CheckNear::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell a(E.state()), b(E.state()), t(E.state());
  actual->eval(E, F, a.get());
  expected->eval(E, F, b.get());
  tolerance->eval(E, F, t.get());
  const TObject* x = vkl_follow(a.get());
  const TObject* y = vkl_follow(b.get());
  bool pass = false;
  if (vkl_is_number_tag(x->tag) && vkl_is_number_tag(y->tag)) {
    const double u = VKL_AsDouble(x), v = VKL_AsDouble(y);
    pass = u == v || std::fabs(u - v) <= VKL_AsDouble(t.get()) || (std::isnan(u) && std::isnan(v));
  }
  E.count_check(pass);
  if (!pass)
    E.report(F, line, "check failed: got " + E.literal_text(a.get()) + ", expected " +
                          E.literal_text(b.get()) + " within " + E.literal_text(t.get()));
  vkl_put_int(out, pass);
}

void CheckFail::eval(Engine& E, Frame& F, TObject* out) const {
  TempCell result(E.state());
  bool failed = false;
  try {
    call->eval(E, F, result.get());
  } catch (const ScriptError& e) {
    if (e.stopped) throw;
    failed = true;
  }
  E.count_check(failed);
  if (!failed)
    E.report(F, line, "check failed: got " + E.literal_text(result.get()) +
                          ", expected the call to fail");
  vkl_put_int(out, failed);
}

}  // namespace vkl::lang
