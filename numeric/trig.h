// Trigonometry, hyperbolic functions, their inverses and angle conversions, elementwise over
// numbers, tables and matrices. Every result is a real; domain errors give NaN or an infinity
// as the C library does. Failure policy: that of the elementwise drivers (numeric/apply.h).
#pragma once

#include <cmath>
#include <numbers>
#include <utility>

#include "numeric/steps.h"
#include "plugin/function_row.h"

namespace vkl::numeric::trig {

using std::numbers::pi;

// Below this magnitude an argument counts as zero (or a pole as reached).
constexpr double kPoleWidth = 1e-12;
constexpr double kInf = HUGE_VAL;

inline double sin(double x) { return std::sin(x); }
inline double cos(double x) { return std::cos(x); }
inline double tan(double x) { return std::tan(x); }
inline double arcsin(double x) { return std::asin(x); }
inline double arccos(double x) { return std::acos(x); }
inline double arctan(double x) { return std::atan(x); }
inline double cotan(double x) { return 1.0 / std::tan(x); }
inline double cosecant(double x) { return 1.0 / std::sin(x); }
inline double secant(double x) { return 1.0 / std::cos(x); }
inline double sinh(double x) { return std::sinh(x); }
inline double cosh(double x) { return std::cosh(x); }
inline double tanh(double x) { return std::tanh(x); }
inline double coth(double x) { return 1.0 / std::tanh(x); }
inline double sech(double x) { return 1.0 / std::cosh(x); }
inline double csch(double x) { return 1.0 / std::sinh(x); }
inline double arccot(double x) { return std::fabs(x) <= kPoleWidth ? pi / 2 : std::atan(1.0 / x); }
inline double arcsec(double x) { return std::fabs(x) <= kPoleWidth ? kInf : std::acos(1.0 / x); }
inline double arccsc(double x) { return std::fabs(x) <= kPoleWidth ? kInf : std::asin(1.0 / x); }
inline double arcsinh(double x) { return std::log(x + std::sqrt(x * x + 1)); }
inline double arccosh(double x) { return std::log(x + (x + 1) * std::sqrt((x - 1) / (x + 1))); }
// The poles at +1 and -1 give +infinity and -infinity.
inline double pole_pair(double x, double off_poles) {
  if (std::fabs(x - 1) <= kPoleWidth) return kInf;
  if (std::fabs(x + 1) <= kPoleWidth) return -kInf;
  return off_poles;
}
inline double arctanh(double x) { return pole_pair(x, 0.5 * std::log((1 + x) / (1 - x))); }
inline double arccoth(double x) { return pole_pair(x, 0.5 * std::log((x + 1) / (x - 1))); }
inline double arcsech(double x) {
  if (std::fabs(x) <= kPoleWidth) return kInf;
  const double root = std::fabs(x - 1) <= kPoleWidth ? 0.0 : std::sqrt(1 - x * x);
  return std::log((root + 1) / x);
}
inline double arccsch(double x) {
  if (std::fabs(x) <= kPoleWidth) return kInf;
  const double root = std::sqrt(x * x + 1);
  return x < 0 ? std::log((1 - root) / x) : std::log((1 + root) / x);
}
inline double radtodeg(double x) { return x / pi * 180; }
inline double radtograd(double x) { return x * 63.66197723675813; }
inline double radtocycle(double x) { return x / 6.283185307179586; }
inline double degtorad(double x) { return x / 180 * pi; }
inline double degtograd(double x) { return x * 10 / 9; }
inline double degtocycle(double x) { return x / 360; }
inline double gradtorad(double x) { return x * pi / 200; }
inline double gradtodeg(double x) { return x * 9 / 10; }
inline double gradtocycle(double x) { return x / 400; }
inline double cycletorad(double x) { return (x + x) * pi; }
inline double cycletodeg(double x) { return x * 360; }
inline double cycletograd(double x) { return x * 400; }

// sincos(x, s, c): sin(x) into s and cos(x) into c; the own result is a real 0.
struct SinCos {
  static constexpr int kOutputs = 2;
  static bool scalar(VKL_State*, const TObject* x, TObject* const* t) {
    const double v = number_of(x);
    vkl_put_real(t[0], 0.0);
    vkl_put_real(t[1], std::sin(v));
    vkl_put_real(t[2], std::cos(v));
    return true;
  }
  static std::pair<double, double> element(double x) { return {std::sin(x), std::cos(x)}; }
};

inline constexpr plugin::FunctionRow kTrigRows[] = {
    {"sin", real_unary<sin>, "sin(x [, mode [, fill]])",
     "sine of x (radians)"},
    {"cos", real_unary<cos>, "cos(x [, mode [, fill]])",
     "cosine of x (radians)"},
    {"tan", real_unary<tan>, "tan(x [, mode [, fill]])",
     "tangent of x (radians)"},
    {"arcsin", real_unary<arcsin>, "arcsin(x [, mode [, fill]])",
     "inverse sine, in radians"},
    {"arccos", real_unary<arccos>, "arccos(x [, mode [, fill]])",
     "inverse cosine, in radians"},
    {"arctan", real_unary<arctan>, "arctan(x [, mode [, fill]])",
     "inverse tangent, in radians"},
    {"cotan", real_unary<cotan>, "cotan(x [, mode [, fill]])",
     "cotangent: 1 / tan(x)"},
    {"cot", real_unary<cotan>, "cot(x [, mode [, fill]])",
     "cotangent: 1 / tan(x)"},
    {"cosecant", real_unary<cosecant>, "cosecant(x [, mode [, fill]])",
     "cosecant: 1 / sin(x)"},
    {"csc", real_unary<cosecant>, "csc(x [, mode [, fill]])",
     "cosecant: 1 / sin(x)"},
    {"secant", real_unary<secant>, "secant(x [, mode [, fill]])",
     "secant: 1 / cos(x)"},
    {"sec", real_unary<secant>, "sec(x [, mode [, fill]])",
     "secant: 1 / cos(x)"},
    {"sinh", real_unary<sinh>, "sinh(x [, mode [, fill]])",
     "hyperbolic sine"},
    {"cosh", real_unary<cosh>, "cosh(x [, mode [, fill]])",
     "hyperbolic cosine"},
    {"tanh", real_unary<tanh>, "tanh(x [, mode [, fill]])",
     "hyperbolic tangent"},
    {"coth", real_unary<coth>, "coth(x [, mode [, fill]])",
     "hyperbolic cotangent: 1 / tanh(x)"},
    {"sech", real_unary<sech>, "sech(x [, mode [, fill]])",
     "hyperbolic secant: 1 / cosh(x)"},
    {"csch", real_unary<csch>, "csch(x [, mode [, fill]])",
     "hyperbolic cosecant: 1 / sinh(x)"},
    {"arccot", real_unary<arccot>, "arccot(x [, mode [, fill]])",
     "inverse cotangent; pi/2 at 0"},
    {"arcsec", real_unary<arcsec>, "arcsec(x [, mode [, fill]])",
     "inverse secant; +inf at 0"},
    {"arccsc", real_unary<arccsc>, "arccsc(x [, mode [, fill]])",
     "inverse cosecant; +inf at 0"},
    {"arcsinh", real_unary<arcsinh>, "arcsinh(x [, mode [, fill]])",
     "inverse hyperbolic sine"},
    {"arccosh", real_unary<arccosh>, "arccosh(x [, mode [, fill]])",
     "inverse hyperbolic cosine"},
    {"arctanh", real_unary<arctanh>, "arctanh(x [, mode [, fill]])",
     "inverse hyperbolic tangent; +-inf at +-1"},
    {"arccoth", real_unary<arccoth>, "arccoth(x [, mode [, fill]])",
     "inverse hyperbolic cotangent; +-inf at +-1"},
    {"arcsech", real_unary<arcsech>, "arcsech(x [, mode [, fill]])",
     "inverse hyperbolic secant; +inf at 0"},
    {"arccsch", real_unary<arccsch>, "arccsch(x [, mode [, fill]])",
     "inverse hyperbolic cosecant; +inf at 0"},
    {"radtodeg", real_unary<radtodeg>, "radtodeg(x [, mode [, fill]])",
     "radians to degrees"},
    {"radtograd", real_unary<radtograd>, "radtograd(x [, mode [, fill]])",
     "radians to grads"},
    {"radtocycle", real_unary<radtocycle>, "radtocycle(x [, mode [, fill]])",
     "radians to cycles"},
    {"degtorad", real_unary<degtorad>, "degtorad(x [, mode [, fill]])",
     "degrees to radians"},
    {"degtograd", real_unary<degtograd>, "degtograd(x [, mode [, fill]])",
     "degrees to grads"},
    {"degtocycle", real_unary<degtocycle>, "degtocycle(x [, mode [, fill]])",
     "degrees to cycles"},
    {"gradtorad", real_unary<gradtorad>, "gradtorad(x [, mode [, fill]])",
     "grads to radians"},
    {"gradtodeg", real_unary<gradtodeg>, "gradtodeg(x [, mode [, fill]])",
     "grads to degrees"},
    {"gradtocycle", real_unary<gradtocycle>, "gradtocycle(x [, mode [, fill]])",
     "grads to cycles"},
    {"cycletorad", real_unary<cycletorad>, "cycletorad(x [, mode [, fill]])",
     "cycles to radians"},
    {"cycletodeg", real_unary<cycletodeg>, "cycletodeg(x [, mode [, fill]])",
     "cycles to degrees"},
    {"cycletograd", real_unary<cycletograd>, "cycletograd(x [, mode [, fill]])",
     "cycles to grads"},
    {"sincos", unary<SinCos>, "sincos(x, s, c [, mode [, fill]])",
     "sin(x) into s and cos(x) into c"},
};

}  // namespace vkl::numeric::trig
