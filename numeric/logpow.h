// Exponentials, logarithms, squares and roots, and frexp, elementwise over numbers, tables and
// matrices. Results are reals (frexp's exponent an integer); ln(0) is -infinity, sqrt(-1) NaN.
// Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <cmath>
#include <utility>

#include "numeric/steps.h"
#include "plugin/function_row.h"

namespace vkl::numeric::logpow {

inline double exp(double x) { return std::exp(x); }
inline double ln(double x) { return std::log(x); }
// One is added first: no extended-precision form near zero.
inline double lnxp1(double x) { return std::log(x + 1.0); }
inline double log10(double x) { return std::log10(x); }
inline double log2(double x) { return std::log2(x); }
inline double sqr(double x) { return x * x; }
inline double sqrt(double x) { return std::sqrt(x); }

// frexp(x, m, e): the mantissa (0.5 <= |m| < 1) into m and the binary exponent into e; the own
// result is a real 0.
struct Frexp {
  static constexpr int kOutputs = 2;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    const auto [mantissa, exponent] = element(number_of(x));
    vkl_put_real(t[0], 0.0);
    vkl_put_real(t[1], mantissa);
    vkl_put_int(t[2], exponent);
    return true;
  }
  static std::pair<double, int32_t> element(double x) {
    int exponent = 0;
    const double mantissa = std::frexp(x, &exponent);
    return {mantissa, exponent};
  }
};

inline constexpr plugin::FunctionRow kLogPowRows[] = {
    {"exp", real_unary<exp>, "exp(x [, mode [, fill]])", "e to the power x"},
    {"ln", real_unary<ln>, "ln(x [, mode [, fill]])", "natural logarithm"},
    {"lnxp1", real_unary<lnxp1>, "lnxp1(x [, mode [, fill]])", "ln(x + 1)"},
    {"log10", real_unary<log10>, "log10(x [, mode [, fill]])", "logarithm to base 10"},
    {"log2", real_unary<log2>, "log2(x [, mode [, fill]])", "logarithm to base 2"},
    {"sqr", real_unary<sqr>, "sqr(x [, mode [, fill]])", "x * x, as a real"},
    {"sqrt", real_unary<sqrt>, "sqrt(x [, mode [, fill]])", "square root (NaN below 0)"},
    {"frexp", unary<Frexp>, "frexp(x, m, e [, mode [, fill]])",
     "mantissa of x into m, binary exponent into e"},
};

}  // namespace vkl::numeric::logpow
