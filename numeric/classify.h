// Classification of numbers: NaN, infinite, either, and nil too. A leaf that is not a number
// (string, object, nil...) answers 0 instead of failing (isnin answers 1 for nil); tables and
// matrices are walked. Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <cmath>

#include "numeric/steps.h"
#include "plugin/function_row.h"

namespace vkl::numeric::classify {

inline int isnan(double x) { return std::isnan(x); }
inline int isinfinite(double x) { return std::isinf(x); }
inline int isnanorinf(double x) { return !std::isfinite(x); }

// A test that answers `NilAnswer` for nil and 0 for every other leaf that is not a number.
template <int (*F)(double), int NilAnswer = 0>
struct Test : IntegerStep<F> {
  static bool other(VKL_State*, const TObject* x, TObject* const* t) {
    vkl_put_int(t[0], x->tag == VKL_TNIL ? NilAnswer : 0);
    return true;
  }
};

inline constexpr plugin::FunctionRow kClassifyRows[] = {
    {"isnan", unary<Test<isnan>>, "isnan(x [, mode [, fill]])", "1 when x is a NaN"},
    {"isinfinite", unary<Test<isinfinite>>, "isinfinite(x [, mode [, fill]])",
     "1 when x is +inf or -inf"},
    {"isnanorinf", unary<Test<isnanorinf>>, "isnanorinf(x [, mode [, fill]])",
     "1 when x is a NaN or an infinity"},
    {"isnin", unary<Test<isnanorinf, 1>>, "isnin(x [, mode [, fill]])",
     "1 when x is a NaN, an infinity or nil"},
};

}  // namespace vkl::numeric::classify
