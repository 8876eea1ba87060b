// Sine and cosine integrals from their power series near zero and from the continued fraction
// of E1(ix) further out, both carried in long double so that the double result is good to a
// few units in the last place (away from the zeros of Ci, where only the absolute error is
// that small). The inverse exponential integral refines a start from the function's two
// asymptotic forms with Halley steps on Ei.
#include "host/vkl/trig_exp_integrals.h"

#include "host/vkl/math_policy.h"

#include <boost/math/special_functions/expint.hpp>

#include <cmath>
#include <complex>
#include <limits>

namespace vkl::host {
namespace {

using Real = long double;

constexpr Real kEulerGamma = 0.577215664901532860606512090082402431L;
constexpr Real kHalfPi = 1.570796326794896619231321691639751442L;
constexpr Real kEpsilon = std::numeric_limits<Real>::epsilon();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
// Below this the power series (alternating, largest term about e^x / sqrt(x)) is used; above
// it the continued fraction converges in a few dozen steps.
constexpr Real kSeriesLimit = 4;
constexpr int kMaxSteps = 1000;

// Sum of (-1)^k x^(2k+1) / ((2k+1) (2k+1)!) for k >= 0.
Real sine_series(Real x) {
  const Real x2 = x * x;
  Real power = x;  // (-1)^k x^(2k+1) / (2k+1)!
  Real sum = x;
  for (int k = 1; k < kMaxSteps; ++k) {
    power *= -x2 / ((2 * k) * (2 * k + 1));
    const Real term = power / (2 * k + 1);
    sum += term;
    if (std::fabs(term) <= kEpsilon * std::fabs(sum)) break;
  }
  return sum;
}

// Sum of (-1)^k x^(2k) / (2k (2k)!) for k >= 1.
Real cosine_series(Real x) {
  const Real x2 = x * x;
  Real power = 1;  // (-1)^k x^(2k) / (2k)!
  Real sum = 0;
  for (int k = 1; k < kMaxSteps; ++k) {
    power *= -x2 / ((2 * k - 1) * (2 * k));
    const Real term = power / (2 * k);
    sum += term;
    if (std::fabs(term) <= kEpsilon * std::fabs(sum)) break;
  }
  return sum;
}

// E1(ix) = -Ci(x) + i (Si(x) - pi/2) for x > 0, by the continued fraction
// E1(z) = e^-z / (z + 1 - 1^2 / (z + 3 - 2^2 / (z + 5 - ...))), evaluated with Lentz's method.
std::complex<Real> e1_of_imaginary(Real x) {
  using Complex = std::complex<Real>;
  constexpr Real kTiny = std::numeric_limits<Real>::min() / kEpsilon;
  Complex b(1, x);
  Complex c(1 / kTiny, 0);
  Complex d = Real(1) / b;
  Complex h = d;
  for (int i = 2; i < kMaxSteps; ++i) {
    const Real a = -Real(i - 1) * Real(i - 1);
    b += Real(2);
    d = Real(1) / (a * d + b);
    c = b + a / c;
    const Complex step = c * d;
    h *= step;
    if (std::fabs(step.real() - 1) + std::fabs(step.imag()) <= kEpsilon) break;
  }
  return h * Complex(std::cos(x), -std::sin(x));
}

}  // namespace

double sine_integral(double x) {
  if (std::isnan(x)) return x;
  if (x < 0) return -sine_integral(-x);
  if (std::isinf(x)) return static_cast<double>(kHalfPi);
  if (x <= kSeriesLimit) return static_cast<double>(sine_series(x));
  return static_cast<double>(kHalfPi + e1_of_imaginary(x).imag());
}

double cosine_integral(double x) {
  if (std::isnan(x) || x < 0) return kNaN;
  if (x == 0) return -kInf;
  if (std::isinf(x)) return 0;
  if (x <= kSeriesLimit)
    return static_cast<double>(kEulerGamma + std::log(Real(x)) + cosine_series(x));
  return static_cast<double>(-e1_of_imaginary(x).real());
}

double inverse_exponential_integral(double y) {
  if (std::isnan(y)) return y;
  if (y == kInf) return kInf;
  // Near zero Ei(x) = gamma + ln x + x + O(x^2): below y = -50 the root is under 1e-22, and
  // exp(y - gamma) is that close to it relatively, past double precision.
  if (y < -50) return static_cast<double>(std::exp(Real(y) - kEulerGamma));
  Real x;
  if (y < 1) {
    x = std::exp(Real(y) - kEulerGamma);
  } else {
    // Far out Ei(x) ~ e^x / x, so x ~ ln y + ln ln y; the 1s keep the start above the root
    // and positive down to y = 1.
    const Real log_y = std::log(Real(y));
    x = 1 + log_y + std::log(1 + log_y);
  }
  // Halley on f(x) = Ei(x) - y with f' = e^x / x and f'' = f' (x - 1) / x; a step that would
  // leave the positive axis halves x instead.
  for (int i = 0; i < 100; ++i) {
    const Real f = boost::math::expint(x, MathPolicy()) - Real(y);
    const Real slope = std::exp(x) / x;
    const Real curvature = slope * (x - 1) / x;
    const Real step = f / (slope - f * curvature / (2 * slope));
    const Real next = x - step;
    if (!(next > 0)) {
      x /= 2;
      continue;
    }
    x = next;
    if (std::fabs(step) <= 4 * kEpsilon * x) break;
  }
  return static_cast<double>(x);
}

}  // namespace vkl::host
