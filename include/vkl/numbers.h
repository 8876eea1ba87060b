/* Rounding of reals by the kernel (libvklkrnl.so).
 *
 * Two tie rules are offered: VKL_Round rounds half to even (2.5 gives 2, 3.5 gives 4, the
 * classic Object Pascal Round), VKL_SimpleRound rounds half away from zero after nudging the
 * value by 1e-16 of its binary mantissa, so that a product such as 1.005 * 100, stored as
 * 100.49999999999999, still rounds up. The inline forms (C++) round to a whole number; they
 * are written once for a double and for a vector of doubles, so that loops over large buffers
 * run lane-parallel without branches. The exported operations use them.
 */
#ifndef VKL_NUMBERS_H
#define VKL_NUMBERS_H

#include <vkl/object.h>

#include <math.h>

#ifdef __cplusplus
extern "C" {
#endif

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

#include <bit>
#include <cstdint>
#include <type_traits>

namespace vkl {

/* D is double or a GCC vector of doubles; RoundBits<D> holds its bit patterns. A comparison of
 * vectors answers a mask per lane and ?: blends, so the vector forms have no branches. */
template <class D>
using RoundBits = std::conditional_t<std::is_same_v<D, double>, uint64_t, decltype(D{} < D{})>;

/* The magnitude `r` (sign bit clear) with the sign of the value whose bits are `bits`. */
template <class D, class B = RoundBits<D>>
inline D with_sign_of(D r, B bits) {
  const B sign = bits ^ (bits & 0x7fffffffffffffff);
  return std::bit_cast<D>(std::bit_cast<B>(r) | sign);
}

/* x rounded to a whole number, ties to even. NaN and infinities are returned as they are. */
template <class D>
inline D round_half_even(D x) {
  using B = RoundBits<D>;
  const double two52 = 4503599627370496.0; /* from here on every double is whole */
  const B bits = std::bit_cast<B>(x);
  const D a = std::bit_cast<D>(bits & 0x7fffffffffffffff);
  const D r = (a + two52) - two52;
  return with_sign_of<D>(a < two52 ? r : a, bits);
}

/* x rounded to a whole number, ties away from zero, after the nudge: when x = m * 2^e with
 * 0.5 <= |m| < 1 and -29 <= e <= 29, m is first moved away from zero by 1e-16. */
template <class D>
inline D round_half_away(D x) {
  using B = RoundBits<D>;
  const double two52 = 4503599627370496.0;
  const B bits = std::bit_cast<B>(x);
  const D magnitude = std::bit_cast<D>(bits & 0x7fffffffffffffff);
  /* -29 <= e <= 29 exactly when 2^-30 <= |x| < 2^29. The exponent bits of x alone are
   * 2^(e - 1); scaling by a power of two is exact, so x + 2e-16 * 2^(e - 1) is m + 1e-16
   * rounded and scaled back. */
  const D nudge = 2e-16 * std::bit_cast<D>(bits & 0x7ff0000000000000);
  const D zero{};
  const D a = magnitude + ((magnitude >= 0x1p-30) & (magnitude < 0x1p29) ? nudge : zero);
  const D y = a + 0.5;
  const D nearest = (y + two52) - two52;
  const D one = zero + 1.0;
  const D down = nearest - (nearest > y ? one : zero);
  return with_sign_of<D>(a < two52 ? down : a, bits);
}

}  // namespace vkl

inline double vkl_round_half_even(double x) { return vkl::round_half_even(x); }
inline double vkl_round_half_away(double x) { return vkl::round_half_away(x); }
#endif
#endif /* VKL_NUMBERS_H */
