// Strings: cell lengths, searches with embedded zeros, stepping over characters of the host code
// page and over surrogate pairs, and string lists.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vkl/kernel.h"

namespace {

TEST(StringLength, CellsReferencesAndOtherKinds) {
  VKL_State* L = VKL_NewState();
  TObject s, w, ref, other;
  for (TObject* c : {&s, &w, &ref, &other}) vkl_put_nil(c);
  ASSERT_EQ(VKL_SetStringEx(L, &s, "ab\0cd", 5), 1);
  EXPECT_EQ(VKL_StringLen(&s), 5);  // the stored length, not the first zero
  ASSERT_EQ(VKL_SetWStringEx(L, &w, u"x\0y", 3), 1);
  EXPECT_EQ(VKL_WStringLen(&w), 3);
  ASSERT_EQ(VKL_SetRef(L, &ref, &s), 1);
  EXPECT_EQ(VKL_StringLen(&ref), 5);
  EXPECT_EQ(VKL_WStringLen(&ref), 0);
  EXPECT_EQ(VKL_StringLen(&w), 0);
  VKL_SetInt(L, &other, 12345);
  EXPECT_EQ(VKL_StringLen(&other), 0);
  EXPECT_EQ(VKL_StringLen(nullptr), 0);
  EXPECT_EQ(VKL_WStringLen(nullptr), 0);
  for (TObject* c : {&s, &w, &ref, &other}) VKL_FreeObjectContent(L, c);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
  VKL_FreeState(L);
  EXPECT_EQ(VKL_GetMaxStrLen(), 0x7FFFFFFE);
}

TEST(StringLength, NoStoredLengthScansForTheZero) {
  TObject raw;
  vkl_put_nil(&raw);
  static const char text[] = "four\0more";
  vkl_put_ptr(&raw, VKL_TSTRING2, text);
  vkl_put_len(&raw, 0);
  EXPECT_EQ(VKL_StringLen(&raw), 4);
  static const vkl_wchar wtext[] = u"wide";
  vkl_put_ptr(&raw, VKL_TWSTRING, wtext);
  vkl_put_len(&raw, -3);
  EXPECT_EQ(VKL_WStringLen(&raw), 4);
  vkl_put_ptr(&raw, VKL_TSTRING, nullptr);
  EXPECT_EQ(VKL_StringLen(&raw), 0);
}

TEST(Search, BytesWithEmbeddedZeros) {
  const char s[] =
      "ab\0c\xC8"
      "d";
  EXPECT_EQ(VKL_strchex(s, 6, 0), 2);
  EXPECT_EQ(VKL_strchex(s, 6, 'd'), 5);
  // A high byte matches given as a signed or as an unsigned char.
  EXPECT_EQ(VKL_strchex(s, 6, static_cast<signed char>(0xC8)), 4);
  EXPECT_EQ(VKL_strchex(s, 6, 0xC8), 4);
  EXPECT_EQ(VKL_strchex(s, 6, 0x100 + 'a'), -1);
  EXPECT_EQ(VKL_strchex(s, 2, 'c'), -1);
  EXPECT_EQ(VKL_strchex(nullptr, 6, 'a'), -1);

  EXPECT_EQ(VKL_strstrex(s, 6, "\0c", 2), 2);
  EXPECT_EQ(VKL_strstrex(s, 6,
                         "c\xC8"
                         "d",
                         3),
            3);
  EXPECT_EQ(VKL_strstrex(s, 6, "d\0", 2), -1);  // would run past the end
  EXPECT_EQ(VKL_strstrex(s, 6, "", 0), 0);
  EXPECT_EQ(VKL_strstrex(nullptr, 0, nullptr, 0), 0);
  EXPECT_EQ(VKL_strstrex("", 0, "a", 1), -1);
  EXPECT_EQ(VKL_strstrex(s, 6, nullptr, 1), -1);
}

TEST(Search, WideUnits) {
  const vkl_wchar s[] = u"aa\0ab\U0001F600b";
  const int64_t n = 8;
  EXPECT_EQ(VKL_wstrchex(s, n, 0), 2);
  EXPECT_EQ(VKL_wstrchex(s, n, u'b'), 4);
  EXPECT_EQ(VKL_wstrchex(s, n, 0xDE00), 6);
  EXPECT_EQ(VKL_wstrchex(s, 4, u'b'), -1);

  EXPECT_EQ(VKL_wstrstrex(s, n, u"ab", 2), 3);  // after a false start at 0 and 1
  EXPECT_EQ(VKL_wstrstrex(s, n, u"\0a", 2), 2);
  EXPECT_EQ(VKL_wstrstrex(s, n, u"\U0001F600b", 3), 5);
  EXPECT_EQ(VKL_wstrstrex(s, n, u"bx", 2), -1);
  EXPECT_EQ(VKL_wstrstrex(s, n, u"", 0), 0);
  EXPECT_EQ(VKL_wstrstrex(s, 1, u"aa", 2), -1);
  EXPECT_EQ(VKL_wstrstrex(s, n, s, n), 0);
  EXPECT_EQ(VKL_wstrstrex(s, -2, u"a", 1), -1);
}

// Every index at which a character starts, walking with VKL_NextCharIndex.
std::vector<int64_t> char_starts(const std::string& s) {
  std::vector<int64_t> starts;
  const auto len = static_cast<int64_t>(s.size());
  for (int64_t i = 0; i < len; i = VKL_NextCharIndex(s.data(), len, i)) starts.push_back(i);
  return starts;
}

class NextCharTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(VKL_SetCodePage(936), 1); }
};

TEST_F(NextCharTest, GbkLeadBytes) {
  ASSERT_EQ(VKL_GetCodePage(), 936);
  // A, 日, B, a trail byte in the ASCII range (0x81 0x40), then a lone lead byte at the end.
  const std::string s =
      "A\xC8\xD5"
      "B\x81\x40\xC8";
  EXPECT_EQ(char_starts(s), (std::vector<int64_t>{0, 1, 3, 4, 6}));
  EXPECT_EQ(VKL_NextCharIndex(s.data(), 7, 6), 7);
  EXPECT_EQ(VKL_NextCharIndex(s.data(), 7, 100), 7);
  EXPECT_EQ(VKL_NextCharIndex(s.data(), 2, 1), 2);  // never past len
  EXPECT_EQ(VKL_NextCharIndex(s.data(), 7, -5), 0);
  EXPECT_EQ(VKL_NextCharIndex(nullptr, 7, 0), 7);
  EXPECT_EQ(VKL_NextCharIndex(s.data(), -1, 0), 0);
}

TEST_F(NextCharTest, OtherHostCodePages) {
  ASSERT_EQ(VKL_SetCodePage(65001), 1);
  // a, 日, 😀, a stray continuation byte, then 日 cut short.
  EXPECT_EQ(char_starts("a\xE6\x97\xA5\xF0\x9F\x98\x80\x80\xE6\x97"),
            (std::vector<int64_t>{0, 1, 4, 8, 9}));
  ASSERT_EQ(VKL_SetCodePage(54936), 1);
  EXPECT_EQ(char_starts("\x94\x39\xFC\x36"
                        "a\xC8\xD5\x81\x30"),
            (std::vector<int64_t>{0, 4, 5, 7}));
  ASSERT_EQ(VKL_SetCodePage(932), 1);
  // Half-width katakana (0xB1) is one byte in Shift_JIS; 日 is 0x93 0xFA.
  EXPECT_EQ(char_starts("\xB1\x93\xFA"
                        "a"),
            (std::vector<int64_t>{0, 1, 3}));
  ASSERT_EQ(VKL_SetCodePage(1252), 1);
  EXPECT_EQ(char_starts("\xC8\xD5"
                        "a"),
            (std::vector<int64_t>{0, 1, 2}));
}

TEST(NextCharW, SurrogatePairs) {
  const vkl_wchar s[] =
      u"a\U0001F600\xDC00\xD800"
      u"b\xD800";
  const int64_t n = 7;
  std::vector<int64_t> starts;
  for (int64_t i = 0; i < n; i = VKL_NextCharIndexW(s, n, i)) starts.push_back(i);
  // A pair is one character; a lone low, a high before a non-low and a high at the end are one.
  EXPECT_EQ(starts, (std::vector<int64_t>{0, 1, 3, 4, 5, 6}));
  EXPECT_EQ(VKL_NextCharIndexW(s, 2, 1), 2);  // a pair cut by len
  EXPECT_EQ(VKL_NextCharIndexW(s, n, n), n);
  EXPECT_EQ(VKL_NextCharIndexW(nullptr, 0, 0), 0);
}

std::vector<std::string> lines_of(const VKL_StringList* sl) {
  std::vector<std::string> out;
  for (int64_t i = 0; i < VKL_StringListCount(sl); ++i) {
    int64_t len = -1;
    const char* p = VKL_StringListStrings(sl, i, &len);
    EXPECT_NE(p, nullptr);
    if (!p) break;
    EXPECT_EQ(p[len], '\0');
    out.emplace_back(p, static_cast<size_t>(len));
  }
  return out;
}

using Lines = std::vector<std::string>;

TEST(StringList, SetTextSplitsAtEveryLineEnd) {
  VKL_StringList* sl = VKL_StringListCreate();
  ASSERT_NE(sl, nullptr);
  VKL_StringListSetText(sl, "crlf\r\nlf\ncr\rlast", -1);
  EXPECT_EQ(lines_of(sl), (Lines{"crlf", "lf", "cr", "last"}));
  // A final line end adds no empty line; LF CR is two line ends; empty lines are kept.
  VKL_StringListSetText(sl, "a\n\rb\r\n\r\n", -1);
  EXPECT_EQ(lines_of(sl), (Lines{"a", "", "b", ""}));
  VKL_StringListSetText(sl, "x\r", -1);
  EXPECT_EQ(lines_of(sl), (Lines{"x"}));
  VKL_StringListSetText(sl, "\n", -1);
  EXPECT_EQ(lines_of(sl), (Lines{""}));
  VKL_StringListSetText(sl, std::string("z\0ero\nend", 9).data(), 9);
  EXPECT_EQ(lines_of(sl), (Lines{std::string("z\0ero", 5), "end"}));
  VKL_StringListSetText(sl, "", 0);
  EXPECT_EQ(VKL_StringListCount(sl), 0);
  VKL_StringListSetText(sl, "kept", -1);
  VKL_StringListSetText(sl, nullptr, 4);  // refused: the list stays
  EXPECT_EQ(lines_of(sl), (Lines{"kept"}));
  VKL_StringListFree(sl);
}

TEST(StringList, AddOwnsCopiesAndRefusesBadInput) {
  VKL_StringList* sl = VKL_StringListCreate();
  std::string text = "first";
  VKL_StringListAdd(sl, text.data(), -1);
  VKL_StringListAdd(sl, "se\0cond", 7);
  VKL_StringListAdd(sl, "third", 2);
  VKL_StringListAdd(sl, nullptr, 3);
  VKL_StringListAdd(sl, nullptr, 0);
  text = "XXXXX";
  EXPECT_EQ(lines_of(sl), (Lines{"first", std::string("se\0cond", 7), "th", ""}));
  int64_t len = 99;
  EXPECT_EQ(VKL_StringListStrings(sl, 4, &len), nullptr);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(VKL_StringListStrings(sl, -1, nullptr), nullptr);
  EXPECT_STREQ(VKL_StringListStrings(sl, 0, nullptr), "first");
  VKL_StringListFree(sl);

  VKL_StringListAdd(nullptr, "x", 1);
  VKL_StringListSetText(nullptr, "x", 1);
  EXPECT_EQ(VKL_StringListCount(nullptr), 0);
  EXPECT_EQ(VKL_StringListStrings(nullptr, 0, nullptr), nullptr);
  VKL_StringListFree(nullptr);
}

}  // namespace
