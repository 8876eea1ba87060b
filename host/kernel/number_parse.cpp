// Text to numbers: integers (decimal or hexadecimal), reals, currency, booleans and Val, from
// narrow or wide text. One scanner per grammar serves both widths; reals are converted by
// std::from_chars, which rounds correctly.
#include <vkl/format_settings.h>
#include <vkl/vk_numbers.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace vkl {
namespace {

template <class Char>
bool is_blank(Char c) {
  return c == Char(' ') || c == Char('\t');
}

template <class Char>
int digit_value(Char c, int base) {
  int d = 36;
  if (c >= Char('0') && c <= Char('9')) d = static_cast<int>(c - Char('0'));
  else if (c >= Char('a') && c <= Char('z')) d = static_cast<int>(c - Char('a')) + 10;
  else if (c >= Char('A') && c <= Char('Z')) d = static_cast<int>(c - Char('A')) + 10;
  return d < base ? d : -1;
}

// Blanks, a sign, decimal digits or hexadecimal ones after $ or 0x, and nothing else. Decimal
// values must fit `Int`; hexadecimal ones are its bit pattern.
template <class Int, class Char>
bool parse_int(const Char* s, int64_t len, Int* out) {
  using Unsigned = std::make_unsigned_t<Int>;
  if (!s || len <= 0) return false;
  int64_t i = 0;
  while (i < len && is_blank(s[i])) ++i;
  bool negative = false;
  if (i < len && (s[i] == Char('+') || s[i] == Char('-'))) negative = s[i++] == Char('-');
  int base = 10;
  if (i < len && s[i] == Char('$')) {
    base = 16;
    ++i;
  } else if (i + 1 < len && s[i] == Char('0') && (s[i + 1] == Char('x') || s[i + 1] == Char('X'))) {
    base = 16;
    i += 2;
  }
  if (i >= len) return false;
  const Unsigned limit = base == 16 ? std::numeric_limits<Unsigned>::max()
                         : negative ? Unsigned(std::numeric_limits<Int>::max()) + 1
                                    : Unsigned(std::numeric_limits<Int>::max());
  Unsigned acc = 0;
  for (; i < len; ++i) {
    const int d = digit_value(s[i], base);
    if (d < 0 || acc > (limit - Unsigned(d)) / Unsigned(base)) return false;
    acc = static_cast<Unsigned>(acc * Unsigned(base) + Unsigned(d));
  }
  *out = static_cast<Int>(negative ? Unsigned(0) - acc : acc);
  return true;
}

// A real as the scanner saw it: sign, all mantissa digits, how many of them follow the point,
// and the exponent (saturated).
struct RealText {
  bool negative = false;
  std::string digits;
  int64_t fraction_digits = 0;
  int64_t exponent = 0;
};

// Scans  blanks [sign] digits [point digits] [(E|e) [sign] digits] [blanks]  (trailing blanks
// only when allowed). Returns -1, or the index of the first character that does not fit (len
// when the text ends too soon).
template <class Char>
int64_t scan_real(const Char* s, int64_t len, Char point, bool trailing_blanks, RealText& r) {
  int64_t i = 0;
  while (i < len && is_blank(s[i])) ++i;
  if (i < len && (s[i] == Char('+') || s[i] == Char('-'))) r.negative = s[i++] == Char('-');
  bool any_digit = false;
  bool in_fraction = false;
  for (; i < len; ++i) {
    if (s[i] >= Char('0') && s[i] <= Char('9')) {
      any_digit = true;
      if (!r.digits.empty() || s[i] != Char('0')) r.digits.push_back(static_cast<char>(s[i]));
      else if (!in_fraction) continue;
      if (in_fraction) ++r.fraction_digits;
    } else if (s[i] == point && point != Char(0) && !in_fraction) {
      in_fraction = true;
    } else {
      break;
    }
  }
  if (!any_digit) return i;
  if (i < len && (s[i] == Char('e') || s[i] == Char('E'))) {
    ++i;
    bool negative_exponent = false;
    if (i < len && (s[i] == Char('+') || s[i] == Char('-'))) negative_exponent = s[i++] == Char('-');
    if (i >= len || digit_value(s[i], 10) < 0) return i;
    for (; i < len && digit_value(s[i], 10) >= 0; ++i)
      if (r.exponent < 100000000) r.exponent = r.exponent * 10 + digit_value(s[i], 10);
    if (negative_exponent) r.exponent = -r.exponent;
  }
  if (trailing_blanks)
    while (i < len && is_blank(s[i])) ++i;
  return i < len ? i : -1;
}

// Leading zeros after the point were counted as fraction digits without being stored: the
// power of ten of the last stored digit is exponent - fraction_digits.
bool real_value(const RealText& r, double* out) {
  if (r.digits.empty()) {
    *out = r.negative ? -0.0 : 0.0;
    return true;
  }
  std::string text = r.digits;
  text += 'e';
  text += std::to_string(r.exponent - r.fraction_digits);
  double v = 0;
  const auto res = std::from_chars(text.data(), text.data() + text.size(), v);
  if (res.ec == std::errc::result_out_of_range) {
    // Underflow gives 0; overflow fails.
    const int64_t magnitude =
        static_cast<int64_t>(r.digits.size()) + r.exponent - r.fraction_digits;
    if (magnitude > 0) return false;
    v = 0;
  } else if (res.ec != std::errc()) {
    return false;
  }
  *out = r.negative ? -v : v;
  return true;
}

// The value in ten-thousandths, rounded half away from zero; false outside the int64 range.
bool currency_value(const RealText& r, int64_t* out) {
  const int64_t shift = r.exponent - r.fraction_digits + 4;  // power of ten of the last digit
  const int64_t n = static_cast<int64_t>(r.digits.size());
  const int64_t keep = shift >= 0 ? n : n + shift;
  const uint64_t limit = r.negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
  uint64_t acc = 0;
  auto add_digit = [&](unsigned d) {
    if (acc > (limit - d) / 10) return false;
    acc = acc * 10 + d;
    return true;
  };
  for (int64_t i = 0; i < keep; ++i)
    if (!add_digit(static_cast<unsigned>(r.digits[static_cast<size_t>(i)] - '0'))) return false;
  if (keep >= 0 && keep < n && r.digits[static_cast<size_t>(keep)] >= '5') {
    if (acc == limit) return false;
    ++acc;
  }
  for (int64_t i = 0; i < shift && acc != 0; ++i)
    if (!add_digit(0)) return false;
  *out = r.negative ? static_cast<int64_t>(0 - acc) : static_cast<int64_t>(acc);
  return true;
}

template <class Char>
bool equals_ascii_nocase(const Char* s, int64_t len, const char* word) {
  int64_t i = 0;
  for (; i < len && word[i]; ++i) {
    Char c = s[i];
    if (c >= Char('A') && c <= Char('Z')) c = c - Char('A') + Char('a');
    if (c != Char(word[i])) return false;
  }
  return i == len && !word[i];
}

// INF, -INF, +INF, NAN, with blanks around.
template <class Char>
bool special_real(const Char* s, int64_t len, double* out) {
  while (len > 0 && is_blank(s[0])) ++s, --len;
  while (len > 0 && is_blank(s[len - 1])) --len;
  bool negative = false;
  if (len > 0 && (s[0] == Char('-') || s[0] == Char('+'))) negative = s[0] == Char('-'), ++s, --len;
  if (equals_ascii_nocase(s, len, "inf")) {
    *out = negative ? -HUGE_VAL : HUGE_VAL;
    return true;
  }
  if (equals_ascii_nocase(s, len, "nan")) {
    *out = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  return false;
}

template <class Char>
Char decimal_point(const VKL_FormatSettings* fs) {
  // Separators are single bytes of the host code page; those beyond ASCII stand for themselves
  // only in narrow text.
  const char c = (fs ? fs : VKL_GetGFormat(nullptr))->decimalSeparator;
  if constexpr (sizeof(Char) > 1)
    if (static_cast<unsigned char>(c) >= 0x80) return Char(0);
  return static_cast<Char>(static_cast<unsigned char>(c));
}

template <class Char>
bool try_float(const Char* s, int64_t len, double* out, const VKL_FormatSettings* fs) {
  if (!s || len <= 0) return false;
  RealText r;
  if (scan_real(s, len, decimal_point<Char>(fs), true, r) >= 0) return special_real(s, len, out);
  return real_value(r, out);
}

template <class Char>
bool try_currency(const Char* s, int64_t len, int64_t* out, const VKL_FormatSettings* fs) {
  if (!s || len <= 0) return false;
  RealText r;
  if (scan_real(s, len, decimal_point<Char>(fs), true, r) >= 0) return false;
  return currency_value(r, out);
}

template <class Char>
bool try_bool(const Char* s, int64_t len, int* out) {
  if (!s || len < 0) return false;
  if (equals_ascii_nocase(s, len, "true")) return *out = 1, true;
  if (equals_ascii_nocase(s, len, "false")) return *out = 0, true;
  int64_t v = 0;
  if (!parse_int(s, len, &v)) return false;
  *out = v != 0;
  return true;
}

template <class Char>
int val(const Char* s, int64_t len, double* value) {
  *value = 0;
  if (!s || len < 0) len = 0;
  RealText r;
  const int64_t bad = scan_real(s, len, Char('.'), false, r);
  double v = 0;
  if (bad >= 0) return static_cast<int>(std::min<int64_t>(bad + 1, INT32_MAX));
  if (!real_value(r, &v)) return static_cast<int>(std::min<int64_t>(len, INT32_MAX));
  *value = v;
  return 0;
}

}  // namespace
}  // namespace vkl

using vkl::parse_int;

int VK_trystrtoint(const char* s, int64_t len, int32_t* out) { return parse_int(s, len, out); }
int VK_trystrtointW(const vkl_wchar* s, int64_t len, int32_t* out) {
  return parse_int(s, len, out);
}
int VK_trystrtoint64(const char* s, int64_t len, int64_t* out) { return parse_int(s, len, out); }
int VK_trystrtoint64W(const vkl_wchar* s, int64_t len, int64_t* out) {
  return parse_int(s, len, out);
}
int32_t VK_strtointdef(const char* s, int64_t len, int32_t def) {
  parse_int(s, len, &def);
  return def;
}
int32_t VK_strtointdefW(const vkl_wchar* s, int64_t len, int32_t def) {
  parse_int(s, len, &def);
  return def;
}

int VK_HexToInt(const char* s, int64_t len, int64_t* out) {
  if (!s || len <= 0) return 0;
  const bool prefixed = s[0] == '$' || (len > 1 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X'));
  if (prefixed) return parse_int(s, len, out);
  std::string text = "$";
  text.append(s, static_cast<size_t>(len));
  return parse_int(text.data(), static_cast<int64_t>(text.size()), out);
}

int VK_trystrtofloat(const char* s, int64_t len, double* out, const VKL_FormatSettings* fs) {
  return vkl::try_float(s, len, out, fs);
}
int VK_trystrtofloatW(const vkl_wchar* s, int64_t len, double* out,
                      const VKL_FormatSettings* fs) {
  return vkl::try_float(s, len, out, fs);
}
int VK_TextToCurrencyA(const char* s, int64_t len, VK_Currency* out,
                       const VKL_FormatSettings* fs) {
  return vkl::try_currency(s, len, out, fs);
}
int VK_TextToCurrencyW(const vkl_wchar* s, int64_t len, VK_Currency* out,
                       const VKL_FormatSettings* fs) {
  return vkl::try_currency(s, len, out, fs);
}

double VK_CurrToFloat(VK_Currency value) {
  return static_cast<double>(value) / VK_CURRENCY_SCALE;
}

int VK_FloatToCurr(double value, VK_Currency* out) {
  const double scaled = std::round(value * VK_CURRENCY_SCALE);
  // 2^63 is the first double past the int64 range.
  if (!(scaled >= -9223372036854775808.0 && scaled < 9223372036854775808.0)) return 0;
  *out = static_cast<int64_t>(scaled);
  return 1;
}

int VK_trystrtobool(const char* s, int64_t len, int* out) { return vkl::try_bool(s, len, out); }
int VK_trystrtoboolW(const vkl_wchar* s, int64_t len, int* out) {
  return vkl::try_bool(s, len, out);
}

int VK_Val(const char* s, int64_t len, double* value) { return vkl::val(s, len, value); }
int VK_ValW(const vkl_wchar* s, int64_t len, double* value) { return vkl::val(s, len, value); }
