// Text and numbers: range limits and bit patterns of the integer parsers, currency parsing to
// the exact ten-thousandth, Val's error positions, and kernel-made texts of both widths.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "vkl/kernel.h"
#include "vkl/vk_numbers.h"

namespace {

template <class Int>
bool parses(int (*parse)(const char*, int64_t, Int*), const char* s, Int expected) {
  Int v = 0;
  return parse(s, static_cast<int64_t>(std::strlen(s)), &v) == 1 && v == expected;
}

template <class Int>
bool rejects(int (*parse)(const char*, int64_t, Int*), const char* s) {
  Int v = 42;
  return parse(s, static_cast<int64_t>(std::strlen(s)), &v) == 0 && v == 42;
}

TEST(NumberParse, IntegerLimitsAndHexPatterns) {
  EXPECT_TRUE(parses<int32_t>(VK_trystrtoint, "  -2147483648", INT32_MIN));
  EXPECT_TRUE(parses<int32_t>(VK_trystrtoint, "+2147483647", INT32_MAX));
  EXPECT_TRUE(rejects<int32_t>(VK_trystrtoint, "2147483648"));
  EXPECT_TRUE(rejects<int32_t>(VK_trystrtoint, "-2147483649"));
  EXPECT_TRUE(parses<int32_t>(VK_trystrtoint, "$FFFFFFFF", -1));
  EXPECT_TRUE(parses<int32_t>(VK_trystrtoint, "0x7f", 127));
  EXPECT_TRUE(rejects<int32_t>(VK_trystrtoint, "$100000000"));
  EXPECT_TRUE(parses<int64_t>(VK_trystrtoint64, "-9223372036854775808", INT64_MIN));
  EXPECT_TRUE(rejects<int64_t>(VK_trystrtoint64, "9223372036854775808"));
  EXPECT_TRUE(parses<int64_t>(VK_trystrtoint64, "$8000000000000000", INT64_MIN));
  for (const char* bad : {"", " ", "-", "$", "0x", "12 ", "1.0", "1e3", "--1", "12a"})
    EXPECT_TRUE(rejects<int32_t>(VK_trystrtoint, bad)) << bad;
  EXPECT_EQ(VK_trystrtoint("12\0", 3, nullptr), 0);  // an embedded zero is not a digit
  EXPECT_EQ(VK_strtointdef("x", 1, -7), -7);
  int64_t h = 0;
  EXPECT_EQ(VK_HexToInt("ff", 2, &h), 1);
  EXPECT_EQ(h, 255);
}

TEST(NumberParse, CurrencyIsExact) {
  VK_Currency c = 0;
  auto cy = [&](const char* s) {
    c = 99;
    return VK_TextToCurrencyA(s, static_cast<int64_t>(std::strlen(s)), &c, nullptr) ? c : -99;
  };
  EXPECT_EQ(cy("1.23456"), 12346);
  EXPECT_EQ(cy("-1.23455"), -12346);
  EXPECT_EQ(cy("0.00004"), 0);
  EXPECT_EQ(cy("12e2"), 12000000);
  EXPECT_EQ(cy("922337203685477.5807"), INT64_MAX);
  EXPECT_EQ(cy("-922337203685477.5808"), INT64_MIN);
  EXPECT_EQ(cy("922337203685477.5808"), -99);
  EXPECT_EQ(cy("1e400"), -99);
  EXPECT_EQ(cy("1,5"), -99);
  EXPECT_EQ(cy(" 0.1 "), 1000);
  VKL_FormatSettings comma;
  VKL_DefaultGFormat(&comma);
  comma.decimalSeparator = ',';
  EXPECT_EQ(VK_TextToCurrencyW(u"2,5", 3, &c, &comma), 1);
  EXPECT_EQ(c, 25000);
  double d = 0;
  EXPECT_EQ(VK_trystrtofloat("2.5", 3, &d, &comma), 0);
  EXPECT_EQ(VK_FloatToCurr(1e300, &c), 0);
}

TEST(NumberParse, RealsAndValPositions) {
  double d = 0;
  EXPECT_EQ(VK_trystrtofloat("1e-400", 6, &d, nullptr), 1);
  EXPECT_EQ(d, 0);
  EXPECT_EQ(VK_trystrtofloat("1e400", 5, &d, nullptr), 0);
  EXPECT_EQ(VK_trystrtofloat(" -InF ", 6, &d, nullptr), 1);
  EXPECT_EQ(d, -HUGE_VAL);
  EXPECT_EQ(VK_trystrtofloat("0.1000000000000000055511151231257827", 36, &d, nullptr), 1);
  EXPECT_EQ(d, 0.1);
  struct {
    const char* text;
    int position;
  } vals[] = {{"12.5", 0}, {"  -3e2", 0}, {"", 1}, {"12a", 3}, {"1.5e", 5}, {"12 ", 3},
              {"e5", 1},   {".5", 0},     {"5.", 0}};
  for (const auto& v : vals) {
    EXPECT_EQ(VK_Val(v.text, static_cast<int64_t>(std::strlen(v.text)), &d), v.position)
        << v.text;
    if (v.position) {
      EXPECT_EQ(d, 0);
    }
  }
  EXPECT_EQ(VK_ValW(u"-3e2", 4, &d), 0);
  EXPECT_EQ(d, -300);
}

TEST(NumberText, KernelTextsOfBothWidths) {
  int64_t n = 0;
  char* s = VK_Int64ToHex(-1, 4, &n);
  EXPECT_EQ(std::string(s, n), "FFFFFFFFFFFFFFFF");
  VKL_Free(s);
  s = VK_IntToHex(255, 6, &n);
  EXPECT_EQ(std::string(s, n), "0000FF");
  VKL_Free(s);
  vkl_wchar* w = VK_UInt64ToStrW(UINT64_MAX, &n);
  EXPECT_EQ(std::u16string(w, n), u"18446744073709551615");
  VKL_Free(w);
  s = VK_CurrToStr(INT64_MIN, nullptr, &n);
  EXPECT_EQ(std::string(s, n), "-922337203685477.5808");  // every digit, not 15
  VKL_Free(s);
  s = VK_StrReal(-1.5, &n);
  EXPECT_EQ(std::string(s, n), "-1.50000000000000E+0000");
  VKL_Free(s);
  w = VK_StrRealW(0, &n);
  EXPECT_EQ(std::u16string(w, n), u" 0.00000000000000E+0000");
  VKL_Free(w);
  // A pattern longer than the formatter's first buffer.
  const std::string longer(300, 'x');
  s = VK_FormatFloat((longer + "0").c_str(), 301, 7, nullptr, &n);
  EXPECT_EQ(std::string(s, n), longer + "7");
  VKL_Free(s);
}

}  // namespace
