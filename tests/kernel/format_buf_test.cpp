// The formatter's return convention, its two capacities and the settings it is given: what a
// script cannot see through `format`, which always retries with a larger buffer and always
// passes the state's settings.
#include <cstring>
#include <string>
#include <string_view>

#include "kernel_fixture.h"
#include "vkl/format_buf.h"
#include "vkl/format_settings.h"

namespace {

class FormatBufTest : public KernelTest {
 protected:
  int64_t narrow(std::string_view fmt, int nargs, int64_t capacity,
                 const VKL_FormatSettings* fs = nullptr) {
    out.assign(static_cast<size_t>(capacity), '#');
    return FormatBufA(out.data(), capacity, fmt.data(), static_cast<int64_t>(fmt.size()), cells,
                      nargs, fs);
  }
  std::string out;
};

TEST_F(FormatBufTest, LengthWhenItFitsShortOtherwise) {
  VKL_SetInt(L, &cells[0], 12345);
  EXPECT_EQ(narrow("[%d]", 1, 7), 7);
  EXPECT_EQ(out, "[12345]");
  EXPECT_EQ(narrow("[%d]", 1, 6), VKL_FORMAT_SHORT);
  EXPECT_EQ(narrow("[%d]", 1, 0), VKL_FORMAT_SHORT);
  EXPECT_EQ(narrow("", 0, 0), 0);
  // the text is not terminated: the byte after it is left alone
  EXPECT_EQ(narrow("%d", 1, 6), 5);
  EXPECT_EQ(out[5], '#');
}

TEST_F(FormatBufTest, ErrorWinsOverAShortBuffer) {
  VKL_SetInt(L, &cells[0], 1);
  VKL_SetReal(L, &cells[1], 1.5);
  EXPECT_EQ(narrow("%100d %d", 2, 10), VKL_FORMAT_ERROR);
  EXPECT_EQ(narrow("%100d %s", 1, 10), VKL_FORMAT_ERROR);
  EXPECT_EQ(narrow("%100d %", 1, 10), VKL_FORMAT_ERROR);
  EXPECT_EQ(narrow("%100d", 1, 10), VKL_FORMAT_SHORT);
}

TEST_F(FormatBufTest, BadBuffersAndCountsAreErrors) {
  EXPECT_EQ(FormatBufA(nullptr, 4, "x", 1, nullptr, 0, nullptr), VKL_FORMAT_ERROR);
  EXPECT_EQ(FormatBufA(out.data(), -1, "x", 1, nullptr, 0, nullptr), VKL_FORMAT_ERROR);
  EXPECT_EQ(FormatBufA(out.data(), 0, "x", -1, nullptr, 0, nullptr), VKL_FORMAT_ERROR);
  EXPECT_EQ(FormatBufA(out.data(), 0, "%d", 2, nullptr, 1, nullptr), VKL_FORMAT_ERROR);
  // a width beyond 32 bits, from the format or an argument
  VKL_SetInt64(L, &cells[0], int64_t{1} << 40);
  VKL_SetInt(L, &cells[1], 1);
  EXPECT_EQ(narrow("%*d", 2, 64), VKL_FORMAT_ERROR);
  EXPECT_EQ(narrow("%4294967296d", 2, 64), VKL_FORMAT_ERROR);
}

TEST_F(FormatBufTest, WideCapacityIsInBytes) {
  VKL_SetWString(L, &cells[0], u"日线");
  VKL_SetString(L, &cells[1], "ab");
  const std::u16string_view fmt = u"%s|%s";
  std::u16string wide(8, u'#');
  const auto call = [&](int64_t bytes) {
    return FormatBufW(wide.data(), bytes, fmt.data(), static_cast<int64_t>(fmt.size()), cells, 2,
                      nullptr);
  };
  EXPECT_EQ(call(10), 5);
  EXPECT_EQ(wide.substr(0, 5), u"日线|ab");
  EXPECT_EQ(call(9), VKL_FORMAT_SHORT);  // room for four characters and a half
  EXPECT_EQ(call(-2), VKL_FORMAT_ERROR);
}

TEST_F(FormatBufTest, SettingsShapeNumbersAndMoney) {
  VKL_FormatSettings fs;
  VKL_DefaultGFormat(&fs);
  fs.decimalSeparator = ',';
  fs.thousandSeparator = '.';
  std::strcpy(fs.currencyString, "EUR");
  fs.currencyFormat = 3;   // "1 $"
  fs.negCurrFormat = 15;   // "(1 $)"
  fs.currencyDecimals = 1;
  VKL_SetReal(L, &cells[0], -1234567.25);
  VKL_SetReal(L, &cells[1], 1234.5);
  const std::string expected = "-1.234.567,25|(1.234.567,3 EUR)|1.234,5 EUR|-1234567,250|1234,5";
  ASSERT_EQ(narrow("%n|%0:m|%m|%0:.3f|%g", 2, 80, &fs), static_cast<int64_t>(expected.size()));
  EXPECT_EQ(out.substr(0, expected.size()), expected);
  fs.negCurrFormat = 0;  // "($1)"
  fs.currencyFormat = 2; // "$ 1"
  EXPECT_EQ(narrow("%m|%m", 2, 64, &fs), 28);
  EXPECT_EQ(out.substr(0, 28), "(EUR1.234.567,3)|EUR 1.234,5");
}

TEST_F(FormatBufTest, MoneyInWideTextConvertsTheCurrencyString) {
  VKL_FormatSettings fs;
  VKL_DefaultGFormat(&fs);
  std::strcpy(fs.currencyString, "\xD4\xAA");  // 元 in code page 936
  fs.currencyFormat = 1;
  VKL_SetInt(L, &cells[0], 5);
  const std::u16string_view fmt = u"%m";
  std::u16string wide(16, u'#');
  ASSERT_EQ(FormatBufW(wide.data(), 32, fmt.data(), 2, cells, 1, &fs), 5);
  EXPECT_EQ(wide.substr(0, 5), u"5.00元");
}

}  // namespace
