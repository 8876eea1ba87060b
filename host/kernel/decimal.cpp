// Decimal digits of doubles and currency values. std::to_chars rounds correctly from the exact
// binary value but breaks exact ties to even; the text formats round ties away from zero, so a
// tie is detected exactly and rounded up by hand.
#include "decimal.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace vkl {
namespace {

// Room for the longest fixed rendering we ask for (a double below 2^53 with 19 decimals, or one
// with up to 18 significant digits in scientific form).
constexpr int kScratch = 128;

// Drops trailing zeros; a value without digits is zero.
void normalize(Decimal& d) {
  while (d.count > 0 && d.digits[d.count - 1] == '0') --d.count;
  if (d.count == 0) d.exponent = 0;
}

// Reads to_chars fixed output ("123.45", "0.0012") into `d`, at most sizeof(d.digits) digits
// (callers never ask for more).
void read_fixed(const char* s, const char* end, Decimal& d) {
  d.count = 0;
  int integer_digits = 0;
  int zeros_after_point = 0;
  bool in_fraction = false;
  for (const char* p = s; p < end; ++p) {
    if (*p == '.') {
      in_fraction = true;
    } else if (d.count == 0 && *p == '0') {
      if (in_fraction) ++zeros_after_point;
    } else {
      if (!in_fraction) ++integer_digits;
      if (d.count < static_cast<int>(sizeof(d.digits))) d.digits[d.count++] = *p;
    }
  }
  d.exponent = integer_digits > 0 ? integer_digits : -zeros_after_point;
  normalize(d);
}

// Reads to_chars scientific output ("1.25e-07", "5e+00") of at most 18 digits into `d`.
void read_scientific(const char* s, Decimal& d) {
  d.digits[0] = s[0];
  d.count = 1;
  const char* p = s + 1;
  if (*p == '.')
    for (++p; *p != 'e'; ++p) d.digits[d.count++] = *p;
  const bool negative = p[1] == '-';
  int e = 0;
  for (p += 2; *p >= '0' && *p <= '9'; ++p) e = e * 10 + (*p - '0');
  d.exponent = 1 + (negative ? -e : e);
  normalize(d);
}

// Rounds the digits to keep those of positions >= 10^unit, half away from zero.
void round_at(Decimal& d, int unit) {
  const int keep = d.exponent - unit;
  if (keep >= d.count) return;
  if (keep < 0) {
    d.count = 0;
    normalize(d);
    return;
  }
  const bool up = d.digits[keep] >= '5';
  d.count = keep;
  if (up) {
    int i = keep - 1;
    while (i >= 0 && d.digits[i] == '9') --i;
    if (i < 0) {
      d.digits[0] = '1';
      d.count = 1;
      d.exponent += 1;
    } else {
      ++d.digits[i];
      d.count = i + 1;
    }
  }
  normalize(d);
}

// The correctly rounded digits of |x| in fixed form with `decimals` decimals.
void fixed_digits(double ax, int decimals, Decimal& d) {
  char buf[kScratch];
  const auto r = std::to_chars(buf, buf + kScratch, ax, std::chars_format::fixed, decimals);
  read_fixed(buf, r.ptr, d);
}

}  // namespace

// With |x| = M * 2^q, M odd, 2|x| / 10^unit = M * 2^(q + 1 - unit) / 5^unit is an odd integer.
BinaryParts binary_parts(double x) {
  const uint64_t bits = std::bit_cast<uint64_t>(x);
  const int biased = static_cast<int>((bits >> 52) & 0x7FF);
  const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  if (biased == 0) return {fraction, -1074};
  return {fraction | uint64_t{1} << 52, biased - 1075};
}

bool is_exact_tie(double x, int unit) {
  auto [mantissa, q] = binary_parts(x);
  if (mantissa == 0) return false;
  const int zeros = std::countr_zero(mantissa);
  mantissa >>= zeros;
  q += zeros;
  if (q != unit - 1) return false;
  if (unit <= 0) return true;
  if (unit > 22) return false;  // 5^23 exceeds any mantissa
  uint64_t five_power = 1;
  for (int i = 0; i < unit; ++i) five_power *= 5;
  return mantissa % five_power == 0;
}

Decimal decimal_of_double(double x, int precision, int decimals) {
  Decimal d;
  if (std::isnan(x)) {
    d.kind = Decimal::kNaN;
    return d;
  }
  d.negative = std::signbit(x);
  if (std::isinf(x)) {
    d.kind = Decimal::kInf;
    return d;
  }
  if (x == 0) {
    d.negative = false;
    return d;
  }
  precision = std::clamp(precision, 1, 18);
  const double ax = std::fabs(x);
  int unit;
  if (decimals != kAnyDecimals && decimals <= precision &&
      ax < kPowersOfTen[precision - decimals]) {
    // Too few integer digits for the precision to matter: the decimals alone decide.
    unit = -decimals;
    fixed_digits(ax, decimals, d);
  } else {
    char buf[kScratch];
    *std::to_chars(buf, buf + kScratch - 1, ax, std::chars_format::scientific, precision - 1)
         .ptr = '\0';
    read_scientific(buf, d);
    unit = d.exponent - precision;
    if (decimals != kAnyDecimals && -decimals > unit) {
      unit = -decimals;
      fixed_digits(ax, decimals, d);
    }
  }
  if (is_exact_tie(x, unit)) {
    // The exact value ends one digit below `unit` (with a 5): render it whole, round by hand.
    fixed_digits(ax, std::max(0, 1 - unit), d);
    round_at(d, unit);
  }
  if (d.is_zero()) d.negative = false;
  return d;
}

Decimal decimal_of_currency(int64_t value, int decimals) {
  Decimal d;
  d.negative = value < 0;
  uint64_t magnitude = d.negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, magnitude);
  d.count = static_cast<int>(r.ptr - buf);
  std::copy(buf, r.ptr, d.digits);
  d.exponent = d.count - 4;
  normalize(d);
  if (decimals >= 0 && decimals < 4) round_at(d, -decimals);
  if (d.is_zero()) d.negative = false;
  return d;
}

void round_to_precision(Decimal& d, int precision) { round_at(d, d.exponent - precision); }

}  // namespace vkl
