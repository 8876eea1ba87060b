/* Rounding of reals by the kernel (libvklkrnl.so).
 *
 * Two tie rules are offered: VKL_Round rounds half to even (2.5 gives 2, 3.5 gives 4, the
 * classic Object Pascal Round), VKL_SimpleRound rounds half away from zero after nudging the
 * value by 1e-16 of its binary mantissa, so that a product such as 1.005 * 100, stored as
 * 100.49999999999999, still rounds up. The inline forms round to a whole number without
 * branches, so loops over large buffers vectorise; the exported operations use them.
 */
#ifndef VKL_NUMBERS_H
#define VKL_NUMBERS_H

#include <vkl/object.h>

#include <math.h>

#ifdef __cplusplus
extern "C" {
#endif

/* x when c is 1, y when c is 0, chosen with bit masks: a branch on unpredictable data costs
 * more than the whole rounding. */
static inline double vkl_select(int c, double x, double y) {
  const uint64_t mask = 0 - (uint64_t)c;
  uint64_t bx, by;
  memcpy(&bx, &x, sizeof bx);
  memcpy(&by, &y, sizeof by);
  const uint64_t r = (bx & mask) | (by & ~mask);
  double d;
  memcpy(&d, &r, sizeof d);
  return d;
}

/* x rounded to a whole number, ties to even. NaN and infinities are returned as they are. */
static inline double vkl_round_half_even(double x) {
  const double two52 = 4503599627370496.0; /* from here on every double is whole */
  const double a = fabs(x);
  const double r = (a + two52) - two52;
  return copysign(vkl_select(a < two52, r, a), x);
}

/* x rounded to a whole number, ties away from zero, after the nudge: when x = m * 2^e with
 * 0.5 <= |m| < 1 and -29 <= e <= 29, m is first moved away from zero by 1e-16. */
static inline double vkl_round_half_away(double x) {
  const double two52 = 4503599627370496.0;
  /* -29 <= e <= 29 exactly when 2^-30 <= |x| < 2^29. The exponent bits of x alone are
   * 2^(e - 1); scaling by a power of two is exact, so x + 2e-16 * 2^(e - 1) is m + 1e-16
   * rounded and scaled back. */
  uint64_t bits;
  memcpy(&bits, &x, sizeof bits);
  const uint64_t power_bits = bits & 0x7ff0000000000000ull;
  double half_scale;
  memcpy(&half_scale, &power_bits, sizeof half_scale);
  const double magnitude = fabs(x);
  const int nudged = (magnitude >= 0x1p-30) & (magnitude < 0x1p29);
  const double a = magnitude + vkl_select(nudged, 2e-16 * half_scale, 0.0);
  const double y = a + 0.5;
  const double nearest = (y + two52) - two52;
  const double down = nearest - vkl_select(nearest > y, 1.0, 0.0);
  return copysign(vkl_select(a < two52, down, a), x);
}

/* x rounded to `digits` decimal places (negative: to tens, hundreds, ...), ties to even. */
VKL_API double VKL_Round(double x, int digits);
/* As VKL_Round, ties away from zero after the nudge above. */
VKL_API double VKL_SimpleRound(double x, int digits);
/* x rounded to `digits` significant decimal digits, ties away from zero after the nudge
 * (123456 with 3 gives 123000, 0.0012345 with 2 gives 0.0012). Fewer than 1 or more than 17
 * digits, zero, NaN and the infinities give x unchanged. */
VKL_API double VKL_SetRealPrecision(double x, int digits);

#ifdef __cplusplus
}
#endif
#endif /* VKL_NUMBERS_H */
