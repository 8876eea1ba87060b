// Code pages: GBK and the other Windows code pages through ICU, substitutes, measuring and short
// buffers, the host code page, and string cells set from text of the other width.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "vkl/kernel.h"

namespace {

// "日线" in UTF-16 and in GBK.
const std::u16string kDayLine = u"\u65E5\u7EBF";
const std::string kDayLineGbk = "\xC8\xD5\xCF\xDF";

std::string to_narrow(int cp, const std::u16string& w) {
  const int64_t n = VKL_WideToMultiByte(cp, w.data(), static_cast<int64_t>(w.size()), nullptr, 0);
  if (n < 0) return "<unknown>";
  std::string out(static_cast<size_t>(n), '\0');
  EXPECT_EQ(VKL_WideToMultiByte(cp, w.data(), static_cast<int64_t>(w.size()), out.data(), n), n);
  return out;
}

std::u16string to_wide(int cp, const std::string& s) {
  const int64_t n = VKL_MultiByteToWide(cp, s.data(), static_cast<int64_t>(s.size()), nullptr, 0);
  if (n < 0) return u"<unknown>";
  std::u16string out(static_cast<size_t>(n), u'\0');
  EXPECT_EQ(VKL_MultiByteToWide(cp, s.data(), static_cast<int64_t>(s.size()), out.data(), n), n);
  return out;
}

// Restores the host code page whatever a test did to it.
class CodePageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(VKL_GetCodePage(), 936);
    L = VKL_NewState();
    vkl_put_nil(&cell);
  }
  void TearDown() override {
    VKL_FreeObjectContent(L, &cell);
    EXPECT_EQ(VKL_GetMemUsed(L), 0);
    VKL_FreeState(L);
    EXPECT_EQ(VKL_SetCodePage(936), 1);
  }
  VKL_State* L = nullptr;
  TObject cell;
};

TEST_F(CodePageTest, GbkRoundTripsChineseAndAscii) {
  EXPECT_EQ(to_narrow(936, kDayLine), kDayLineGbk);
  EXPECT_EQ(to_wide(936, kDayLineGbk), kDayLine);
  const std::u16string mixed = u"K\u65E5\u7EBF=day line";
  EXPECT_EQ(to_narrow(936, mixed), "K" + kDayLineGbk + "=day line");
  EXPECT_EQ(to_wide(936, to_narrow(936, mixed)), mixed);
  // Code page 0 is the host code page.
  EXPECT_EQ(to_narrow(0, kDayLine), kDayLineGbk);
  EXPECT_EQ(to_wide(0, kDayLineGbk), kDayLine);
}

TEST_F(CodePageTest, InvalidAndUnconvertibleTextIsSubstituted) {
  // A lead byte followed by a byte that cannot trail it, and a lead byte cut off by the end.
  EXPECT_EQ(to_wide(936, "\x81 A\xC8"), u"\uFFFD A\uFFFD");
  // Hangul, an unpaired surrogate and an emoji have no GBK bytes.
  EXPECT_EQ(to_narrow(936,
                      u"a\uAC00b\xD800"
                      u"c\U0001F600"),
            "a?b?c?");
  // GB18030 does have them.
  EXPECT_EQ(to_narrow(54936, u"\U0001F600"), "\x94\x39\xFC\x36");
  EXPECT_EQ(to_wide(54936, "\x94\x39\xFC\x36"), u"\U0001F600");
}

TEST_F(CodePageTest, UnicodeCodePages) {
  const std::u16string text = u"a\u65E5\u7EBF\U0001F600";
  const std::string utf8 = "a\xE6\x97\xA5\xE7\xBA\xBF\xF0\x9F\x98\x80";
  EXPECT_EQ(to_narrow(65001, text), utf8);
  EXPECT_EQ(to_wide(65001, utf8), text);
  EXPECT_EQ(to_wide(65001, "\xC0\x80x"), u"\uFFFD\uFFFDx");  // an overlong zero is invalid
  EXPECT_EQ(to_narrow(65001, u"\xDC00"), "\xEF\xBF\xBD");
  // Code page 1200 is UTF-16LE bytes, zeros and all.
  EXPECT_EQ(to_narrow(1200, u"AB"), std::string("A\0B\0", 4));
  EXPECT_EQ(to_wide(1200, std::string("\xE5\x65\x00\x00", 4)), std::u16string(u"\u65E5\0", 2));
}

// One code page of each way a number finds its ICU converter.
TEST_F(CodePageTest, OtherWindowsCodePages) {
  EXPECT_EQ(to_narrow(1252, u"\u00E9\u20AC\u65E5"), "\xE9\x80?");
  EXPECT_EQ(to_wide(1252, "\xE9\x80"), u"\u00E9\u20AC");
  EXPECT_EQ(to_narrow(28595, u"\u0416"), "\xB6");
  EXPECT_EQ(to_narrow(932, u"\u65E5\uFF71"), "\x93\xFA\xB1");
  EXPECT_EQ(to_narrow(437, u"\u00E9"), "\x82");
}

TEST_F(CodePageTest, EmbeddedZerosAndZeroTerminatedInput) {
  const std::string bytes("a\0\xC8\xD5\0b", 6);
  EXPECT_EQ(to_wide(936, bytes), std::u16string(u"a\0\u65E5\0b", 5));
  EXPECT_EQ(to_narrow(936, std::u16string(u"a\0\u65E5\0b", 5)), bytes);
  // A negative length stops at the zero.
  vkl_wchar w[8];
  EXPECT_EQ(VKL_MultiByteToWide(936, "ab\xC8\xD5", -1, w, 8), 3);
  char b[8];
  EXPECT_EQ(VKL_WideToMultiByte(936, u"ab\u65E5", -1, b, 8), 4);
  EXPECT_EQ(VKL_MultiByteToWide(936, nullptr, 5, w, 8), 0);
  EXPECT_EQ(VKL_WideToMultiByte(936, nullptr, -1, b, 8), 0);
}

TEST_F(CodePageTest, ShortBuffersGetTheFirstUnitsAndTheFullLength) {
  vkl_wchar w[4] = {u'#', u'#', u'#', u'#'};
  EXPECT_EQ(VKL_MultiByteToWide(936, kDayLineGbk.data(), 4, w, 1), 2);
  EXPECT_EQ(w[0], u'\u65E5');
  EXPECT_EQ(w[1], u'#');
  // The ASCII path and the converter path after it both respect the capacity.
  EXPECT_EQ(VKL_MultiByteToWide(936, "hello", 5, w, 3), 5);
  EXPECT_EQ(std::u16string(w, 4), u"hel#");
  EXPECT_EQ(VKL_MultiByteToWide(936, "ab\xC8\xD5\xCF\xDF", 6, w, 3), 4);
  EXPECT_EQ(std::u16string(w, 4), u"ab\u65E5#");
  char b[4] = {'#', '#', '#', '#'};
  EXPECT_EQ(VKL_WideToMultiByte(936, kDayLine.data(), 2, b, 3), 4);
  EXPECT_EQ(std::string(b, 4), "\xC8\xD5\xCF#");
  // Null output or a negative capacity only measures.
  EXPECT_EQ(VKL_WideToMultiByte(936, kDayLine.data(), 2, nullptr, 10), 4);
  EXPECT_EQ(VKL_WideToMultiByte(936, kDayLine.data(), 2, b, -1), 4);
  EXPECT_EQ(std::string(b, 4), "\xC8\xD5\xCF#");
}

TEST_F(CodePageTest, LongTextConvertsInFull) {
  std::u16string text;
  for (int i = 0; i < 20000; ++i) text += u"x\u65E5\u7EBF\u00E9";
  const std::string gbk = to_narrow(936, text);
  EXPECT_EQ(gbk.size(), 20000u * 7);
  EXPECT_EQ(gbk.substr(0, 7), "x" + kDayLineGbk + "\xA8\xA6");
  EXPECT_EQ(to_wide(936, gbk), text);
  // Measuring a text longer than any internal buffer still counts every unit.
  EXPECT_EQ(VKL_MultiByteToWide(936, gbk.data(), static_cast<int64_t>(gbk.size()), nullptr, 0),
            static_cast<int64_t>(text.size()));
}

TEST_F(CodePageTest, UnknownCodePages) {
  vkl_wchar w[4];
  char b[4];
  for (int cp : {-1, 1, 999999, 12345, 28600}) {
    EXPECT_EQ(VKL_MultiByteToWide(cp, "a", 1, w, 4), -1) << cp;
    EXPECT_EQ(VKL_WideToMultiByte(cp, u"a", 1, b, 4), -1) << cp;
    EXPECT_EQ(VKL_SetCodePage(cp), 0) << cp;
  }
  EXPECT_EQ(VKL_SetCodePage(0), 0);
  // Narrow text is zero-terminated: UTF-16 converts but cannot be the host code page.
  EXPECT_EQ(VKL_SetCodePage(1200), 0);
  EXPECT_EQ(VKL_GetCodePage(), 936);
}

TEST_F(CodePageTest, HostCodePageChangesNarrowText) {
  ASSERT_EQ(VKL_SetCodePage(65001), 1);
  EXPECT_EQ(VKL_GetCodePage(), 65001);
  EXPECT_EQ(to_narrow(0, kDayLine), "\xE6\x97\xA5\xE7\xBA\xBF");
  ASSERT_EQ(VKL_SetStringFromWStr(L, &cell, kDayLine.data(), 2), 1);
  EXPECT_EQ(std::string(VKL_AsString(&cell)), "\xE6\x97\xA5\xE7\xBA\xBF");
  ASSERT_EQ(VKL_SetCodePage(936), 1);
  EXPECT_EQ(to_narrow(0, kDayLine), kDayLineGbk);
}

TEST_F(CodePageTest, CellsFromTextOfTheOtherWidth) {
  ASSERT_EQ(VKL_SetWStringFromStr(L, &cell, kDayLineGbk.data(), -1), 1);
  EXPECT_EQ(std::u16string(VKL_AsWString(&cell)), kDayLine);
  EXPECT_EQ(VKL_WStringLen(&cell), 2);
  EXPECT_EQ(VKL_GetMemUsed(L), 3 * 2);
  // The source may be the cell's own text.
  ASSERT_EQ(VKL_SetStringFromWStr(L, &cell, VKL_AsWString(&cell), -1), 1);
  EXPECT_EQ(std::string(VKL_AsString(&cell)), kDayLineGbk);
  EXPECT_EQ(VKL_GetMemUsed(L), 5);
  ASSERT_EQ(VKL_SetWStringFromStr(L, &cell, VKL_AsString(&cell), 4), 1);
  EXPECT_EQ(std::u16string(VKL_AsWString(&cell)), kDayLine);
  // Text longer than the small buffer.
  std::string long_text;
  for (int i = 0; i < 300; ++i) long_text += "ab" + kDayLineGbk;
  ASSERT_EQ(VKL_SetWStringFromStr(L, &cell, long_text.data(), -1), 1);
  EXPECT_EQ(VKL_WStringLen(&cell), 1200);
  ASSERT_EQ(VKL_SetStringFromWStr(L, &cell, VKL_AsWString(&cell), -1), 1);
  EXPECT_EQ(std::string(VKL_AsString(&cell)), long_text);
  // Null text gives the empty string; a refused allocation leaves the cell as it was.
  ASSERT_EQ(VKL_SetWStringFromStr(L, &cell, nullptr, -1), 1);
  EXPECT_EQ(VKL_WStringLen(&cell), 0);
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 8);
  EXPECT_EQ(VKL_SetWStringFromStr(L, &cell, "too long for the limit", -1), 0);
  EXPECT_EQ(VKL_GetMemUsed(L), 2);
  VKL_SetMemLimit(L, -1);
  EXPECT_EQ(VKL_SetStringFromWStr(L, nullptr, u"x", -1), 0);
}

// Each thread keeps its own converters; they must not interfere.
TEST_F(CodePageTest, ConcurrentConversions) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const int cp = t % 2 ? 65001 : 936;
      const std::string expect = t % 2 ? std::string("\xE6\x97\xA5\xE7\xBA\xBF") : kDayLineGbk;
      for (int i = 0; i < 2000; ++i) {
        if (to_narrow(cp, kDayLine) != expect || to_wide(cp, expect) != kDayLine) ++failures[t];
      }
    });
  }
  for (std::thread& th : threads) th.join();
  for (int f : failures) EXPECT_EQ(f, 0);
}

}  // namespace
