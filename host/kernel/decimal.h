// Decimal digits of a double or a currency value, rounded half away from zero to a number of
// significant digits and/or a number of decimals: what every float-to-text format works from.
#pragma once

#include <cstdint>

namespace vkl {

struct Decimal {
  enum Kind : uint8_t { kFinite, kNaN, kInf };
  Kind kind = kFinite;
  bool negative = false;
  // value = 0.d1 d2 ... dn * 10^exponent; no trailing zeros; count 0 is zero (not negative).
  int exponent = 0;
  int count = 0;
  char digits[24] = {};

  bool is_zero() const { return kind == kFinite && count == 0; }
  // The digit at position i (0 is d1), '0' beyond the stored ones.
  char at(int i) const { return i >= 0 && i < count ? digits[i] : '0'; }
};

// No limit on decimals.
inline constexpr int kAnyDecimals = -1;

inline constexpr double kPowersOfTen[19] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,
                                            1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13,
                                            1e14, 1e15, 1e16, 1e17, 1e18};

// `precision` significant digits (1-18), and at most `decimals` after the point unless
// kAnyDecimals.
Decimal decimal_of_double(double x, int precision, int decimals);
// A currency (ten-thousandths), at most `decimals` after the point (0-4 matter).
Decimal decimal_of_currency(int64_t value, int decimals);
// |x| = mantissa * 2^exponent for a finite x, as its bits store it.
struct BinaryParts {
  uint64_t mantissa;
  int exponent;
};
BinaryParts binary_parts(double x);

// True when |x| lies exactly halfway between two multiples of 10^unit: the one case where
// std::to_chars (ties to even) and the text formats (ties away from zero) differ.
bool is_exact_tie(double x, int unit);
// Rounds to at most `precision` significant digits, half away from zero.
void round_to_precision(Decimal& d, int precision);

}  // namespace vkl
