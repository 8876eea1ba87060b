// The float formatter: each format's shape, rounding of exact ties away from zero, the pattern
// language, wide output, currency values, and short buffers.
#include <gtest/gtest.h>

#include <cstring>
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
