// European option prices, delta and rho by the Black-Scholes formula with a continuous dividend
// yield, and the implied volatility by Newton steps kept inside a bisection bracket.
#include <vkl/numkrnl.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Contract {
  bool call;
  double spot, strike, rate, years, dividend_yield;

  bool valid() const {
    return std::isfinite(spot) && std::isfinite(strike) && std::isfinite(rate) &&
           std::isfinite(years) && std::isfinite(dividend_yield) && spot > 0 && strike > 0 &&
           years >= 0;
  }
  double discounted_spot() const { return spot * std::exp(-dividend_yield * years); }
  double discounted_strike() const { return strike * std::exp(-rate * years); }
};

double normal_cdf(double x) {
  return 0.5 * std::erfc(-x / std::sqrt(2.0));
}
double normal_pdf(double x) {
  return std::exp(-0.5 * x * x) / std::sqrt(2.0 * M_PI);
}

// d1 and d2 of the formula. Without any spread (no time or no volatility) both are the limit
// for a vanishing spread: +-infinity by the sign of the forward moneyness, 0 at the money.
struct Spread {
  double d1, d2;
  Spread(const Contract& c, double volatility) {
    const double deviation = volatility * std::sqrt(c.years);
    const double moneyness = std::log(c.spot / c.strike) + (c.rate - c.dividend_yield) * c.years;
    if (deviation > 0) {
      d1 = moneyness / deviation + deviation / 2;
      d2 = d1 - deviation;
    } else {
      d1 = d2 = moneyness > 0 ? kInfinity : moneyness < 0 ? -kInfinity : 0.0;
    }
  }
};

double price_of(const Contract& c, double volatility) {
  const Spread s(c, volatility);
  const double value =
      c.call ? c.discounted_spot() * normal_cdf(s.d1) - c.discounted_strike() * normal_cdf(s.d2)
             : c.discounted_strike() * normal_cdf(-s.d2) - c.discounted_spot() * normal_cdf(-s.d1);
  return std::max(value, 0.0);
}

double delta_of(const Contract& c, double volatility) {
  const Spread s(c, volatility);
  const double carry = std::exp(-c.dividend_yield * c.years);
  return c.call ? carry * normal_cdf(s.d1) : -carry * normal_cdf(-s.d1);
}

double rho_of(const Contract& c, double volatility) {
  const Spread s(c, volatility);
  const double weight = c.years * c.discounted_strike();
  return c.call ? weight * normal_cdf(s.d2) : -weight * normal_cdf(-s.d2);
}

double vega_of(const Contract& c, double volatility) {
  const Spread s(c, volatility);
  return c.discounted_spot() * normal_pdf(s.d1) * std::sqrt(c.years);
}

template <double (*Measure)(const Contract&, double)>
int evaluate(const Contract& c, double volatility, double* out) {
  if (!out || !c.valid() || !std::isfinite(volatility) || volatility < 0) return VKN_BAD_INPUT;
  *out = Measure(c, volatility);
  return VKN_OK;
}

// The price grows with the volatility, so the root of price - target inside [low, high] is
// bracketed; each Newton step that would leave the bracket is replaced by a bisection step.
// `widen`: without an upper bound given, `high` doubles until the price passes the target.
int implied_volatility(const Contract& c, double target, double low, double high, bool widen,
                       double* out) {
  if (!out || !c.valid() || c.years <= 0 || !std::isfinite(target) || target < 0 ||
      !std::isfinite(low) || !std::isfinite(high) || low < 0 || high <= low)
    return VKN_BAD_INPUT;
  // What no volatility reaches: a call at or above the discounted spot, a put at or above the
  // discounted strike.
  if (target >= (c.call ? c.discounted_spot() : c.discounted_strike())) return VKN_BAD_INPUT;
  double below = price_of(c, low) - target;
  if (below > 0) return VKN_BAD_INPUT;
  if (below == 0) {
    *out = low;
    return VKN_OK;
  }
  constexpr double kWidest = 1e6;
  double above = price_of(c, high) - target;
  while (widen && above < 0 && high < kWidest) {
    low = high;
    high *= 2;
    above = price_of(c, high) - target;
  }
  if (above < 0) return widen ? VKN_FAILED : VKN_BAD_INPUT;

  const double guess = std::sqrt(2 * M_PI / c.years) * target / c.discounted_spot();
  double x = guess > low && guess < high ? guess : (low + high) / 2;
  for (int step = 0; step < 200; ++step) {
    const double miss = price_of(c, x) - target;
    if (miss == 0) break;
    (miss < 0 ? low : high) = x;
    const double vega = vega_of(c, x);
    const double newton = vega > 0 ? x - miss / vega : kInfinity;
    const double next = newton > low && newton < high ? newton : (low + high) / 2;
    const bool settled = std::abs(next - x) <= 1e-15 * x + 1e-300 || high - low <= 1e-15 * high;
    x = next;
    if (settled) break;
  }
  *out = x;
  return VKN_OK;
}

}  // namespace

extern "C" {

VKL_API int OptionBlackScholesPrice(int32_t call, double spot, double strike, double rate,
                                    double years, double volatility, double dividend_yield,
                                    double* price) {
  return evaluate<price_of>({call != 0, spot, strike, rate, years, dividend_yield}, volatility,
                            price);
}

VKL_API int OptionBlackScholesDELTA(int32_t call, double spot, double strike, double rate,
                                    double years, double volatility, double dividend_yield,
                                    double* delta) {
  return evaluate<delta_of>({call != 0, spot, strike, rate, years, dividend_yield}, volatility,
                            delta);
}

VKL_API int OptionBlackScholesRI(int32_t call, double spot, double strike, double rate,
                                 double years, double volatility, double dividend_yield,
                                 double* rho) {
  return evaluate<rho_of>({call != 0, spot, strike, rate, years, dividend_yield}, volatility, rho);
}

VKL_API int OptionImpliedVolatility(int32_t call, double spot, double strike, double rate,
                                    double years, double price, double dividend_yield,
                                    double* volatility) {
  return implied_volatility({call != 0, spot, strike, rate, years, dividend_yield}, price, 0.0, 1.0,
                            true, volatility);
}

VKL_API int OptionImpliedVolatilityLU(int32_t call, double spot, double strike, double rate,
                                      double years, double price, double dividend_yield,
                                      double lower, double upper, double* volatility) {
  return implied_volatility({call != 0, spot, strike, rate, years, dividend_yield}, price, lower,
                            upper, false, volatility);
}

}  // extern "C"
