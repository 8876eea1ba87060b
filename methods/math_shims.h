// Special functions: gamma, log-gamma, the error function and its inverses, beta, incomplete
// gamma and beta, Bessel functions, the normal, F, t and chi-square distributions and their
// inverses, the sine, cosine and exponential integrals, elliptic integrals.
//
// The library registers them but does not evaluate them. Each handler finds an evaluator
// CALL_VALUEANY and lets the interpreter's driver sys_anydoubleparam call it with the
// function's number (numbers in and out, a table first argument applied element by element).
// The plain names take the evaluator of the host program, the legacy_ names that of the NumAux
// extension module. A call fails while no evaluator is found, and a later call looks again.
#pragma once

#include <vkl/coded.h>
#include <vkl/interp.h>

#include <array>
#include <cstddef>
#include <limits>
#include <numbers>

#include "plugin/function_row.h"
#include "text/coded.h"

namespace vkl::methods {

using plugin::FunctionRow;

enum class EvaluatorFamily { Current, Legacy };

// The family's evaluator, or null. Both families share one module handle: the module where
// the first successful look-up found an evaluator is where the other family's first look-up
// searches too (the host program for the current family, the loaded NumAux module for the
// legacy one). A failed look-up caches nothing.
VKL_CallValueAny special_function_evaluator(EvaluatorFamily family);

// Values the evaluator sees for omitted trailing arguments (index = argument position): mean
// 0 and deviation 1 for the normal distribution, the quarter period pi/2 for the amplitude of
// the elliptic integrals (the complete integral); NaN, so a NaN answer, for arguments that
// have no natural default.
inline constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kNoDefaults[] = {kMissing, kMissing, kMissing};
inline constexpr double kNormalDefaults[] = {kMissing, 0.0, 1.0};
inline constexpr double kEllipticDefaults[] = {kMissing, std::numbers::pi / 2};

// The descriptor of function `code`: 1 to max_args numbers.
constexpr VKL_CodedDescriptor special_fn(int32_t code, int32_t max_args,
                                         const double* defaults = kNoDefaults) {
  return {code, 0, 0, nullptr, 1, max_args, 0, 0, nullptr, 1, defaults, 1, max_args};
}

struct SpecialFunction {
  const char* name;
  const char* signature;
  const char* summary;
  VKL_CodedDescriptor descriptor;  // its routine is the family's evaluator, set at the call
};

// The handler of function I of a list in a family.
template <const auto& Functions, size_t I, EvaluatorFamily F>
int special_function_call(VKL_State* L, TObject* args, int nargs, TObject* result) {
  const VKL_CallValueAny evaluator = special_function_evaluator(F);
  if (!evaluator) return 0;
  VKL_CodedDescriptor routed = Functions[I].descriptor;
  routed.routine = evaluator;
  return sys_anydoubleparam(L, args, nargs, result, &routed);
}

// Function numbers are the evaluator's: keep them.
inline constexpr SpecialFunction kSpecialFunctions[] = {
    {"gamma", "gamma(x)", "the gamma function", special_fn(0, 1)},
    {"gammaln", "gammaln(x)", "natural logarithm of |gamma(x)|", special_fn(1, 1)},
    {"erf", "erf(x)", "the error function", special_fn(2, 1)},
    {"erfc", "erfc(x)", "the complementary error function 1 - erf(x)", special_fn(3, 1)},
    {"erfinv", "erfinv(y)", "the x with erf(x) = y", special_fn(4, 1)},
    {"erfcinv", "erfcinv(y)", "the x with erfc(x) = y", special_fn(5, 1)},
    {"sf_gamma", "sf_gamma(x)", "the gamma function", special_fn(6, 1)},
    {"sf_gammaln", "sf_gammaln(x)", "natural logarithm of |gamma(x)|", special_fn(7, 1)},
    {"sf_beta", "sf_beta(a, b)", "the beta function B(a, b)", special_fn(8, 2)},
    {"sf_incompletegamma", "sf_incompletegamma(a, x)",
     "regularized lower incomplete gamma P(a, x)", special_fn(9, 2)},
    {"sf_gammainv", "sf_gammainv(a, p)", "the x with P(a, x) = p", special_fn(10, 2)},
    {"sf_error", "sf_error(x)", "the error function", special_fn(11, 1)},
    {"sf_integerbessel_1", "sf_integerbessel_1(n, x)",
     "Bessel function of the first kind J_n(x), integer order", special_fn(12, 2)},
    {"sf_integerbessel_2", "sf_integerbessel_2(n, x)",
     "Bessel function of the second kind Y_n(x), integer order", special_fn(13, 2)},
    {"sf_realbessel_1", "sf_realbessel_1(v, x)",
     "Bessel function of the first kind J_v(x), real order", special_fn(14, 2)},
    {"sf_realbessel_2", "sf_realbessel_2(v, x)",
     "Bessel function of the second kind Y_v(x), real order", special_fn(15, 2)},
    {"sf_incompletebeta", "sf_incompletebeta(a, b, x)",
     "regularized incomplete beta I_x(a, b)", special_fn(16, 3)},
    {"sf_betainv", "sf_betainv(a, b, p)", "the x with I_x(a, b) = p", special_fn(17, 3)},
    {"sf_normal", "sf_normal(x [, mean [, sd]])",
     "normal distribution function (mean 0, deviation 1 when omitted)",
     special_fn(18, 3, kNormalDefaults)},
    {"sf_normal2", "sf_normal2(x)", "standard normal distribution function", special_fn(19, 1)},
    {"sf_normalinv", "sf_normalinv(p [, mean [, sd]])",
     "the x with sf_normal(x, mean, sd) = p", special_fn(20, 3, kNormalDefaults)},
    {"sf_normalinv2", "sf_normalinv2(p)", "the x with sf_normal2(x) = p", special_fn(21, 1)},
    {"sf_f", "sf_f(x, df1, df2)", "F distribution function", special_fn(22, 3)},
    {"sf_finv", "sf_finv(p, df1, df2)", "the x with sf_f(x, df1, df2) = p", special_fn(23, 3)},
    {"sf_t", "sf_t(x, df)", "Student t distribution function", special_fn(24, 2)},
    {"sf_tinv", "sf_tinv(p, df)", "the x with sf_t(x, df) = p", special_fn(25, 2)},
    {"sf_x2", "sf_x2(x, df)", "chi-square distribution function", special_fn(26, 2)},
    {"sf_x2inv", "sf_x2inv(p, df)", "the x with sf_x2(x, df) = p", special_fn(27, 2)},
    {"sf_sinx", "sf_sinx(x)", "the sine integral Si(x)", special_fn(28, 1)},
    {"sf_ex", "sf_ex(x)", "the exponential integral Ei(x)", special_fn(29, 1)},
    {"sf_exinv", "sf_exinv(y)", "the x > 0 with Ei(x) = y", special_fn(30, 1)},
    {"sf_cosx", "sf_cosx(x)", "the cosine integral Ci(x)", special_fn(31, 1)},
    {"sf_ellipsex_1", "sf_ellipsex_1(k [, phi])",
     "elliptic integral of the first kind F(phi, k), modulus k (complete without phi)",
     special_fn(32, 2, kEllipticDefaults)},
    {"sf_ellipsex_2", "sf_ellipsex_2(k [, phi])",
     "elliptic integral of the second kind E(phi, k), modulus k (complete without phi)",
     special_fn(33, 2, kEllipticDefaults)},
};

// Each function's row, followed by its legacy_ twin's.
template <const auto& Functions>
constexpr auto special_function_rows() {
  std::array<FunctionRow, 2 * std::size(Functions)> rows{};
  [&]<size_t... I>(std::index_sequence<I...>) {
    ((rows[2 * I] = FunctionRow{Functions[I].name,
                                special_function_call<Functions, I, EvaluatorFamily::Current>,
                                Functions[I].signature, Functions[I].summary},
      rows[2 * I + 1] =
          FunctionRow{text::detail::LegacyName<Functions, I>::text.data(),
                      special_function_call<Functions, I, EvaluatorFamily::Legacy>,
                      Functions[I].signature, Functions[I].summary}),
     ...);
  }(std::make_index_sequence<std::size(Functions)>{});
  return rows;
}

inline constexpr auto kSpecialFunctionRows = special_function_rows<kSpecialFunctions>();

}  // namespace vkl::methods
