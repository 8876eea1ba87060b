#include "methods/integration.h"

#include <vkl/interp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "plugin/args.h"

namespace vkl::methods {
namespace {

enum Code : int {
  kSuccess = 0,
  kNotSettled = -1,
  kCancelled = -2,
  kNoLowerLimit = 5002,
  kNoUpperLimit = 5003,
  kEvaluationFailed = 5004,
};

// A script function of one or two reals, called through the interpreter. Each call answers a
// code: kSuccess with the answer read as a double, kCancelled when the run has been asked to
// stop (whether or not the call itself went through), else kEvaluationFailed.
class ScriptFunction {
 public:
  ScriptFunction(VKL_State* L, const TObject* f) : L_(L), f_(f) {}

  int operator()(double x, double* out) const { return call({x, 0}, 1, out); }
  int operator()(double x, double y, double* out) const { return call({x, y}, 2, out); }

 private:
  int call(std::array<double, 2> xs, int n, double* out) const {
    TObject args[2], answer;
    for (int i = 0; i < n; ++i) vkl_put_real(&args[i], xs[static_cast<size_t>(i)]);
    vkl_put_nil(&answer);
    const int ok = raw_call2(L_, f_, args, n, &answer);
    if (ok) *out = VKL_AsDouble(vkl_follow(&answer));
    VKL_FreeObjectContent(L_, &answer);
    for (int i = 0; i < n; ++i) VKL_FreeObjectContent(L_, &args[i]);
    if (VKL_InterpIsStopL(L_)) return kCancelled;
    return ok ? kSuccess : kEvaluationFailed;
  }

  VKL_State* L_;
  const TObject* f_;
};

// When a sequence of estimates has settled: after at least min_rounds refinements, the change
// d = |E' - E| (relative: d / (|E'| + 1)) falls below the tolerance. A rule with a cap gives
// up after max_rounds refinements, or at once on an estimate that is not finite; a rule
// without one (max_rounds 0) goes on until it settles or the run is asked to stop.
struct Settling {
  bool relative;
  double tolerance;
  int min_rounds;
  int max_rounds;

  bool settled(int round, double previous, double estimate) const {
    double d = std::fabs(previous - estimate);
    if (relative) d /= std::fabs(estimate) + 1;
    return round >= min_rounds && d < tolerance;
  }
  bool capped(int round) const { return max_rounds > 0 && round >= max_rounds; }
  bool gives_up(double estimate) const { return max_rounds > 0 && !std::isfinite(estimate); }
};

// Trapezoid sums with the step halved each round, extrapolated over `depth` columns of
// Richardson's table: 0 leaves the trapezoid sums, 1 gives Simpson's rule, more Romberg's.
struct HalvingRule {
  int depth;
  Settling settling;
};

// The integral of g over [a, b] by the rule. g(x, &gx) answers a code.
template <class G>
int integrate_halving(const HalvingRule& rule, double a, double b, G&& g, double* value) {
  double fa, fb;
  if (const int code = g(a, &fa)) return code;
  if (const int code = g(b, &fb)) return code;
  double h = b - a;
  double trapezoid = (fa + fb) * h / 2;
  *value = trapezoid;
  std::vector<double> row{trapezoid}, next;  // one row of Richardson's table
  int64_t n = 1;
  for (int round = 1;; ++round) {
    double sum = 0;
    for (int64_t i = 0; i < n; ++i) {
      double fx;
      if (const int code = g(a + (static_cast<double>(i) + 0.5) * h, &fx)) return code;
      sum += fx;
    }
    trapezoid = (trapezoid + h * sum) / 2;
    n *= 2;
    h /= 2;
    next.assign(1, trapezoid);
    double power = 1;
    for (int j = 1; j <= std::min(round, rule.depth); ++j) {
      power *= 4;
      next.push_back(next.back() + (next.back() - row[static_cast<size_t>(j - 1)]) / (power - 1));
    }
    const double previous = row.back();
    row.swap(next);
    *value = row.back();
    if (rule.settling.settled(round, previous, *value)) return kSuccess;
    if (rule.settling.gives_up(*value) || rule.settling.capped(round)) return kNotSettled;
  }
}

// Five nodes on [-1, 1] and their weights.
struct Nodes {
  std::array<double, 5> at;
  std::array<double, 5> weight;
};

constexpr Nodes kGaussLegendre = {
    {-0.9061798459, -0.5384693101, 0, 0.5384693101, 0.9061798459},
    {0.2369268851, 0.4786286705, 0.5688888889, 0.4786286705, 0.2369268851}};
// Chebyshev's equal-weight rule: exact for polynomials up to degree 5.
constexpr Nodes kChebyshev = {{-0.8324974870, -0.3745414096, 0, 0.3745414096, 0.8324974870},
                              {0.4, 0.4, 0.4, 0.4, 0.4}};

// The rule over m sub-intervals of width h from a.
template <class G>
int composite(const Nodes& rule, double a, double h, int64_t m, G&& g, double* out) {
  double total = 0;
  for (int64_t j = 1; j <= m; ++j) {
    const double lo = a + static_cast<double>(j - 1) * h, hi = a + static_cast<double>(j) * h;
    const double mid = (lo + hi) / 2, half = (hi - lo) / 2;
    for (size_t k = 0; k < rule.at.size(); ++k) {
      double fx;
      if (const int code = g(mid + rule.at[k] * half, &fx)) return code;
      total += rule.weight[k] * fx;
    }
  }
  *out = h * total * 0.5;
  return kSuccess;
}

// Stated without a cap: only the stop request ends an integrand that never settles.
constexpr HalvingRule kTrapezoid = {0, {false, 1e-8, 1, 0}};
constexpr HalvingRule kSimpson = {1, {true, 1e-8, 4, 20}};
constexpr HalvingRule kRomberg = {20, {true, 1e-10, 4, 20}};
// Over a region every value of the outer rule is an inner integral: fewer rounds, and looser
// for the slowly converging trapezoids.
constexpr HalvingRule kTrapezoidRegion = {0, {true, 1e-6, 4, 10}};
constexpr HalvingRule kSimpsonRegion = {1, {true, 1e-8, 4, 10}};
// Sub-intervals double each round, up to 2^16.
constexpr Settling kChebyshevSettling = {true, 1e-8, 3, 16};

using Rule1 = int (*)(const ScriptFunction& f, double a, double b, double* value);

template <const HalvingRule& Rule>
int halving(const ScriptFunction& f, double a, double b, double* value) {
  return integrate_halving(Rule, a, b, f, value);
}

// One more sub-interval each round, until they are a thousandth of [a, b] or the relative
// change falls below 1e-8.
int gauss(const ScriptFunction& f, double a, double b, double* value) {
  int64_t m = 1;
  double h = b - a, previous = 1e35, change = 0;
  do {
    if (std::fabs(h) <= std::fabs(b - a) * 0.001) break;
    double estimate;
    if (const int code = composite(kGaussLegendre, a, h, m, f, &estimate)) return code;
    *value = estimate;
    change = std::fabs(estimate - previous) / (std::fabs(estimate) + 1);
    previous = estimate;
    ++m;
    h = (b - a) / static_cast<double>(m);
  } while (change >= 1e-8);
  return kSuccess;
}

int chebyshev(const ScriptFunction& f, double a, double b, double* value) {
  double previous = 0;
  for (int round = 0;; ++round) {
    const int64_t m = int64_t{1} << round;
    double estimate;
    if (const int code = composite(kChebyshev, a, (b - a) / static_cast<double>(m), m, f, &estimate))
      return code;
    *value = estimate;
    if (kChebyshevSettling.settled(round, previous, estimate)) return kSuccess;
    if (kChebyshevSettling.gives_up(estimate) || kChebyshevSettling.capped(round))
      return kNotSettled;
    previous = estimate;
  }
}

// The region a <= x <= b, lo(x) <= y <= hi(x): the rule over x of the rule over y.
int over_region(const HalvingRule& rule, double a, double b, const ScriptFunction& lo,
                const ScriptFunction& hi, const ScriptFunction& f, double* value) {
  const auto across = [&](double x, double* area) {
    double y0 = 0, y1 = 0;
    if (const int code = lo(x, &y0)) return code;
    if (const int code = hi(x, &y1)) return code;
    return integrate_halving(rule, y0, y1, [&](double y, double* fxy) { return f(x, y, fxy); },
                             area);
  };
  return integrate_halving(rule, a, b, across, value);
}

// The limits a and b at arguments 0 and 1 and the integrand at f_at, in a call of `count`
// arguments; false when the call is malformed.
bool read_call(VKL_State* L, TObject* args, int nargs, int count, int f_at, double* a,
               double* b) {
  return nargs == count && plugin::arg_number(args, nargs, 0, a) &&
         plugin::arg_number(args, nargs, 1, b) && VKL_CallCheck(L, &args[f_at]);
}

int answer(VKL_State* L, TObject* value_arg, TObject* result, int code, double value) {
  VKL_SetReal(L, vkl_follow(value_arg), value);
  VKL_SetInt(L, result, code);
  return 1;
}

template <Rule1 Rule>
int over_interval(VKL_State* L, TObject* args, int nargs, TObject* result) {
  double a, b;
  if (!read_call(L, args, nargs, 4, 2, &a, &b)) return 0;
  double value = 0;
  const int code = Rule(ScriptFunction(L, &args[2]), a, b, &value);
  return answer(L, &args[3], result, code, value);
}

template <const HalvingRule& Rule>
int over_region(VKL_State* L, TObject* args, int nargs, TObject* result) {
  double a, b;
  if (!read_call(L, args, nargs, 6, 4, &a, &b)) return 0;
  double value = 0;
  int code;
  if (!VKL_CallCheck(L, &args[2]))
    code = kNoLowerLimit;
  else if (!VKL_CallCheck(L, &args[3]))
    code = kNoUpperLimit;
  else
    code = over_region(Rule, a, b, ScriptFunction(L, &args[2]), ScriptFunction(L, &args[3]),
                       ScriptFunction(L, &args[4]), &value);
  return answer(L, &args[5], result, code, value);
}

}  // namespace

// ig_trapezoid_1(a, b, f, value): trapezoid sums, the step halved until two differ by less
// than 1e-8; no cap.
int ig_trapezoid_1(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_interval<halving<kTrapezoid>>(L, args, nargs, result);
}

// ig_trapezoid_2(a, b, lo, hi, f, value): f(x, y) over a <= x <= b, lo(x) <= y <= hi(x);
// trapezoid sums in x and in y, at least 4 and at most 10 halvings each, relative change 1e-6.
int ig_trapezoid_2(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_region<kTrapezoidRegion>(L, args, nargs, result);
}

// ig_simpson_1(a, b, f, value): Simpson's rule, the step halved at least 4 and at most 20
// times, until the relative change falls below 1e-8.
int ig_simpson_1(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_interval<halving<kSimpson>>(L, args, nargs, result);
}

// ig_simpson_2(a, b, lo, hi, f, value): as ig_trapezoid_2 with Simpson's rule in x and in y,
// relative change 1e-8.
int ig_simpson_2(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_region<kSimpsonRegion>(L, args, nargs, result);
}

// ig_romberg(a, b, f, value): Romberg's table over the halved trapezoid sums, at least 4 and at
// most 20 halvings, until its diagonal changes by less than a relative 1e-10.
int ig_romberg(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_interval<halving<kRomberg>>(L, args, nargs, result);
}

// ig_gauss(a, b, f, value): composite five-point Gauss-Legendre (see gauss).
int ig_gauss(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_interval<gauss>(L, args, nargs, result);
}

// ig_chebyshev(a, b, f, value): composite five-point Chebyshev rule, the sub-intervals doubled
// at least 3 and at most 16 times, until the relative change falls below 1e-8.
int ig_chebyshev(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return over_interval<chebyshev>(L, args, nargs, result);
}

}  // namespace vkl::methods
