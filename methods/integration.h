// Numerical integration of script functions: over [a, b] (ig_trapezoid_1, ig_simpson_1,
// ig_romberg, ig_gauss, ig_chebyshev) and over the region a <= x <= b, lo(x) <= y <= hi(x)
// (ig_trapezoid_2, ig_simpson_2). Every value of the integrand and of the limits comes from one
// evaluator: a call of the script function, its answer read as a double, then a look at the
// run's stop request.
//
// Failure policy: a malformed call (the count, a limit a or b that is no number, an integrand
// that is no function value) returns 0 and writes nothing. Otherwise the script result is a
// numerical error code and the value argument receives the integral, or on failure the last
// estimate completed (0 when there is none). Codes: 0 success; 5002 / 5003 the lower / upper
// limit of y is no function value; 5004 an evaluation failed; -2 the run was asked to stop;
// -1 the rule reached its cap, or an estimate that is not finite, without settling.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int ig_trapezoid_1(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_trapezoid_2(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_simpson_1(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_simpson_2(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_romberg(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_gauss(VKL_State* L, TObject* args, int nargs, TObject* result);
int ig_chebyshev(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kIntegrationRows[] = {
    {"ig_trapezoid_1", methods::ig_trapezoid_1, "ig_trapezoid_1(a, b, f, value)",
     "code; value := the integral of f over [a, b], trapezoid rule with step halving"},
    {"ig_trapezoid_2", methods::ig_trapezoid_2, "ig_trapezoid_2(a, b, lo, hi, f, value)",
     "code; value := the integral of f(x, y) over a <= x <= b, lo(x) <= y <= hi(x), trapezoids"},
    {"ig_simpson_1", methods::ig_simpson_1, "ig_simpson_1(a, b, f, value)",
     "code; value := the integral of f over [a, b], Simpson's rule with step halving"},
    {"ig_simpson_2", methods::ig_simpson_2, "ig_simpson_2(a, b, lo, hi, f, value)",
     "code; value := the integral of f(x, y) over a <= x <= b, lo(x) <= y <= hi(x), Simpson"},
    {"ig_romberg", methods::ig_romberg, "ig_romberg(a, b, f, value)",
     "code; value := the integral of f over [a, b], Romberg extrapolation"},
    {"ig_gauss", methods::ig_gauss, "ig_gauss(a, b, f, value)",
     "code; value := the integral of f over [a, b], composite five-point Gauss-Legendre"},
    {"ig_chebyshev", methods::ig_chebyshev, "ig_chebyshev(a, b, f, value)",
     "code; value := the integral of f over [a, b], composite five-point Chebyshev"},
};

}  // namespace vkl::plugin
