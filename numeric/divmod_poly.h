// divmod(a, b, q, r): integer division with remainder into two output variables, and
// poly(x, coefficients): a polynomial evaluated at x.
// Failure policy: that of the elementwise drivers (numeric/apply.h). divmod builds no result
// of its own: its outputs start nil, and a zero divisor or a NaN leaves them nil.
#pragma once

#include "numeric/whole.h"
#include "plugin/function_row.h"

namespace vkl::numeric {

struct DivMod : PairTraits<15, Shape::kNumber, Shape::kNumber, 2> {
  static bool scalar(VKL_State* L, const TObject* a, const TObject* b, TObject* const* t);
};

struct Poly : PairTraits<14, Shape::kNumber, Shape::kArray> {
  // The sum of c_i * x^i over the coefficients; 0 when they are no table.
  static double value(double x, const TObject* coefficients);
  template <class A> static double element(A a, const TObject* b) {
    return value(static_cast<double>(a), b);
  }
  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    vkl_put_real(t[0], value(number_of(a), b));
    return true;
  }
};

}  // namespace vkl::numeric

namespace vkl::plugin {

inline constexpr FunctionRow kDivModPolyRows[] = {
    {"divmod", numeric::binary<numeric::DivMod>, "divmod(a, b, q, r [, mode [, fill]])",
     "q := a div b (toward zero), r := a mod b (sign of a); both nil for b = 0"},
    {"poly", numeric::binary<numeric::Poly>, "poly(x, coefficients [, mode [, fill]])",
     "the polynomial with the coefficients (constant term first) at x"},
};

}  // namespace vkl::plugin
