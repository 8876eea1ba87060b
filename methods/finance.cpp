#include "methods/finance.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "numeric/listed_numbers.h"

namespace vkl::methods {
namespace {

using Answer = std::optional<double>;
constexpr Answer kNoAnswer = std::nullopt;

// Below this rate the annuity factor is taken from its series, (1 + r)^n - 1 having lost too
// many digits to r.
constexpr double kSeriesRate = 6.1e-5;
// A growth factor beyond this leaves too few digits for the closed forms.
constexpr double kOverflowGrowth = 1e16;
// Newton steps of interestrate and internalrateofreturn before they give up.
constexpr int kNewtonSteps = 15;

// Payments at the start of each period for type 1, at the end for any other value.
bool at_start(double type) { return type == 1; }

// The growth factor G = (1 + r)^n and the annuity factor F = (G - 1) / r of n payments (times
// 1 + r when they fall at the start of the periods).
struct Annuity {
  double growth;
  double factor;
};

Annuity annuity(double r, int32_t n, double type) {
  if (r == 0) return {1, static_cast<double>(n)};
  Annuity a;
  if (std::fabs(r) < kSeriesRate) {
    a.growth = std::exp(n * std::log1p(r));
    a.factor = n * (1 + (n - 1) * r * 0.5);
  } else {
    a.growth = std::pow(1 + r, n);
    a.factor = (a.growth - 1) / r;
  }
  if (at_start(type)) a.factor *= 1 + r;
  return a;
}

// A rate of -1 or below leaves nothing to compound.
bool usable_rate(double r) { return !(r <= -1); }

Answer future_value(double r, int32_t n, double pmt, double pv, double type) {
  if (!usable_rate(r)) return kNoAnswer;
  const Annuity a = annuity(r, n, type);
  if (a.growth > kOverflowGrowth) return kNoAnswer;
  return -pmt * a.factor - a.growth * pv;
}

Answer payment(double r, int32_t n, double pv, double fv, double type) {
  if (!usable_rate(r)) return kNoAnswer;
  const Annuity a = annuity(r, n, type);
  if (a.growth > kOverflowGrowth) return -pv * r / ((at_start(type) ? r : 0) + 1);
  return (-pv * a.growth - fv) / a.factor;
}

Answer present_value(double r, int32_t n, double pmt, double fv, double type) {
  if (!usable_rate(r)) return kNoAnswer;
  const Annuity a = annuity(r, n, type);
  // The long-horizon limit as this library has always given it (pmt appears squared).
  if (a.growth > kOverflowGrowth) return -(pmt / r * (at_start(type) ? 1 : 0) * pmt);
  return (-pmt * a.factor - fv) / a.growth;
}

// The interest (principal == false) or principal part of the payment of period per.
Answer payment_part(bool principal, double r, int32_t per, int32_t n, double pv, double fv,
                    double type) {
  if (!usable_rate(r) || per < 1 || n < per) return kNoAnswer;
  const double before = std::pow(1 + r, per - 1);
  const Annuity a = annuity(r, n, type);
  if (principal) return before * (-pv - fv) / a.factor;
  return ((before - 1) * fv - (a.growth - before) * pv) / a.factor;
}

Answer number_of_periods(double r, double pmt, double pv, double fv, double type) {
  if (!usable_rate(r)) return kNoAnswer;
  const double d = r * pv + (at_start(type) ? pmt * (1 + r) : pmt);
  if (d == 0) return kNoAnswer;
  if (std::fabs(r) < kSeriesRate) return -(pv + fv) / d;
  const double t = -(pv + fv) * r / d;
  if (t <= -1) return kNoAnswer;
  return std::log1p(t) / std::log1p(r);
}

// The cash flows become: a first value now (negative), nper - 1 equal payments and a last
// value (payment included) nper periods on, both not negative. With x = ln(1 / (1 + rate)),
// Newton's method runs on ln(payments and last value discounted / -first), which has one root
// under these signs. When the flows had to be read backwards (s), x is ln(1 + rate).
Answer interest_rate(int32_t n, double pmt, double pv, double fv, double type) {
  if (n < 1) return kNoAnswer;
  double first = at_start(type) ? pmt + pv : pv;
  double last = at_start(type) ? fv : pmt + fv;
  const bool backwards = first * pmt > 0;
  if (backwards) std::swap(first, last);
  if (first > 0) {
    first = -first;
    pmt = -pmt;
    last = -last;
  }
  if (first == 0 || last < 0) return kNoAnswer;
  double x = 0;
  for (int step = 0; step < kNewtonSteps; ++step) {
    const double growth = std::exp(n * x);
    if (growth == growth + 1) {
      // Far beyond the digits of a double: the perpetuity's closed form.
      const double r = -pmt / first;
      return backwards ? std::exp(-std::log(1 - pmt / first)) - 1 : r;
    }
    // sum = e^x + ... + e^((n-1)x) and its derivative; at x = 0 their limits n - 1 and
    // (n - 1) n / 2.
    const double ex = std::exp(x), ex1 = ex - 1;
    double sum, slope;
    if (ex1 == 0) {
      sum = n - 1.0;
      slope = (n - 1.0) * n / 2;
    } else {
      sum = ex * (std::exp((n - 1) * x) - 1) / ex1;
      slope = (n * growth - ex - sum * ex) / ex1;
    }
    const double value = pmt * sum + last * growth;
    const double delta = std::log(value / -first) / ((pmt * slope + last * n * growth) / value);
    x -= delta;
    if (std::fabs(delta) < std::fabs(x) * 1e-12 + 1e-15)
      return backwards ? std::exp(x) - 1 : std::exp(-x) - 1;
  }
  return kNoAnswer;
}

// The flows discounted back to the start of the first period (type 1: the first flow falls
// there, else at the end of the first period).
Answer net_present_value(double r, const TObject* flows, double type) {
  if (!usable_rate(r)) return kNoAnswer;
  std::vector<double> values;
  if (vkl_is_number_tag(flows->tag) || flows->tag == VKL_TFMELEMENT)
    values.push_back(VKL_AsDouble(flows));
  else
    numeric::for_each_listed_number(flows, [&](double v) { values.push_back(v); });
  const double discount = 1 / (1 + r);
  double sum = 0;
  for (auto v = values.rbegin(); v != values.rend(); ++v) sum = sum * discount + *v;
  return at_start(type) ? sum : sum * discount;
}

Answer sln_depreciation(double cost, double salvage, int32_t life) {
  if (life == 0) return kNoAnswer;
  return (cost - salvage) / life;
}

// 0 outside the asset's life and for an asset not worth more than its salvage.
Answer syd_depreciation(double cost, double salvage, int32_t life, int32_t period) {
  if (period < 1 || life < period || cost <= salvage) return 0.0;
  const double years = life;
  return (cost - salvage) * 2 * (years - period + 1) / (years * (years + 1));
}

// A life of one or two periods writes the asset off in the first; the general rule would
// leave part of it for the second.
Answer double_declining_balance(double cost, double salvage, int32_t life, int32_t period) {
  if (period < 1 || life < period || life < 1 || salvage >= cost) return 0.0;
  if (life <= 2) return period == 1 ? cost - salvage : 0.0;
  const double k = 2.0 / life;
  const double v = std::pow(1 - k, period - 1) * cost;
  return std::max(0.0, std::min(v - salvage, v * k));
}

// With epsilon 0: a relative 1e-12 of the smaller magnitude, at least 1e-12.
bool same_value(double a, double b, double epsilon) {
  if (epsilon == 0) epsilon = std::max(std::min(std::fabs(a), std::fabs(b)) * 1e-12, 1e-12);
  return a > b ? a - b <= epsilon : b - a <= epsilon;
}

int compare_value(double a, double b, double epsilon) {
  if (same_value(a, b, epsilon)) return 0;
  return a < b ? -1 : 1;
}

double ensure_range(double x, double lo, double hi) {
  if (x < lo) x = lo;
  if (x > hi) x = hi;
  return x;
}

// Input i as a double / as a 32-bit integer truncated toward zero.
double real_at(TObject* args, int i) { return VKL_AsDouble(text::coded_arg(args, i)); }
int32_t whole_at(TObject* args, int i) { return numeric::to_int32(real_at(args, i)); }

Answer evaluate(TObject* args, int code) {
  const auto d = [args](int i) { return real_at(args, i); };
  const auto n = [args](int i) { return whole_at(args, i); };
  switch (code) {
    case 3: return ensure_range(d(0), d(1), d(2));
    case 4: return future_value(d(0), n(1), d(2), d(3), d(4));
    case 5: return payment_part(false, d(0), n(1), n(2), d(3), d(4), d(5));
    case 6: return interest_rate(n(0), d(1), d(2), d(3), d(4));
    case 7: return number_of_periods(d(0), d(1), d(2), d(3), d(4));
    case 8: return net_present_value(d(0), text::coded_arg(args, 1), d(2));
    case 9: return payment(d(0), n(1), d(2), d(3), d(4));
    case 10: return payment_part(true, d(0), n(1), n(2), d(3), d(4), d(5));
    case 11: return present_value(d(0), n(1), d(2), d(3), d(4));
    case 12: return sln_depreciation(d(0), d(1), n(2));
    case 13: return syd_depreciation(d(0), d(1), n(2), n(3));
    case 14: return double_declining_balance(d(0), d(1), n(2), n(3));
    default: return kNoAnswer;
  }
}

// The rate at which the flows are worth 0. With t = ln(1 / (1 + rate)) the flows split into
// a negative part N(t) and a positive part P(t); Newton's method runs from the guess on
// ln(-N / P), at most kNewtonSteps steps, and settles when a step falls below |t| 1e-12 +
// 1e-15. Flows without both signs, a guess of -1 or below, or no settling: no answer.
Answer internal_rate_of_return(double guess, const std::vector<double>& flows) {
  if (!usable_rate(guess)) return kNoAnswer;
  double t = -std::log1p(guess);
  for (int step = 0; step < kNewtonSteps; ++step) {
    double neg = 0, pos = 0, neg_slope = 0, pos_slope = 0;
    const double x = std::exp(t);
    double xk = 1;
    for (size_t k = 0; k < flows.size(); ++k, xk *= x) {
      const double term = flows[k] * xk;
      (term < 0 ? neg : pos) += term;
      (term < 0 ? neg_slope : pos_slope) += static_cast<double>(k) * term;
    }
    if (!(neg < 0 && pos > 0)) return kNoAnswer;
    const double delta = std::log(-neg / pos) / (neg_slope / neg - pos_slope / pos);
    if (!std::isfinite(delta)) return kNoAnswer;
    t -= delta;
    if (std::fabs(delta) < std::fabs(t) * 1e-12 + 1e-15) return std::expm1(-t);
  }
  return kNoAnswer;
}

}  // namespace

int finance_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  switch (code) {
    case 0:
      VKL_SetInt(L, result, compare_value(real_at(args, 0), real_at(args, 1), real_at(args, 2)));
      return 1;
    case 1:
      VKL_SetInt(L, result, same_value(real_at(args, 0), real_at(args, 1), real_at(args, 2)));
      return 1;
    case 2: {
      const double x = real_at(args, 0);
      VKL_SetInt(L, result, x >= real_at(args, 1) && x <= real_at(args, 2));
      return 1;
    }
    default: {
      const Answer answer = evaluate(args, code);
      if (!answer || !std::isfinite(*answer)) return 0;
      VKL_SetReal(L, result, *answer);
      return 1;
    }
  }
}

bool InternalRateOfReturn::scalar(VKL_State*, const TObject* a, const TObject* b,
                                  TObject* const* t) {
  std::vector<double> flows;
  numeric::for_each_listed_number(b, [&](double v) { flows.push_back(v); });
  const Answer rate = internal_rate_of_return(numeric::number_of(a), flows);
  if (!rate || !std::isfinite(*rate)) return false;
  vkl_put_real(t[0], *rate);
  return true;
}

}  // namespace vkl::methods
