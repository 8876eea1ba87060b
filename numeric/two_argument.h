// Functions of two numbers, elementwise over the first operand (a number, tables, matrices)
// paired with the second (a number, or a table or matrix of the same keys or shape). Where an
// operation needs a whole number from b (digits, exponents) it reads b's tolerant integer.
// Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <vkl/numbers.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "numeric/steps.h"
#include "plugin/function_row.h"

namespace vkl::numeric::two_argument {

// A tolerant integer bounded to `limit` either way, for counts an operation cannot go beyond.
inline int bounded_int(double x, int limit) {
  const double v = tolerant(x);
  return std::isnan(v) ? 0 : static_cast<int>(std::clamp(v, -double(limit), double(limit)));
}

// Decimal places reach no further than this either way: past it every double rounds alike.
constexpr int kMaxDigits = 400;

inline double arctan2(double a, double b) { return std::atan2(a, b); }
inline double hypot(double a, double b) { return std::hypot(a, b); }
// The first argument is the base.
inline double logn(double a, double b) { return std::log(b) / std::log(a); }
inline double intpower(double a, double b) { return std::pow(a, tolerant(b)); }
inline double power(double a, double b) { return std::pow(a, b); }
inline double ldexp(double a, double b) { return std::ldexp(a, bounded_int(b, INT_MAX)); }
// Digits n are a power of ten: n < 0 keeps -n decimals, n > 0 rounds to tens, hundreds...
inline double roundto(double a, double b) { return VKL_Round(a, -bounded_int(b, kMaxDigits)); }
inline double simpleroundto(double a, double b) {
  return VKL_SimpleRound(a, -bounded_int(b, kMaxDigits));
}
inline double setprecision(double a, double b) {
  return VKL_SetRealPrecision(a, bounded_int(b, kMaxDigits));
}
// eps 0 means 1e-12.
inline int iszero(double a, double b) { return std::fabs(a) <= (b == 0 ? 1e-12 : b); }

// min and max: a NaN operand (the first one tested first) is the answer; two integers give an
// integer (int64 when either is one), anything else a real.
template <int Code, bool kLarger>
struct Extreme {
  static constexpr int kCode = Code;
  static constexpr int kOutputs = 0;
  static constexpr Shape kShape1 = Shape::kNumber, kShape2 = Shape::kNumber;
  static constexpr bool kBuildResult = true;
  static bool scalar(VKL_State*, const TObject* a, const TObject* b, TObject* const* t) {
    if (a->tag != VKL_TREAL && b->tag != VKL_TREAL) {
      const int64_t x = tolerant_int64(a), y = tolerant_int64(b);
      const int64_t pick = (kLarger ? x < y : y < x) ? y : x;
      if (a->tag == VKL_TINT && b->tag == VKL_TINT)
        vkl_put_int(t[0], static_cast<int32_t>(pick));
      else
        vkl_put_int64(t[0], pick);
    } else {
      vkl_put_real(t[0], element(number_of(a), number_of(b)));
    }
    return true;
  }
  static double element(double a, double b) {
    if (std::isnan(a)) return a;
    if (std::isnan(b)) return b;
    return (kLarger ? a < b : b < a) ? b : a;
  }
};

inline constexpr plugin::FunctionRow kTwoArgumentRows[] = {
    {"arctan2", binary<RealPairStep<0, arctan2>>, "arctan2(y, x [, mode [, fill]])",
     "angle of the point (x, y), in radians"},
    {"hypot", binary<RealPairStep<1, hypot>>, "hypot(a, b [, mode [, fill]])",
     "sqrt(a*a + b*b)"},
    {"logn", binary<RealPairStep<2, logn>>, "logn(base, x [, mode [, fill]])",
     "logarithm of x to the base"},
    {"intpower", binary<RealPairStep<3, intpower>>, "intpower(a, n [, mode [, fill]])",
     "a to the whole power n"},
    {"power", binary<RealPairStep<4, power>>, "power(a, b [, mode [, fill]])", "a to the power b"},
    {"ldexp", binary<RealPairStep<5, ldexp>>, "ldexp(a, n [, mode [, fill]])", "a * 2^n"},
    {"min", binary<Extreme<6, false>>, "min(a, b [, mode [, fill]])", "the smaller of a and b"},
    {"max", binary<Extreme<7, true>>, "max(a, b [, mode [, fill]])", "the larger of a and b"},
    {"roundto", binary<RealPairStep<10, roundto>>, "roundto(x, digits [, mode [, fill]])",
     "x rounded to 10^digits (-2: hundredths), ties to even"},
    {"simpleroundto", binary<RealPairStep<11, simpleroundto>>,
     "simpleroundto(x, digits [, mode [, fill]])",
     "x rounded to 10^digits (-2: hundredths), ties away from zero"},
    {"setprecision", binary<RealPairStep<12, setprecision>>,
     "setprecision(x, digits [, mode [, fill]])", "x rounded to that many significant digits"},
    {"iszero", binary<IntegerPairStep<13, iszero>>, "iszero(x, eps [, mode [, fill]])",
     "1 when |x| <= eps (eps 0: 1e-12)"},
};

}  // namespace vkl::numeric::two_argument
