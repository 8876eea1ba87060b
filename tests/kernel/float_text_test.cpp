// The float formatter: each format's shape, rounding of exact ties away from zero, the pattern
// language, wide output, currency values, and short buffers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "vkl/vk_numbers.h"

namespace {

std::string fmt(double x, int format, int precision, int digits,
                const VKL_FormatSettings* s = nullptr) {
  char buf[128];
  const int64_t n = FloatToTextA(buf, sizeof buf, &x, VK_fvDouble, format, precision, digits, s);
  return n < 0 ? "<error>" : std::string(buf, static_cast<size_t>(n));
}

std::string pattern(const char* f, double x) {
  char buf[256];
  const int64_t n = FloatToTextFmtA(buf, sizeof buf, &x, VK_fvDouble, f,
                                    static_cast<int64_t>(std::strlen(f)), nullptr);
  return n < 0 ? "<error>" : std::string(buf, static_cast<size_t>(n));
}

std::string currency(int64_t cy, int format, int digits) {
  char buf[128];
  const int64_t n = FloatToTextA(buf, sizeof buf, &cy, VK_fvCurrency, format, 0, digits, nullptr);
  return std::string(buf, static_cast<size_t>(n));
}

TEST(FloatToText, General) {
  EXPECT_EQ(fmt(0, VK_ffGeneral, 15, 0), "0");
  EXPECT_EQ(fmt(-0.0, VK_ffGeneral, 15, 0), "0");
  EXPECT_EQ(fmt(1.5, VK_ffGeneral, 15, 0), "1.5");
  EXPECT_EQ(fmt(-123.25, VK_ffGeneral, 15, 0), "-123.25");
  EXPECT_EQ(fmt(0.1, VK_ffGeneral, 15, 0), "0.1");
  EXPECT_EQ(fmt(1.0 / 3, VK_ffGeneral, 15, 0), "0.333333333333333");
  EXPECT_EQ(fmt(0.0001, VK_ffGeneral, 15, 0), "0.0001");
  EXPECT_EQ(fmt(0.00001, VK_ffGeneral, 15, 0), "1E-5");
  EXPECT_EQ(fmt(1e14, VK_ffGeneral, 15, 0), "100000000000000");
  EXPECT_EQ(fmt(1e15, VK_ffGeneral, 15, 0), "1E15");  // 16 integer digits
  EXPECT_EQ(fmt(123456789012345678.0, VK_ffGeneral, 15, 0), "1.23456789012346E17");
  EXPECT_EQ(fmt(1.5e-300, VK_ffGeneral, 15, 3), "1.5E-300");
  EXPECT_EQ(fmt(2e20, VK_ffGeneral, 15, 4), "2E0020");
  EXPECT_EQ(fmt(0.9999999999999999, VK_ffGeneral, 15, 0), "1");
  EXPECT_EQ(fmt(__builtin_nan(""), VK_ffGeneral, 15, 0), "NAN");
  EXPECT_EQ(fmt(-__builtin_inf(), VK_ffFixed, 15, 2), "-INF");
}

TEST(FloatToText, ExponentFixedNumber) {
  EXPECT_EQ(fmt(1234.5678, VK_ffExponent, 4, 2), "1.235E+03");
  EXPECT_EQ(fmt(-0.00012, VK_ffExponent, 3, 0), "-1.20E-4");
  EXPECT_EQ(fmt(0, VK_ffExponent, 3, 2), "0.00E+00");
  EXPECT_EQ(fmt(345.6789, VK_ffFixed, 5, 3), "345.680");  // digits past the precision are 0
  EXPECT_EQ(fmt(-0.001, VK_ffFixed, 15, 2), "0.00");
  EXPECT_EQ(fmt(0.5, VK_ffFixed, 15, 0), "1");
  EXPECT_EQ(fmt(2.5, VK_ffFixed, 15, 0), "3");
  EXPECT_EQ(fmt(0.125, VK_ffFixed, 15, 2), "0.13");
  EXPECT_EQ(fmt(-0.125, VK_ffFixed, 15, 2), "-0.13");
  EXPECT_EQ(fmt(1.005, VK_ffFixed, 15, 2), "1.00");  // 1.005 is stored below the tie
  EXPECT_EQ(fmt(9.995, VK_ffFixed, 15, 1), "10.0");
  EXPECT_EQ(fmt(1e20, VK_ffFixed, 15, 2), "1E20");  // more integer digits than the precision
  EXPECT_EQ(fmt(1234567.891, VK_ffNumber, 15, 2), "1,234,567.89");
  EXPECT_EQ(fmt(-999.999, VK_ffNumber, 15, 2), "-1,000.00");
  EXPECT_EQ(fmt(123, VK_ffNumber, 15, 0), "123");
}

TEST(FloatToText, SeparatorsOfTheSettings) {
  VKL_FormatSettings s;
  VKL_DefaultGFormat(&s);
  s.decimalSeparator = ',';
  s.thousandSeparator = '.';
  EXPECT_EQ(fmt(-1234567.125, VK_ffNumber, 18, 2, &s), "-1.234.567,13");
  EXPECT_EQ(fmt(1234567.125, VK_ffFixed, 18, 1, &s), "1234567,1");
  EXPECT_EQ(fmt(0.05, VK_ffNumber, 18, 3, &s), "0,050");
  EXPECT_EQ(fmt(1.5e-7, VK_ffGeneral, 15, 0, &s), "1,5E-7");
  EXPECT_EQ(fmt(-0.25, VK_ffGeneral, 15, 0, &s), "-0,25");
  s.thousandSeparator = 0;
  EXPECT_EQ(fmt(1234567, VK_ffNumber, 18, 0, &s), "1234567");
}

// The exact decimal expansion of |x| (glibc prints every digit a double has), rounded half
// away from zero at `decimals` decimals: an independent reference for the fixed format.
std::string fixed_reference(double x, int decimals) {
  static char exact[1500];
  std::snprintf(exact, sizeof exact, "%.1100f", std::fabs(x));
  std::string s(exact);
  const size_t point = s.find('.');
  std::string digits = s.substr(0, point) + s.substr(point + 1, static_cast<size_t>(decimals));
  if (s[point + 1 + static_cast<size_t>(decimals)] >= '5') {
    size_t i = digits.size();
    while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
    if (i == 0) digits.insert(digits.begin(), '1');
    else ++digits[i - 1];
  }
  std::string text = digits.substr(0, digits.size() - static_cast<size_t>(decimals));
  if (decimals > 0) text += "." + digits.substr(text.size());
  if (x < 0 && digits.find_first_not_of('0') != std::string::npos) text.insert(0, "-");
  return text;
}

// Significant digits (no trailing zeros) and decimal exponent of a plain or E-notation text
// (sign ignored).
std::pair<std::string, int> significant(const std::string& text) {
  const size_t e = text.find('E');
  const size_t start = text[0] == '-' ? 1 : 0;
  const std::string mantissa = text.substr(start, e == std::string::npos ? e : e - start);
  std::string digits;
  int exponent = e == std::string::npos ? 0 : std::stoi(text.substr(e + 1));
  const size_t point = mantissa.find('.');
  exponent += static_cast<int>(point == std::string::npos ? mantissa.size() : point);
  for (char c : mantissa)
    if (c >= '0' && c <= '9') digits += c;
  const size_t first = digits.find_first_not_of('0');
  exponent -= static_cast<int>(first);
  digits.erase(0, first);
  digits.erase(digits.find_last_not_of('0') + 1);
  return {digits, exponent};
}

// The same expansion rounded half away from zero to 15 significant digits.
std::pair<std::string, int> general_reference(double x) {
  static char exact[1500];
  std::snprintf(exact, sizeof exact, "%.1100f", std::fabs(x));
  auto [digits, exponent] = significant(exact);
  if (digits.size() > 15) {
    const bool up = digits[15] >= '5';
    digits.resize(15);
    size_t i = digits.size();
    if (up) {
      while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
      if (i == 0) {
        digits.insert(digits.begin(), '1');
        ++exponent;
      } else {
        ++digits[i - 1];
      }
    }
    digits.erase(digits.find_last_not_of('0') + 1);
  }
  return {digits, exponent};
}

// Random magnitudes, short decimals and exact binary ties (k / 2^n) in every format's range.
TEST(FloatToText, DigitsAgreeWithTheExactExpansion) {
  std::mt19937_64 gen(11);
  std::uniform_real_distribution<double> mantissa(-10, 10);
  std::uniform_int_distribution<int> power(-12, 17);
  for (int i = 0; i < 20000; ++i) {
    double x = mantissa(gen) * std::pow(10.0, power(gen));
    if (i % 3 == 1) x = std::round(x * 1000) / 1000;
    if (i % 3 == 2) x = std::ldexp(std::round(mantissa(gen) * 1e5), -static_cast<int>(gen() % 20));
    const int decimals = static_cast<int>(gen() % 19);
    if (std::fabs(x) < std::pow(10.0, 18 - decimals)) {
      SCOPED_TRACE(x);
      EXPECT_EQ(fmt(x, VK_ffFixed, 18, decimals), fixed_reference(x, decimals));
    }
    if (x != 0) {
      SCOPED_TRACE(x);
      const std::string general = fmt(x, VK_ffGeneral, 15, 0);
      EXPECT_EQ(general[0] == '-', x < 0);
      EXPECT_EQ(significant(general), general_reference(x));
    }
  }
}

TEST(FloatToText, CurrencyPatternsAndValues) {
  VKL_FormatSettings s;
  VKL_DefaultGFormat(&s);
  EXPECT_EQ(fmt(1234.5, VK_ffCurrency, 15, 2, &s), "$1,234.50");
  EXPECT_EQ(fmt(-1, VK_ffCurrency, 15, 2, &s), "-$1.00");
  s.negCurrFormat = 0;
  s.currencyFormat = 3;
  std::strcpy(s.currencyString, "EUR");
  EXPECT_EQ(fmt(-2.5, VK_ffCurrency, 15, 1, &s), "(EUR2.5)");
  EXPECT_EQ(fmt(2.5, VK_ffCurrency, 15, 1, &s), "2.5 EUR");
  s.negCurrFormat = 15;
  EXPECT_EQ(fmt(-2.5, VK_ffCurrency, 15, 0, &s), "(3 EUR)");

  EXPECT_EQ(currency(12345678, VK_ffGeneral, 0), "1234.5678");
  EXPECT_EQ(currency(-15000, VK_ffGeneral, 0), "-1.5");
  EXPECT_EQ(currency(INT64_MAX, VK_ffGeneral, 0), "922337203685477.5807");
  EXPECT_EQ(currency(INT64_MIN, VK_ffGeneral, 0), "-922337203685477.5808");
  EXPECT_EQ(currency(12345, VK_ffFixed, 2), "1.23");
  EXPECT_EQ(currency(12350, VK_ffFixed, 2), "1.24");
  EXPECT_EQ(currency(-12350, VK_ffFixed, 2), "-1.24");
}

TEST(FloatToText, Patterns) {
  EXPECT_EQ(pattern("0.00", 3.14159), "3.14");
  EXPECT_EQ(pattern("#.##", 0.5), ".5");
  EXPECT_EQ(pattern("0.##", 2), "2");
  EXPECT_EQ(pattern("#", 0), "");
  EXPECT_EQ(pattern("000", 7), "007");
  EXPECT_EQ(pattern("0", 123456), "123456");
  EXPECT_EQ(pattern("#,##0.00", 1234567.125), "1,234,567.13");
  EXPECT_EQ(pattern("#,##0", -1234), "-1,234");
  EXPECT_EQ(pattern("0.00;(0.00)", -5.5), "(5.50)");
  EXPECT_EQ(pattern("0.00;;zero", -5.5), "-5.50");
  EXPECT_EQ(pattern("0.00;-0.00;'zero'", 0.001), "zero");
  EXPECT_EQ(pattern("0.00", -0.001), "0.00");
  EXPECT_EQ(pattern("0.00E+00", 1234.5), "1.23E+03");
  EXPECT_EQ(pattern("00.0E-0", 0.0001234), "12.3E-5");
  EXPECT_EQ(pattern("0.0e-00", 1234.5), "1.2e03");
  EXPECT_EQ(pattern("'$'#,##0.00\" net\"", 1000), "$1,000.00 net");
  EXPECT_EQ(pattern("'a;b' 0;x", -3), "x");
  EXPECT_EQ(pattern("0x", 5), "5x");
  EXPECT_EQ(pattern("", 2.5), "2.5");
  EXPECT_EQ(pattern("0", 1e25), "1E25");  // past 18 integer digits: general
}

TEST(FloatToText, WideOutputAndShortBuffers) {
  double x = -1234.5;
  vkl_wchar w[64];
  int64_t n = FloatToTextW(w, 64, &x, VK_fvDouble, VK_ffNumber, 15, 1, nullptr);
  EXPECT_EQ(std::u16string(w, static_cast<size_t>(n)), u"-1,234.5");
  const std::u16string f = u"'\u00e9' 0.0";
  n = FloatToTextFmtW(w, 64, &x, VK_fvDouble, f.data(), static_cast<int64_t>(f.size()), nullptr);
  EXPECT_EQ(std::u16string(w, static_cast<size_t>(n)), u"-\u00e9 1234.5");

  char buf[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(FloatToTextA(buf, 3, &x, VK_fvDouble, VK_ffGeneral, 15, 0, nullptr), 7);
  EXPECT_EQ(std::string(buf, 4), "-12x");  // never past the capacity
  EXPECT_EQ(FloatToTextA(nullptr, 0, &x, VK_fvDouble, VK_ffGeneral, 15, 0, nullptr), 7);
  EXPECT_EQ(FloatToTextA(buf, 4, &x, VK_fvDouble, 9, 15, 0, nullptr), -1);
  EXPECT_EQ(FloatToTextA(buf, 4, nullptr, VK_fvDouble, VK_ffGeneral, 15, 0, nullptr), -1);
}

}  // namespace
