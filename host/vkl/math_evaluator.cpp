// CALL_VALUEANY: the special-function evaluator this program exports to the function library,
// which hands it the calls of gamma, erf, sf_beta, sf_normal, ... by function number. The
// interpreter's driver has read the arguments: the function's full argument count of numbers,
// omitted trailing ones already filled in. Failure policy: see host/vkl/math_policy.h; an
// unknown number fails the call.
#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <boost/math/special_functions/bessel.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/ellint_1.hpp>
#include <boost/math/special_functions/ellint_2.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/expint.hpp>
#include <boost/math/special_functions/gamma.hpp>

#include <cmath>
#include <cstddef>
#include <limits>

#include "host/vkl/math_policy.h"
#include "host/vkl/trig_exp_integrals.h"

namespace vkl::host {
namespace {

namespace bm = boost::math;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr MathPolicy kPolicy{};

// Bessel functions of integer order n; a negative order by reflection, J_-n = (-1)^n J_n and
// Y_-n = (-1)^n Y_n (Boost's own handling of negative orders assumes n >= 0 in places).
template <class Bessel>
double at_integer_order(int n, double x, Bessel bessel) {
  const double r = bessel(n < 0 ? -n : n, x);
  return n < 0 && n % 2 != 0 ? -r : r;
}

// An integer order read from a real the way the library reads an integer: nudged by 1e-6
// away from zero and truncated, so 2.9999999 counts as 3. NaN beyond the int range.
template <class Bessel>
double at_nudged_order(double order, double x, Bessel bessel) {
  const double nudged = std::trunc(order > 0 ? order + 0.000001 : order - 0.000001);
  if (!(std::fabs(nudged) <= std::numeric_limits<int>::max())) return kNaN;
  return at_integer_order(static_cast<int>(nudged), x, bessel);
}

// Bessel functions of real order; a whole order takes the integer route (NaN beyond the int
// range, where Boost's own integer route would overflow).
template <class Bessel>
double at_real_order(double order, double x, Bessel bessel) {
  if (order != std::trunc(order)) return bessel(order, x);
  if (!(std::fabs(order) <= std::numeric_limits<int>::max())) return kNaN;
  return at_integer_order(static_cast<int>(order), x, bessel);
}

struct BesselJ {
  template <class Order>
  double operator()(Order v, double x) const {
    return bm::cyl_bessel_j(v, x, kPolicy);
  }
};

struct BesselY {
  template <class Order>
  double operator()(Order v, double x) const {
    return bm::cyl_neumann(v, x, kPolicy);
  }
};

// Boost's incomplete beta loses accuracy and slows down without bound when both parameters
// grow past about 1e10 (at 1e20 it takes seconds for a wrong answer), so the incomplete beta
// and the F distribution answer NaN beyond this.
constexpr double kLargestBetaParameter = 1e10;

template <class Evaluate>
double with_beta_parameters(double a, double b, Evaluate evaluate) {
  if (std::fabs(a) > kLargestBetaParameter && std::fabs(b) > kLargestBetaParameter) return kNaN;
  return evaluate();
}

template <class Distribution>
double cdf_at(const Distribution& d, double x) {
  return bm::cdf(d, x);
}

template <class Distribution>
double quantile_at(const Distribution& d, double p) {
  return bm::quantile(d, p);
}

using Normal = bm::normal_distribution<double, MathPolicy>;
using FisherF = bm::fisher_f_distribution<double, MathPolicy>;
using StudentsT = bm::students_t_distribution<double, MathPolicy>;
using ChiSquared = bm::chi_squared_distribution<double, MathPolicy>;

struct Evaluation {
  int arity;
  double (*evaluate)(const double* a);
};

// Indexed by function number; the argument order is the script call's.
constexpr Evaluation kEvaluations[] = {
    // 0-5: gamma, gammaln, erf, erfc, erfinv, erfcinv (x)
    {1, [](const double* a) { return bm::tgamma(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::lgamma(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::erf(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::erfc(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::erf_inv(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::erfc_inv(a[0], kPolicy); }},
    // 6 sf_gamma(x), 7 sf_gammaln(x), 8 sf_beta(a, b)
    {1, [](const double* a) { return bm::tgamma(a[0], kPolicy); }},
    {1, [](const double* a) { return bm::lgamma(a[0], kPolicy); }},
    {2, [](const double* a) { return bm::beta(a[0], a[1], kPolicy); }},
    // 9 sf_incompletegamma(a, x): regularized lower P(a, x); 10 sf_gammainv(a, p): its x
    {2, [](const double* a) { return bm::gamma_p(a[0], a[1], kPolicy); }},
    {2, [](const double* a) { return bm::gamma_p_inv(a[0], a[1], kPolicy); }},
    // 11 sf_error(x)
    {1, [](const double* a) { return bm::erf(a[0], kPolicy); }},
    // 12-15: Bessel J and Y of integer, then real order (order, x)
    {2, [](const double* a) { return at_nudged_order(a[0], a[1], BesselJ()); }},
    {2, [](const double* a) { return at_nudged_order(a[0], a[1], BesselY()); }},
    {2, [](const double* a) { return at_real_order(a[0], a[1], BesselJ()); }},
    {2, [](const double* a) { return at_real_order(a[0], a[1], BesselY()); }},
    // 16 sf_incompletebeta(a, b, x): regularized I_x(a, b); 17 sf_betainv(a, b, p): its x
    {3, [](const double* a) {
       return with_beta_parameters(a[0], a[1], [a] { return bm::ibeta(a[0], a[1], a[2], kPolicy); });
     }},
    {3, [](const double* a) {
       return with_beta_parameters(a[0], a[1],
                                   [a] { return bm::ibeta_inv(a[0], a[1], a[2], kPolicy); });
     }},
    // 18 sf_normal(x, mean, sd), 19 sf_normal2(x), 20 sf_normalinv(p, mean, sd),
    // 21 sf_normalinv2(p)
    {3, [](const double* a) { return cdf_at(Normal(a[1], a[2]), a[0]); }},
    {1, [](const double* a) { return cdf_at(Normal(), a[0]); }},
    {3, [](const double* a) { return quantile_at(Normal(a[1], a[2]), a[0]); }},
    {1, [](const double* a) { return quantile_at(Normal(), a[0]); }},
    // 22 sf_f(x, df1, df2), 23 sf_finv(p, df1, df2)
    {3, [](const double* a) {
       return with_beta_parameters(a[1], a[2], [a] { return cdf_at(FisherF(a[1], a[2]), a[0]); });
     }},
    {3, [](const double* a) {
       return with_beta_parameters(a[1], a[2],
                                   [a] { return quantile_at(FisherF(a[1], a[2]), a[0]); });
     }},
    // 24 sf_t(x, df), 25 sf_tinv(p, df)
    {2, [](const double* a) { return cdf_at(StudentsT(a[1]), a[0]); }},
    {2, [](const double* a) { return quantile_at(StudentsT(a[1]), a[0]); }},
    // 26 sf_x2(x, df), 27 sf_x2inv(p, df)
    {2, [](const double* a) { return cdf_at(ChiSquared(a[1]), a[0]); }},
    {2, [](const double* a) { return quantile_at(ChiSquared(a[1]), a[0]); }},
    // 28 sf_sinx(x): Si, 29 sf_ex(x): Ei, 30 sf_exinv(y), 31 sf_cosx(x): Ci
    {1, [](const double* a) { return sine_integral(a[0]); }},
    {1, [](const double* a) { return bm::expint(a[0], kPolicy); }},
    {1, [](const double* a) { return inverse_exponential_integral(a[0]); }},
    {1, [](const double* a) { return cosine_integral(a[0]); }},
    // 32 sf_ellipsex_1(k, phi): F(phi, k), 33 sf_ellipsex_2(k, phi): E(phi, k); modulus k
    {2, [](const double* a) { return bm::ellint_1(a[0], a[1], kPolicy); }},
    {2, [](const double* a) { return bm::ellint_2(a[0], a[1], kPolicy); }},
};

constexpr int kMaxArity = 3;

double evaluate(const Evaluation& e, const double* a) {
  // NaN in, NaN out; some Boost routines would iterate on a NaN without end.
  for (int i = 0; i < e.arity; ++i)
    if (std::isnan(a[i])) return kNaN;
  try {
    return e.evaluate(a);
  } catch (...) {
    return kNaN;
  }
}

}  // namespace
}  // namespace vkl::host

extern "C" VKL_API int CALL_VALUEANY(VKL_State* L, TObject* args, TObject* result, int function) {
  using namespace vkl::host;
  if (function < 0 || static_cast<size_t>(function) >= std::size(kEvaluations) || !args) return 0;
  const Evaluation& e = kEvaluations[function];
  double a[kMaxArity];
  for (int i = 0; i < e.arity; ++i) a[i] = VKL_AsDouble(vkl_follow(&args[i]));
  VKL_SetReal(L, result, evaluate(e, a));
  return 1;
}
