// The special integrals this program computes itself: the sine and cosine integrals and the
// inverse of the exponential integral on the positive axis.
#pragma once

namespace vkl::host {

// Si(x) = integral of sin(t)/t from 0 to x; odd in x, Si(±inf) = ±pi/2.
double sine_integral(double x);

// Ci(x) = gamma + ln x + integral of (cos(t) - 1)/t from 0 to x, for x > 0; Ci(0) = -inf,
// Ci(inf) = 0, NaN for x < 0 (the value there is not real).
double cosine_integral(double x);

// The x > 0 with Ei(x) = y. Ei increases from -inf to +inf on (0, inf), so every real y has
// one: -inf gives 0, +inf gives +inf.
double inverse_exponential_integral(double y);

}  // namespace vkl::host
