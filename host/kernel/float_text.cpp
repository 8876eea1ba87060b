// Text of a real: the shortest decimal digits that read back as the value (std::to_chars),
// rounded half away from zero at the place the style asks for, then laid out.
#include "float_text.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace vkl {
namespace {

// value = 0.d[0]d[1]...d[n-1] * 10^point; no trailing zeros; zero has n == 0.
struct Decimal {
  char d[24];
  int n = 0;
  int point = 0;
};

Decimal decompose(double magnitude) {
  Decimal dec;
  if (magnitude == 0) return dec;
  char text[32];
  const char* end =
      std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific).ptr;
  // "d[.ddd]e[+-]XX"
  const char* p = text;
  dec.d[dec.n++] = *p++;
  if (*p == '.')
    for (++p; *p != 'e'; ++p) dec.d[dec.n++] = *p;
  const bool negative_exponent = p[1] == '-';
  int exponent = 0;
  for (p += 2; p < end; ++p) exponent = exponent * 10 + (*p - '0');
  dec.point = (negative_exponent ? -exponent : exponent) + 1;
  while (dec.n > 0 && dec.d[dec.n - 1] == '0') --dec.n;
  return dec;
}

// Keeps the first `keep` digits, rounding half away from zero.
void round_to(Decimal& dec, int keep) {
  if (keep >= dec.n) return;
  if (keep < 0) {
    dec.n = 0;
  } else {
    const bool up = dec.d[keep] >= '5';
    dec.n = keep;
    if (up) {
      int i = keep - 1;
      while (i >= 0 && dec.d[i] == '9') --i;
      if (i < 0) {
        dec.d[0] = '1';
        dec.n = 1;
        ++dec.point;
      } else {
        ++dec.d[i];
        dec.n = i + 1;
      }
    }
  }
  while (dec.n > 0 && dec.d[dec.n - 1] == '0') --dec.n;
  if (dec.n == 0) dec.point = 0;
}

char digit_at(const Decimal& dec, int i) {
  return i >= 0 && i < dec.n ? dec.d[i] : '0';
}

char* put_text(char* out, const char* s) {
  const size_t n = std::strlen(s);
  std::memcpy(out, s, n);
  return out + n;
}

// The integer part, with `thousands` between groups of three when it is not zero.
char* put_integer_part(char* out, const Decimal& dec, char thousands) {
  if (dec.point <= 0) {
    *out++ = '0';
    return out;
  }
  for (int i = 0; i < dec.point; ++i) {
    if (thousands && i > 0 && (dec.point - i) % 3 == 0) *out++ = thousands;
    *out++ = digit_at(dec, i);
  }
  return out;
}

char* put_fraction(char* out, const Decimal& dec, int decimals, char separator) {
  if (decimals <= 0) return out;
  *out++ = separator;
  for (int j = 0; j < decimals; ++j) *out++ = digit_at(dec, dec.point + j);
  return out;
}

// "E", the exponent's sign ('+' only when `plus`) and at least `min_digits` digits.
char* put_exponent(char* out, int exponent, bool plus, int min_digits) {
  *out++ = 'E';
  if (exponent < 0) {
    *out++ = '-';
  } else if (plus) {
    *out++ = '+';
  }
  char digits[8];
  const auto done = std::to_chars(digits, digits + sizeof digits, std::abs(exponent));
  for (int pad = min_digits - static_cast<int>(done.ptr - digits); pad > 0; --pad) *out++ = '0';
  std::memcpy(out, digits, done.ptr - digits);
  return out + (done.ptr - digits);
}

char* put_scientific(char* out, const Decimal& dec, int shown, bool plus, int min_digits,
                     char separator) {
  *out++ = digit_at(dec, 0);
  if (shown > 1) {
    *out++ = separator;
    for (int i = 1; i < shown; ++i) *out++ = digit_at(dec, i);
  }
  return put_exponent(out, dec.n ? dec.point - 1 : 0, plus, min_digits);
}

char* put_general(char* out, const Decimal& dec, int precision, int min_digits, char separator) {
  if (dec.n == 0) {
    *out++ = '0';
    return out;
  }
  if (dec.point > precision || dec.point < -4)
    return put_scientific(out, dec, dec.n, false, min_digits, separator);
  out = put_integer_part(out, dec, 0);
  return put_fraction(out, dec, dec.n - dec.point, separator);
}

// Currency patterns: '$' stands for the currency string, '1' for the amount.
constexpr const char* kPositiveCurrency[4] = {"$1", "1$", "$ 1", "1 $"};
constexpr const char* kNegativeCurrency[16] = {"($1)", "-$1",  "$-1",  "$1-",  "(1$)", "-1$",
                                               "1-$",  "1$-",  "-1 $", "-$ 1", "1 $-", "$ 1-",
                                               "$ -1", "1- $", "($ 1)", "(1 $)"};

char* put_currency(char* out, const Decimal& dec, bool negative, int decimals,
                   const VKL_FormatSettings& fs) {
  const char* pattern = negative ? kNegativeCurrency[fs.negCurrFormat % 16]
                                 : kPositiveCurrency[fs.currencyFormat % 4];
  char currency[sizeof fs.currencyString + 1] = {};
  std::memcpy(currency, fs.currencyString, sizeof fs.currencyString);
  for (const char* p = pattern; *p; ++p) {
    if (*p == '$') {
      out = put_text(out, currency);
    } else if (*p == '1') {
      out = put_integer_part(out, dec, fs.thousandSeparator);
      out = put_fraction(out, dec, decimals, fs.decimalSeparator);
    } else {
      *out++ = *p;
    }
  }
  return out;
}

}  // namespace

int float_text(char* out, double value, FloatStyle style, int precision, int digits,
               const VKL_FormatSettings& fs) {
  char* const start = out;
  if (std::isnan(value)) return static_cast<int>(put_text(out, "NAN") - start);
  if (std::isinf(value)) return static_cast<int>(put_text(out, value < 0 ? "-INF" : "INF") - start);
  Decimal dec = decompose(std::fabs(value));
  const bool fixed_place = style != FloatStyle::General && style != FloatStyle::Exponent;
  round_to(dec, fixed_place ? dec.point + digits : precision);
  const bool negative = value < 0 && dec.n > 0;
  if (style == FloatStyle::Currency)
    return static_cast<int>(put_currency(out, dec, negative, digits, fs) - start);
  if (negative) *out++ = '-';
  switch (style) {
    case FloatStyle::General:
      out = put_general(out, dec, precision, digits, fs.decimalSeparator);
      break;
    case FloatStyle::Exponent:
      out = put_scientific(out, dec, precision, true, digits, fs.decimalSeparator);
      break;
    default:
      out = put_integer_part(out, dec, style == FloatStyle::Number ? fs.thousandSeparator : 0);
      out = put_fraction(out, dec, digits, fs.decimalSeparator);
      break;
  }
  return static_cast<int>(out - start);
}

}  // namespace vkl
