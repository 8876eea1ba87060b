// FloatToText: the general, exponent, fixed, number and currency formats of a double or a
// currency value, narrow and wide.
#include "float_to_text.h"

#include <vkl/vk_numbers.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "decimal.h"

namespace vkl {

template <class Char>
void put_special(TextOut<Char>& out, const Decimal& d) {
  if (d.kind == Decimal::kNaN) return out.put_ascii("NAN");
  out.put_ascii(d.negative ? "-INF" : "INF");
}

// E, the exponent's sign (always, or only when negative) and at least `min_digits` digits.
template <class Char>
void put_exponent(TextOut<Char>& out, Char e_char, int exponent, bool always_sign,
                  int min_digits) {
  out.put(e_char);
  if (exponent < 0) out.put(Char('-'));
  else if (always_sign) out.put(Char('+'));
  char digits[8];
  int n = 0;
  for (unsigned v = exponent < 0 ? -exponent : exponent; v > 0 || n == 0; v /= 10)
    digits[n++] = static_cast<char>('0' + v % 10);
  for (int i = n; i < std::clamp(min_digits, 0, 4); ++i) out.put(Char('0'));
  while (n > 0) out.put(static_cast<Char>(digits[--n]));
}

// d1.d2d3...E[-]x with the stored digits only (general) or padded to `precision` (exponent).
template <class Char>
void put_scientific(TextOut<Char>& out, const Decimal& d, int mantissa_digits, Char decimal,
                    bool always_sign, int exp_digits) {
  out.put(static_cast<Char>(d.at(0)));
  if (mantissa_digits > 1) {
    out.put(decimal);
    for (int i = 1; i < mantissa_digits; ++i) out.put(static_cast<Char>(d.at(i)));
  }
  put_exponent(out, Char('E'), d.is_zero() ? 0 : d.exponent - 1, always_sign, exp_digits);
}

// The integer digits (at least "0"), grouped by `thousands` when it is not 0.
template <class Char>
void put_integer_part(TextOut<Char>& out, const Decimal& d, Char thousands) {
  if (d.exponent <= 0) return out.put(Char('0'));
  for (int i = 0; i < d.exponent; ++i) {
    out.put(static_cast<Char>(d.at(i)));
    const int left = d.exponent - 1 - i;
    if (thousands && left > 0 && left % 3 == 0) out.put(thousands);
  }
}

// Integer part and exactly `decimals` decimals, no sign.
template <class Char>
void put_fixed(TextOut<Char>& out, const Decimal& d, int decimals, Char decimal, Char thousands) {
  put_integer_part(out, d, thousands);
  if (decimals <= 0) return;
  out.put(decimal);
  for (int j = 0; j < decimals; ++j) out.put(static_cast<Char>(d.at(d.exponent + j)));
}

template <class Char>
void put_general(TextOut<Char>& out, const Decimal& d, int precision, int exp_digits,
                 Char decimal) {
  if (d.negative) out.put(Char('-'));
  if (d.is_zero()) return out.put(Char('0'));
  if (d.exponent > precision || d.exponent < -3)
    return put_scientific(out, d, d.count, decimal, false, exp_digits);
  const int decimals = std::max(0, d.count - d.exponent);
  put_fixed(out, d, decimals, decimal, Char(0));
}

// The sixteen classic negative currency patterns and the four positive ones: '$' stands for
// the currency string and '1' for the amount.
constexpr const char* kNegativeCurrency[16] = {
    "($1)", "-$1",  "$-1",  "$1-",  "(1$)", "-1$",   "1-$",   "1$-",
    "-1 $", "-$ 1", "1 $-", "$ 1-", "$ -1", "1- $",  "($ 1)", "(1 $)"};
constexpr const char* kPositiveCurrency[4] = {"$1", "1$", "$ 1", "1 $"};

template <class Char>
void put_currency(TextOut<Char>& out, const Decimal& d, int decimals,
                  const NumberSymbols<Char>& sym) {
  const VKL_FormatSettings* s = sym.settings;
  const char* pattern = d.negative ? kNegativeCurrency[s->negCurrFormat % 16]
                                   : kPositiveCurrency[s->currencyFormat % 4];
  for (const char* p = pattern; *p; ++p) {
    if (*p == '$') out.put(sym.currency_text());
    else if (*p == '1') put_fixed(out, d, decimals, sym.decimal, sym.thousands);
    else out.put(static_cast<Char>(*p));
  }
}

// ---- Without a Decimal ----
// Digits come from exact integer arithmetic on the double's bits where the scaled value fits in
// 64 bits, otherwise from std::to_chars; to_chars breaks exact ties to even, so a value on a
// tie there (and zero, NaN and infinities) takes the Decimal route.

__extension__ typedef unsigned __int128 Wide128;

constexpr auto kTensU64 = [] {
  std::array<uint64_t, 19> tens{};
  uint64_t v = 1;
  for (uint64_t& t : tens) {
    t = v;
    v *= 10;
  }
  return tens;
}();

// |x| * 10^decimals rounded half away from zero, computed exactly from the bits of x (finite,
// |x| * 10^decimals below 10^18): M * 2^q * 10^decimals in 128 bits, then shifted.
uint64_t scaled_to_integer(double x, int decimals) {
  const auto [mantissa, q] = binary_parts(x);
  Wide128 n = static_cast<Wide128>(mantissa) * kTensU64[decimals];  // below 2^113
  if (q >= 0) return static_cast<uint64_t>(n << q);
  const int shift = -q;
  if (shift > 114) return 0;  // below half a unit
  const Wide128 whole = n >> shift;
  const Wide128 rest = n - (whole << shift);
  return static_cast<uint64_t>(whole) + (rest >= (Wide128{1} << (shift - 1)) ? 1 : 0);
}


// Digits of `digits` with `thousands` (0: none) between groups of three from the right.
template <class Char>
void put_grouped(TextOut<Char>& out, std::string_view digits, Char thousands) {
  if (!thousands) return out.put_ascii(digits);
  for (size_t i = 0; i < digits.size(); ++i) {
    out.put(static_cast<Char>(digits[i]));
    const size_t left = digits.size() - 1 - i;
    if (left > 0 && left % 3 == 0) out.put(thousands);
  }
}

// Significant digits without trailing zeros: the value is 0.d1d2... * 10^exponent.
struct Significant {
  char digits[24];
  int count;
  int exponent;
};

// The first `precision` (at most 16) significant digits of a finite nonzero x, rounded half
// away from zero in integer arithmetic; false when |x| * 10^scale leaves 64 bits or x is
// subnormal.
bool exact_significant(double x, int precision, Significant& s) {
  const auto [mantissa, q] = binary_parts(x);
  if (precision > 16 || mantissa < (uint64_t{1} << 52)) return false;
  // floor(log10(2^(q + 52))) is the decimal exponent or one below it; a miss is corrected.
  int e10 = ((q + 52) * 78913) >> 18;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const int scale = precision - 1 - e10;
    if (scale < 0 || scale > 18) return false;
    const uint64_t n = scaled_to_integer(x, scale);
    if (n < kTensU64[precision - 1]) {
      --e10;
    } else if (n > kTensU64[precision]) {
      ++e10;
    } else if (n == kTensU64[precision]) {  // rounded up to the next power of ten
      s.digits[0] = '1';
      s.count = 1;
      s.exponent = e10 + 2;
      return true;
    } else {
      s.count = static_cast<int>(std::to_chars(s.digits, s.digits + sizeof s.digits, n).ptr -
                                 s.digits);
      while (s.count > 1 && s.digits[s.count - 1] == '0') --s.count;
      s.exponent = e10 + 1;
      return true;
    }
  }
  return false;
}

// The same from to_chars' scientific text; false on a tie.
bool scientific_significant(double x, int precision, Significant& s) {
  char sci[48];
  const char* end =
      std::to_chars(sci, sci + sizeof sci, std::fabs(x), std::chars_format::scientific,
                    precision - 1)
          .ptr;
  // "d.ddde+XX" or "de+XX"
  const char* e = end - 1;
  while (*e != 'e') --e;
  int exp10 = 0;
  for (const char* p = e + 2; p < end; ++p) exp10 = exp10 * 10 + (*p - '0');
  if (e[1] == '-') exp10 = -exp10;
  s.exponent = exp10 + 1;
  if (is_exact_tie(x, s.exponent - precision)) return false;
  s.count = 0;
  s.digits[s.count++] = sci[0];
  for (const char* p = sci + 2; p < e; ++p) s.digits[s.count++] = *p;
  while (s.count > 1 && s.digits[s.count - 1] == '0') --s.count;
  return true;
}

// General format of a finite nonzero double, as put_general writes it; false, having written
// nothing, on a tie.
template <class Char>
bool put_general_direct(TextOut<Char>& out, double x, int precision, int exp_digits,
                        Char decimal) {
  Significant s;
  if (!exact_significant(x, precision, s) && !scientific_significant(x, precision, s))
    return false;
  const char* digits = s.digits;
  const int count = s.count;
  const int exponent = s.exponent;
  const int exp10 = exponent - 1;
  const std::string_view all(digits, static_cast<size_t>(count));

  if (x < 0) out.put(Char('-'));
  if (exponent > precision || exponent < -3) {
    out.put(static_cast<Char>(digits[0]));
    if (count > 1) {
      out.put(decimal);
      out.put_ascii(all.substr(1));
    }
    put_exponent(out, Char('E'), exp10, false, exp_digits);
  } else if (exponent <= 0) {
    out.put(Char('0'));
    out.put(decimal);
    out.fill(Char('0'), -exponent);
    out.put_ascii(all);
  } else {
    out.put_ascii(all.substr(0, static_cast<size_t>(std::min(count, exponent))));
    out.fill(Char('0'), exponent - count);
    if (count > exponent) {
      out.put(decimal);
      out.put_ascii(all.substr(static_cast<size_t>(exponent)));
    }
  }
  return true;
}

// Fixed and number formats of a double whose integer digits fit the precision, as put_fixed
// writes them, rounded in exact integer arithmetic; false, having written nothing, when the
// Decimal route must decide.
template <class Char>
bool put_fixed_direct(TextOut<Char>& out, double x, int precision, int decimals, Char decimal,
                      Char thousands) {
  if (decimals > precision || !(std::fabs(x) < kPowersOfTen[precision - decimals])) return false;
  const uint64_t scaled = scaled_to_integer(x, decimals);
  char digits[24];
  const int len =
      static_cast<int>(std::to_chars(digits, digits + sizeof digits, scaled).ptr - digits);
  const int int_len = std::max(len - decimals, 1);
  // Rounded up past the precision: the general format takes over.
  if (int_len > precision) return false;
  // A value that rounds to zero has no sign.
  if (x < 0 && scaled != 0) out.put(Char('-'));
  const std::string_view all(digits, static_cast<size_t>(len));
  if (len > decimals) put_grouped(out, all.substr(0, static_cast<size_t>(int_len)), thousands);
  else out.put(Char('0'));
  if (decimals > 0) {
    out.put(decimal);
    out.fill(Char('0'), decimals - len);
    out.put_ascii(all.substr(static_cast<size_t>(std::max(len - decimals, 0))));
  }
  return true;
}

// The formats a double can take straight from to_chars; false, having written nothing, when
// the Decimal route must decide.
template <class Char>
bool put_direct(TextOut<Char>& out, double x, int format, int precision, int digits,
                const VKL_FormatSettings* settings) {
  if (!std::isfinite(x) || x == 0) return false;
  if (format != VK_ffGeneral && format != VK_ffFixed && format != VK_ffNumber) return false;
  const Separators<Char> sep(settings);
  if (format == VK_ffGeneral) return put_general_direct(out, x, precision, digits, sep.decimal);
  return put_fixed_direct(out, x, precision, digits, sep.decimal,
                          format == VK_ffNumber ? sep.thousands : Char(0));
}

template <class Char>
int64_t float_to_text(Char* buf, int64_t cap, const void* value, int value_type, int format,
                      int precision, int digits, const VKL_FormatSettings* settings) {
  if (!value || (cap > 0 && !buf) || format < VK_ffGeneral || format > VK_ffCurrency) return -1;
  TextOut<Char> out{buf, std::max<int64_t>(cap, 0)};
  const bool currency = value_type == VK_fvCurrency;
  int64_t cy = 0;
  double x = 0;
  if (currency) std::memcpy(&cy, value, sizeof cy);
  else std::memcpy(&x, value, sizeof x);
  // Currency values keep all their digits unless a smaller precision is asked for.
  precision = currency ? (precision <= 0 || precision > 19 ? 19 : precision)
                       : std::clamp(precision, 1, 18);
  const int decimals = std::clamp(digits, 0, 18);
  const bool fixed_like = format >= VK_ffFixed;
  if (!currency &&
      put_direct(out, x, format, precision, format == VK_ffGeneral ? digits : decimals, settings))
    return out.n;
  const NumberSymbols<Char> sym(settings);

  Decimal d = currency ? decimal_of_currency(cy, fixed_like ? decimals : kAnyDecimals)
                       : decimal_of_double(x, precision, fixed_like ? decimals : kAnyDecimals);
  if (currency) round_to_precision(d, precision);
  if (d.kind != Decimal::kFinite) {
    put_special(out, d);
    return out.n;
  }
  if (fixed_like && d.exponent > precision) format = VK_ffGeneral;
  switch (format) {
    case VK_ffGeneral:
      put_general(out, d, precision, digits, sym.decimal);
      break;
    case VK_ffExponent:
      if (d.negative) out.put(Char('-'));
      put_scientific(out, d, precision, sym.decimal, true, digits);
      break;
    case VK_ffCurrency:
      put_currency(out, d, decimals, sym);
      break;
    default:
      if (d.negative) out.put(Char('-'));
      put_fixed(out, d, decimals, sym.decimal, format == VK_ffNumber ? sym.thousands : Char(0));
      break;
  }
  return out.n;
}


// ---- The pattern language of FloatToTextFmt ----

template <class Char>
bool is_quote(Char c) {
  return c == Char('\'') || c == Char('"');
}

// Index just past a quoted run starting at i (at its closing quote, or the end).
template <class Char>
size_t skip_quoted(std::basic_string_view<Char> s, size_t i) {
  const Char q = s[i];
  for (++i; i < s.size() && s[i] != q; ++i) {
  }
  return i < s.size() ? i + 1 : i;
}

template <class Char>
bool is_exponent_at(std::basic_string_view<Char> s, size_t i) {
  return (s[i] == Char('E') || s[i] == Char('e')) && i + 1 < s.size() &&
         (s[i + 1] == Char('+') || s[i + 1] == Char('-'));
}

// The positive, negative and zero sections (missing ones empty).
template <class Char>
void split_sections(std::basic_string_view<Char> f, std::basic_string_view<Char> (&sections)[3]) {
  int n = 0;
  size_t start = 0;
  for (size_t i = 0; i < f.size() && n < 2;) {
    if (is_quote(f[i])) {
      i = skip_quoted(f, i);
    } else if (f[i] == Char(';')) {
      sections[n++] = f.substr(start, i - start);
      start = ++i;
    } else {
      ++i;
    }
  }
  sections[n] = f.substr(start);
  if (n == 2) {
    // A third ';' ends the zero section.
    auto& zero = sections[2];
    for (size_t i = 0; i < zero.size();) {
      if (is_quote(zero[i])) i = skip_quoted(zero, i);
      else if (zero[i] == Char(';')) zero = zero.substr(0, i);
      else ++i;
    }
  }
}

// Where a section puts digits: placeholders before and after the decimal point, the leftmost
// '0' before it and the rightmost after it, thousands grouping and scientific notation.
struct PatternLayout {
  int int_places = 0;
  int min_int = 0;
  int frac_places = 0;
  int min_frac = 0;
  bool thousands = false;
  bool scientific = false;
};

template <class Char>
PatternLayout layout_of(std::basic_string_view<Char> s) {
  PatternLayout p;
  int first_zero = -1;
  bool point = false;
  for (size_t i = 0; i < s.size();) {
    const Char c = s[i];
    if (is_quote(c)) {
      i = skip_quoted(s, i);
      continue;
    }
    if (c == Char('0') || c == Char('#')) {
      if (!point) {
        if (c == Char('0') && first_zero < 0) first_zero = p.int_places;
        ++p.int_places;
      } else {
        ++p.frac_places;
        if (c == Char('0')) p.min_frac = p.frac_places;
      }
    } else if (c == Char('.')) {
      point = true;
    } else if (c == Char(',')) {
      p.thousands = true;
    } else if (is_exponent_at(s, i)) {
      p.scientific = true;
      for (i += 2; i < s.size() && s[i] == Char('0'); ++i) {
      }
      continue;
    }
    ++i;
  }
  p.min_int = first_zero < 0 ? 0 : p.int_places - first_zero;
  return p;
}

// The digits one section shows, rounded as its placeholders ask.
struct PatternDigits {
  Decimal d;
  int int_count = 0;     // integer digits of the value (d.at(0) is the first)
  int frac_offset = 0;   // d.at(frac_offset + j) is decimal j
  int exponent = 0;      // scientific notation only
};

// The magnitude of `ax` or of the currency `cy` is formatted; the sign is the caller's.
PatternDigits pattern_digits(double ax, int64_t cy, bool currency, const PatternLayout& p) {
  PatternDigits r;
  if (p.scientific) {
    const int sig = std::clamp(p.int_places + p.frac_places, 1, 18);
    if (currency) {
      r.d = decimal_of_currency(cy, kAnyDecimals);
      round_to_precision(r.d, sig);
    } else {
      r.d = decimal_of_double(ax, sig, kAnyDecimals);
    }
    r.int_count = p.int_places;
    r.frac_offset = p.int_places;
    r.exponent = r.d.is_zero() ? 0 : r.d.exponent - p.int_places;
  } else {
    const int decimals = std::min(p.frac_places, 18);
    r.d = currency ? decimal_of_currency(cy, decimals) : decimal_of_double(ax, 18, decimals);
    r.int_count = std::max(r.d.exponent, 0);
    r.frac_offset = r.d.exponent;
  }
  r.d.negative = false;
  return r;
}

template <class Char>
void render_section(TextOut<Char>& out, std::basic_string_view<Char> s, const PatternLayout& p,
                    const PatternDigits& v, const NumberSymbols<Char>& sym) {
  const int shown_int = std::max(v.int_count, p.min_int);
  int shown_frac = p.frac_places;
  while (shown_frac > p.min_frac && v.d.at(v.frac_offset + shown_frac - 1) == '0') --shown_frac;
  const Char thousands = p.thousands ? sym.thousands : Char(0);
  // The integer digit `r` places left of the point, then a separator when a group ends there.
  auto put_int_digit = [&](int r) {
    out.put(r < v.int_count ? static_cast<Char>(v.d.at(v.int_count - 1 - r)) : Char('0'));
    if (thousands && r > 0 && r % 3 == 0) out.put(thousands);
  };
  int int_seen = 0;
  int frac_seen = 0;
  bool in_fraction = false;
  for (size_t i = 0; i < s.size();) {
    const Char c = s[i];
    if (is_quote(c)) {
      const size_t end = skip_quoted(s, i);
      const size_t inner_end = end > i + 1 && end <= s.size() && s[end - 1] == c ? end - 1 : end;
      out.put(s.substr(i + 1, inner_end - i - 1));
      i = end;
      continue;
    }
    if (c == Char('0') || c == Char('#')) {
      if (!in_fraction) {
        const int r = p.int_places - 1 - int_seen;
        // Digits beyond the placeholders all go at the first one.
        if (int_seen == 0)
          for (int extra = shown_int - 1; extra > r; --extra) put_int_digit(extra);
        if (r < shown_int) put_int_digit(r);
        ++int_seen;
      } else if (frac_seen < shown_frac) {
        out.put(static_cast<Char>(v.d.at(v.frac_offset + frac_seen++)));
      }
    } else if (c == Char('.')) {
      if (!in_fraction) {
        if (p.int_places == 0)
          for (int r = shown_int - 1; r >= 0; --r) put_int_digit(r);
        in_fraction = true;
        if (shown_frac > 0) out.put(sym.decimal);
      }
    } else if (is_exponent_at(s, i)) {
      int zeros = 0;
      for (i += 2; i < s.size() && s[i] == Char('0'); ++i) ++zeros;
      put_exponent(out, c, v.exponent, s[i - zeros - 1] == Char('+'), zeros);
      continue;
    } else if (c != Char(',')) {
      out.put(c);
    }
    ++i;
  }
}

template <class Char>
int64_t float_to_text_fmt(Char* buf, int64_t cap, const void* value, int value_type,
                          const Char* format, int64_t format_len,
                          const VKL_FormatSettings* settings) {
  if (!value || (cap > 0 && !buf) || (format_len > 0 && !format)) return -1;
  const std::basic_string_view<Char> f(format ? format : nullptr,
                                       format ? static_cast<size_t>(std::max<int64_t>(format_len, 0)) : 0);
  const bool currency = value_type == VK_fvCurrency;
  int64_t cy = 0;
  double x = 0;
  if (currency) std::memcpy(&cy, value, sizeof cy);
  else std::memcpy(&x, value, sizeof x);
  const bool negative = currency ? cy < 0 : x < 0;
  const bool zero = currency ? cy == 0 : x == 0;
  const bool special = !currency && !std::isfinite(x);
  if (f.empty() || special)
    return float_to_text(buf, cap, value, value_type, VK_ffGeneral, 15, 0, settings);

  std::basic_string_view<Char> sections[3];
  split_sections(f, sections);
  int chosen = zero && !sections[2].empty() ? 2 : negative && !sections[1].empty() ? 1 : 0;
  PatternLayout layout = layout_of(sections[chosen]);
  PatternDigits digits = pattern_digits(std::fabs(x), cy, currency, layout);
  if (!layout.scientific && digits.d.exponent > 18)
    return float_to_text(buf, cap, value, value_type, VK_ffGeneral, 15, 0, settings);
  if (digits.d.is_zero() && chosen != 2 && !sections[2].empty()) {
    chosen = 2;
    layout = layout_of(sections[2]);
    digits = pattern_digits(0, 0, currency, layout);
  }
  const NumberSymbols<Char> sym(settings);
  TextOut<Char> out{buf, std::max<int64_t>(cap, 0)};
  if (negative && chosen == 0 && !digits.d.is_zero()) out.put(Char('-'));
  render_section(out, sections[chosen], layout, digits, sym);
  return out.n;
}

}  // namespace vkl

int64_t FloatToTextA(char* buf, int64_t cap, const void* value, int valueType, int format,
                     int precision, int digits, const VKL_FormatSettings* settings) {
  return vkl::float_to_text(buf, cap, value, valueType, format, precision, digits, settings);
}

int64_t FloatToTextW(vkl_wchar* buf, int64_t cap, const void* value, int valueType, int format,
                     int precision, int digits, const VKL_FormatSettings* settings) {
  return vkl::float_to_text(buf, cap, value, valueType, format, precision, digits, settings);
}

int64_t FloatToTextFmtA(char* buf, int64_t cap, const void* value, int valueType,
                        const char* format, int64_t formatLen, const VKL_FormatSettings* settings) {
  return vkl::float_to_text_fmt(buf, cap, value, valueType, format, formatLen, settings);
}

int64_t FloatToTextFmtW(vkl_wchar* buf, int64_t cap, const void* value, int valueType,
                        const vkl_wchar* format, int64_t formatLen,
                        const VKL_FormatSettings* settings) {
  return vkl::float_to_text_fmt(buf, cap, value, valueType, format, formatLen, settings);
}
