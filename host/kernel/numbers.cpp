// Rounding of reals: to decimal places with either tie rule, and to significant digits.
#include <vkl/numbers.h>

#include <algorithm>
#include <cmath>

namespace {

// 10^n for n >= 0: exact up to 10^22, then as close as pow gives it.
double power_of_ten(int n) {
  static constexpr double kExact[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                      1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  return n < 23 ? kExact[n] : std::pow(10.0, n);
}

// x rounded at 10^-places by `whole` (places > 0 after the point, < 0 before it). Scaling up
// by more than 10^300 goes in two steps so that tiny values do not overflow the factor.
template <double (*whole)(double)>
double round_at(double x, int places) {
  if (places == 0) return whole(x);
  if (places < 0) {
    const double f = power_of_ten(std::min(-places, 400));
    return whole(x / f) * f;
  }
  const int first = std::min(places, 300);
  const double f1 = power_of_ten(first);
  const double f2 = power_of_ten(std::min(places - first, 400));
  const double scaled = x * f2 * f1;
  // From 2^52 on the scaled value is whole already: x has no digits that far down.
  if (!(std::fabs(scaled) < 4503599627370496.0)) return x;
  return whole(scaled) / f1 / f2;
}

double half_even(double x) { return vkl_round_half_even(x); }
double half_away(double x) { return vkl_round_half_away(x); }

}  // namespace

extern "C" {

double VKL_Round(double x, int digits) { return round_at<half_even>(x, digits); }

double VKL_SimpleRound(double x, int digits) { return round_at<half_away>(x, digits); }

double VKL_SetRealPrecision(double x, int digits) {
  if (digits < 1 || digits > 17 || x == 0 || !std::isfinite(x)) return x;
  const int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(x))));
  return round_at<half_away>(x, digits - 1 - magnitude);
}

}  // extern "C"
