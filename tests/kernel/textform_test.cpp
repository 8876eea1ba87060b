// Text forms: the exact literal text of values, round trips through the parser, the display
// form, refused texts, cycles, deep nesting and memory accounting.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kernel_fixture.h"

namespace {

using namespace std::string_literals;

class TextFormTest : public KernelTest {
 protected:

  // The text of a value, or nothing when writing failed.
  std::optional<std::string> text(const TObject* o, int mode = 1) {
    int64_t len = -1;
    char* s = VKL_ObjToStrEx(L, o, mode, &len);
    if (!s) return std::nullopt;
    std::string result(s, static_cast<size_t>(len));
    EXPECT_EQ(s[len], 0);
    VKL_Free(s);
    return result;
  }

  bool parse(const std::string& s, TObject* target) {
    return VKL_MemToObj(L, s.data(), static_cast<int64_t>(s.size()), target) != 0;
  }

  // Writes, parses back, and checks the copy equals the value and writes the same text.
  void expect_round_trip(const TObject* v) {
    const auto written = text(v);
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(strlen(written->c_str()), written->size()) << "zero byte in the literal form";
    TObject back;
    vkl_put_nil(&back);
    ASSERT_TRUE(parse(*written, &back)) << *written;
    EXPECT_TRUE(VKL_ObjEqual(v, &back)) << *written;
    EXPECT_EQ(text(&back), written);
    VKL_FreeObjectContent(L, &back);
  }

  TObject& a = cells[0];
  TObject& b = cells[1];
  TObject& c = cells[2];
};

// ---- exact text ----

TEST_F(TextFormTest, NumbersHaveTheirLiteralText) {
  // These cells hold no payload, so the raw accessors make them.
  const auto cell = [](auto put, auto v) {
    TObject o;
    vkl_put_nil(&o);
    put(&o, v);
    return o;
  };
  TObject nil;
  vkl_put_nil(&nil);
  const std::pair<TObject, const char*> cases[] = {
      {cell(vkl_put_int, 12), "12"},
      {cell(vkl_put_int, -7), "-7"},
      {cell(vkl_put_int64, 5), "5L"},
      {cell(vkl_put_int64, -3), "-3L"},
      {cell(vkl_put_int64, INT64_MAX), "9223372036854775807"},
      {cell(vkl_put_int64, INT64_MIN), "-9223372036854775808"},
      {cell(vkl_put_int64, 1LL << 32), "4294967296"},
      {cell(vkl_put_real, 2.5), "2.5"},
      {cell(vkl_put_real, 1.0), "1.0"},
      {cell(vkl_put_real, -0.0), "-0.0"},
      {cell(vkl_put_real, 0.1), "0.1"},
      {cell(vkl_put_real, 1e300), "1e+300"},
      {cell(vkl_put_real, 123456789012345680.0), "123456789012345680.0"},
      {cell(vkl_put_real, HUGE_VAL), "inf"},
      {cell(vkl_put_real, -HUGE_VAL), "-inf"},
      {cell(vkl_put_real, -std::nan("")), "nan"},
      {nil, "nil"},
      {cell(vkl_put_none, 3), "none(3)"},
      {cell(vkl_put_none, -1), "none(-1)"},
  };
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(text(&value), expected);
    EXPECT_EQ(text(&value, 0), expected) << "display form of a non-string is the literal";
  }
}

TEST_F(TextFormTest, StringsEscapeQuotesBackslashesAndControlBytes) {
  const std::string raw = "a\"b\\c\n\r\t"s + '\0' + "\x01\x1f\x7f\xb0\xa1 end";
  VKL_SetStringEx(L, &a, raw.data(), static_cast<int64_t>(raw.size()));
  EXPECT_EQ(text(&a), "\"a\\\"b\\\\c\\n\\r\\t\\0\\x01\\x1F\\x7F\xb0\xa1 end\"");
  EXPECT_EQ(text(&a, 0), raw) << "a top-level string displays as its bare text";

  // A GBK character whose trail byte is a backslash still gets the backslash escaped.
  VKL_SetString(L, &a, "\x95\x5c");
  EXPECT_EQ(text(&a), "\"\x95\\\\\"");

  VKL_SetBin(L, &b, "x\0\"y", 4);
  EXPECT_EQ(text(&b), "b\"x\\0\\\"y\"");
  EXPECT_EQ(text(&b, 0), "b\"x\\0\\\"y\"") << "a binary displays as its literal";

  const vkl_wchar wide[] = {u'A', u'"', u'\\', u'\n', 0x4E2D, 0xD83D, 0xDE00, 0xDC00, u'~', 0};
  VKL_SetWString(L, &c, wide);
  EXPECT_EQ(text(&c), "L\"A\\\"\\\\\\u000A\\u4E2D\\uD83D\\uDE00\\uDC00~\"");
}

TEST_F(TextFormTest, WideStringDisplaysInTheHostCodePage) {
  VKL_SetWString(L, &a, u"\u65E5\u7EBF ok");  // 日线 in GBK: C8 D5 CF DF
  EXPECT_EQ(text(&a, 0), "\xC8\xD5\xCF\xDF ok");
  // Only the top level is bare: inside a table the string stays a literal.
  VKL_Table* t = VKL_NewHash(L, &b);
  VKL_SetString(L, VKL_HashSetInt(L, t, 0), "x");
  VKL_SetWString(L, VKL_HashSetInt(L, t, 1), u"y");
  EXPECT_EQ(text(&b, 0), "array(\"x\", L\"y\")");
}

TEST_F(TextFormTest, TablesWritePositionalEntriesThenKeyedOnes) {
  VKL_Table* t = VKL_NewHash(L, &a);
  EXPECT_EQ(text(&a), "array()");
  VKL_SetInt(L, VKL_HashSetInt(L, t, 0), 1);
  VKL_SetInt(L, VKL_HashSetInt(L, t, 1), 2);
  VKL_SetString(L, VKL_HashSetSZString(L, t, "k"), "v");
  VKL_SetInt(L, VKL_HashSetInt(L, t, 10), 5);
  VKL_SetInt(L, VKL_HashSetInt64(L, t, 1LL << 40), 6);
  VKL_SetInt(L, VKL_HashSetInt(L, t, -1), 7);
  VKL_NewHash(L, VKL_HashSetSZString(L, t, "sub"));
  EXPECT_EQ(text(&a),
            "array(1, 2, \"k\": \"v\", 10: 5, 1099511627776: 6, -1: 7, \"sub\": array())");

  // A hole ends the positional run: the entries after it carry their keys.
  VKL_Table* h = VKL_NewHash(L, &b);
  for (int i = 0; i < 4; ++i) VKL_SetInt(L, VKL_HashSetInt(L, h, i), i * 10);
  TObject key;
  vkl_put_int(&key, 1);
  ASSERT_TRUE(VKL_DeleteField(L, h, &key));
  EXPECT_EQ(text(&b), "array(0, 2: 20, 3: 30)");
  expect_round_trip(&b);
}

TEST_F(TextFormTest, SharedTableIsWrittenTwiceButACycleFails) {
  VKL_Table* outer = VKL_NewHash(L, &a);
  VKL_Table* inner = VKL_NewHash(L, &b);
  VKL_SetInt(L, VKL_HashSetInt(L, inner, 0), 1);
  VKL_SetHashRef(L, VKL_HashSetInt(L, outer, 0), inner);
  VKL_SetHashRef(L, VKL_HashSetInt(L, outer, 1), inner);
  EXPECT_EQ(text(&a), "array(array(1), array(1))");

  // inner -> outer closes a cycle two levels deep.
  VKL_SetHashRef(L, VKL_HashSetSZString(L, inner, "up"), outer);
  EXPECT_EQ(text(&a), std::nullopt);
  EXPECT_EQ(VKL_ObjToStr(L, &a, 0), nullptr);
  VKL_Stream* s = VKL_StreamMemCreate();
  EXPECT_EQ(VKL_ObjToStrm(L, &a, s, 1), 0);
  int64_t size = -1;
  VKL_StreamMemGetBuf(s, &size);
  EXPECT_EQ(size, 0) << "a failed write leaves the stream untouched";
  VKL_StreamFree(s);
  // Break the cycle so that the tables can be freed.
  VKL_SetNil(L, VKL_HashSetSZString(L, inner, "up"));

  // A table that holds itself through a reference is a cycle too.
  VKL_Table* self = VKL_NewHash(L, &c);
  VKL_SetRef(L, VKL_HashSetInt(L, self, 0), &c);
  EXPECT_EQ(text(&c), std::nullopt);
}

TEST_F(TextFormTest, ValuesWithoutLiteralAreNamed) {
  static int mutex_data;
  static const VKL_BoxType mutex_type = {"tvk_mutex", nullptr, nullptr};
  static const VKL_BoxType fn_type = {"script function", nullptr, nullptr};
  ASSERT_TRUE(VKL_SetBox(L, &a, VKL_TOBJECT, &mutex_type, &mutex_data));
  EXPECT_EQ(text(&a), "<object tvk_mutex>");
  ASSERT_TRUE(VKL_SetBox(L, &a, VKL_TFUNCTION, &fn_type, &mutex_data));
  EXPECT_EQ(text(&a), "<function>");
  ASSERT_TRUE(VKL_CreateMatrix(L, &a, 2, 3));
  EXPECT_EQ(text(&a), "<matrix 2x3>");
  const int64_t dims[2] = {2, 3};
  VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &b, VKL_FM_DOUBLE, 2, dims);
  ASSERT_TRUE(fm);
  EXPECT_EQ(text(&b), "<fixedmatrix 2x3 double>");
  for (const char* s : {"<matrix 2x3>", "<function>", "<object tvk_mutex>"}) {
    EXPECT_FALSE(VKL_StrToObj(L, s, &c)) << s;
  }

  // A fixed-matrix element is written as its value, a reference as its target.
  static_cast<double*>(VKL_FMGetBuffer(fm))[4] = 0.5;
  ASSERT_TRUE(VKL_SetFMElement(L, &c, fm, 4));
  EXPECT_EQ(text(&c), "0.5");
  VKL_SetString(L, &a, "target");
  ASSERT_TRUE(VKL_SetRef(L, &c, &a));
  EXPECT_EQ(text(&c), "\"target\"");
  EXPECT_EQ(text(&c, 0), "target");
}

// ---- round trips ----

TEST_F(TextFormTest, ScalarsRoundTrip) {
  const double reals[] = {0.1,          -0.0,      0.0,          DBL_MAX, -DBL_MAX, DBL_MIN,
                          DBL_TRUE_MIN, 4.9e-320,  1e-310,       1e16,    2.0 / 3,  123456789.0,
                          HUGE_VAL,     -HUGE_VAL, std::nan(""), 5e-324};
  for (double r : reals) {
    VKL_SetReal(L, &a, r);
    expect_round_trip(&a);
  }
  VKL_SetReal(L, &a, -0.0);
  ASSERT_TRUE(parse(*text(&a), &b));
  EXPECT_TRUE(std::signbit(VKL_AsDouble(&b)));

  for (int64_t v : {INT64_MIN, INT64_MAX, int64_t{0}, int64_t{-1}, int64_t{INT32_MAX},
                    int64_t{INT32_MIN}, int64_t{INT32_MAX} + 1, int64_t{INT32_MIN} - 1}) {
    VKL_SetInt64(L, &a, v);
    expect_round_trip(&a);
    VKL_SetIntAuto(L, &a, v);
    expect_round_trip(&a);
  }
  VKL_SetNil(L, &a);
  expect_round_trip(&a);
  VKL_SetNone(L, &a, INT32_MIN);
  expect_round_trip(&a);
}

TEST_F(TextFormTest, EveryByteAndUnitRoundTrips) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  bytes += "\x95\x5c\x95\"";  // double-byte characters with awkward trail bytes
  VKL_SetStringEx(L, &a, bytes.data(), static_cast<int64_t>(bytes.size()));
  expect_round_trip(&a);
  VKL_SetBin(L, &a, bytes.data(), static_cast<int64_t>(bytes.size()));
  expect_round_trip(&a);
  VKL_SetBin(L, &a, nullptr, 0);
  expect_round_trip(&a);
  VKL_SetString(L, &a, "");
  expect_round_trip(&a);

  // Non-BMP characters as pairs, lone and reversed surrogates, zero units, every BMP plane.
  std::u16string wide = u"\U0001F600 \U00010000\U0010FFFF";
  wide += {0xD800, u'x', 0xDFFF, 0xDC00, 0xD800, 0, 0xFFFF, 0x7F, 0x80};
  for (int u = 1; u < 0x10000; u += 97) wide.push_back(static_cast<vkl_wchar>(u));
  VKL_SetWStringEx(L, &a, wide.data(), static_cast<int64_t>(wide.size()));
  expect_round_trip(&a);
}

TEST_F(TextFormTest, NestedTablesRoundTrip) {
  VKL_Table* root = VKL_NewHash(L, &a);
  for (int i = 0; i < 5; ++i) VKL_SetInt(L, VKL_HashSetInt(L, root, i), i);
  VKL_SetReal(L, VKL_HashSetInt(L, root, 100), 2.5);  // hash-part integer key
  VKL_SetReal(L, VKL_HashSetInt(L, root, -100), -2.5);
  VKL_SetInt64(L, VKL_HashSetInt64(L, root, INT64_MIN), 1);
  VKL_SetInt64(L, VKL_HashSetInt64(L, root, INT64_MAX), 2);
  VKL_SetString(L, VKL_HashSetString(L, root, "k\0ey\"", 5), "zero in the key");
  VKL_SetString(L, VKL_HashSetSZString(L, root, ""), "empty key");
  VKL_SetString(L, VKL_HashSetSZString(L, root, "5"), "a string that looks like a number");
  VKL_Table* mid = VKL_NewHash(L, VKL_HashSetSZString(L, root, "mid"));
  VKL_SetWString(L, VKL_HashSetInt(L, mid, 0), u"\U0001F600");
  VKL_SetBin(L, VKL_HashSetInt(L, mid, 2), "\x00\xff", 2);  // key 1 missing: a gap
  VKL_Table* deep = VKL_NewHash(L, VKL_HashSetInt(L, mid, 3));
  VKL_SetNone(L, VKL_HashSetInt(L, deep, 0), 7);
  VKL_SetNil(L, VKL_HashSetSZString(L, deep, "nil"));
  VKL_NewHash(L, VKL_HashSetInt(L, deep, 1));
  expect_round_trip(&a);

  // A hole left by a deletion inside the array part.
  TObject key;
  vkl_put_int(&key, 2);
  ASSERT_TRUE(VKL_DeleteField(L, root, &key));
  expect_round_trip(&a);
}

// ---- parsing ----

TEST_F(TextFormTest, ParserPicksTheIntegerKind) {
  const struct {
    const char* text;
    int tag;
    int64_t value;
  } cases[] = {
      {"5", VKL_TINT, 5},
      {"+5", VKL_TINT, 5},
      {"-2147483648", VKL_TINT, INT32_MIN},
      {"2147483648", VKL_TINT64, 2147483648LL},
      {"5L", VKL_TINT64, 5},
      {"-5l", VKL_TINT64, -5},
      {"0042", VKL_TINT, 42},
      {"-9223372036854775808", VKL_TINT64, INT64_MIN},
      {"9223372036854775807L", VKL_TINT64, INT64_MAX},
  };
  for (const auto& k : cases) {
    ASSERT_TRUE(VKL_StrToObj(L, k.text, &a)) << k.text;
    EXPECT_EQ(a.tag, k.tag) << k.text;
    EXPECT_EQ(VKL_AsInt64(&a), k.value) << k.text;
  }
}

TEST_F(TextFormTest, ParserReadsRealsAndOutOfRangeExponents) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"2.5", 2.5},          {"-.5", -0.5},       {"3.", 3.0},
               {"1e3", 1000.0},       {"1E-3", 0.001},     {"-inf", -HUGE_VAL},
               {"+INF", HUGE_VAL},    {"1e400", HUGE_VAL}, {"-1e99999999999999999999", -HUGE_VAL},
               {"0.0001e-400", 0.0},  {"1e-400", 0.0},     {"0e999999", 0.0},
               {"000123.4e-2", 1.234}};
  for (const auto& k : cases) {
    ASSERT_TRUE(VKL_StrToObj(L, k.text, &a)) << k.text;
    EXPECT_EQ(a.tag, VKL_TREAL) << k.text;
    EXPECT_EQ(vkl_real(&a), k.value) << k.text;
  }
  ASSERT_TRUE(VKL_StrToObj(L, "-1e-400", &a));
  EXPECT_TRUE(std::signbit(vkl_real(&a)));
  ASSERT_TRUE(VKL_StrToObj(L, "NaN", &a));
  EXPECT_TRUE(std::isnan(vkl_real(&a)));
}

TEST_F(TextFormTest, ParserAcceptsBothQuotesKeywordsAndWhiteSpace) {
  EXPECT_FALSE(VKL_StrToObj(L, "'it''s'", &a));  // two strings in a row
  ASSERT_TRUE(VKL_StrToObj(L, " \t\r\n'say \"hi\"\\'' \n", &a));
  EXPECT_STREQ(VKL_AsString(&a), "say \"hi\"'");
  ASSERT_TRUE(VKL_StrToObj(L, "L'\\u4E2D\\x41\\'' ", &a));
  EXPECT_TRUE(VKL_AsWString(&a) == std::u16string_view(u"\u4E2DA'"));
  ASSERT_TRUE(VKL_StrToObj(L, "B'\\x00\\xFF'", &a));
  EXPECT_EQ(a.tag, VKL_TBINARY);
  EXPECT_EQ(vkl_len(&a), 2);
  ASSERT_TRUE(VKL_StrToObj(L, "NIL", &a));
  EXPECT_EQ(a.tag, VKL_TNIL);
  ASSERT_TRUE(VKL_StrToObj(L, "none ( -4 )", &a));
  EXPECT_EQ(a.tag, VKL_TNONE);
  EXPECT_EQ(vkl_none_code(&a), -4);

  // Raw host-code-page bytes inside L"..." are converted: 日线 in GBK.
  ASSERT_TRUE(VKL_StrToObj(L, "L\"\xC8\xD5\xCF\xDF!\"", &a));
  EXPECT_TRUE(VKL_AsWString(&a) == std::u16string_view(u"\u65E5\u7EBF!"));

  ASSERT_TRUE(VKL_StrToObj(L, "Array ( 1 ,\n 'k' : array( ) , 5L: -2 )", &a));
  EXPECT_EQ(text(&a), "array(1, \"k\": array(), 5: -2)");
}

TEST_F(TextFormTest, LiteralKeysBecomeTableKeys) {
  ASSERT_TRUE(VKL_StrToObj(L, "array(5: 1)", &a));
  VKL_Table* t = vkl_table(&a);
  EXPECT_EQ(VKL_HashCount(t), 1);
  ASSERT_NE(VKL_HashGetInt(t, 5), nullptr);
  EXPECT_EQ(VKL_HashGetInt(t, 0), nullptr);

  // Positional entries count on after keyed ones; a repeated key keeps the last value.
  ASSERT_TRUE(VKL_StrToObj(L, "array(\"a\": 1, 10, 0: 20, 4294967296: 3, 'a': array(2))", &a));
  t = vkl_table(&a);
  EXPECT_EQ(VKL_HashCount(t), 3);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetInt(t, 0)), 20);
  EXPECT_EQ(VKL_HashGetInt64(t, 4294967296LL)->tag, VKL_TINT);
  EXPECT_EQ(text(VKL_HashGetSZString(t, "a")), "array(2)");
}

TEST_F(TextFormTest, MalformedTextsAreRefusedAndTheTargetKept) {
  const std::string bad[] = {"",
                             "   ",
                             "x",
                             "L",
                             "b",
                             "-",
                             "+",
                             ".",
                             "1e",
                             "1e+",
                             "12abc",
                             "1 2",
                             "nil nil",
                             "inff",
                             "9223372036854775808",
                             "-9223372036854775809",
                             "99999999999999999999L",
                             "2.5L",
                             "0x10",
                             "none",
                             "none(",
                             "none(1.5)",
                             "none(3000000000)",
                             "none(1",
                             "\"abc",
                             "'abc\"",
                             "\"ab\\",
                             "\"\\x4\"",
                             "\"\\xZZ\"",
                             "\"\\q\"",
                             "\"\\u0041\"",
                             "L\"\\u12\"",
                             "L\"\\u12G4\"",
                             "L'abc",
                             "b\"\\",
                             "array",
                             "array(",
                             "array(1,",
                             "array(1,)",
                             "array(,)",
                             "array(1 2)",
                             "array(1: )",
                             "array(: 1)",
                             "array(1)x",
                             "array(1))",
                             ")",
                             "array(array(): 1)",
                             "array(nil: 1)",
                             "array(1.5: 2)",
                             "array(L\"k\": 1)",
                             "array(b\"k\": 1)",
                             "array(\"k\": 1: 2)",
                             "<matrix 2x3>",
                             "12\0"s,
                             "\0"s,
                             "array(1,\0 2)"s};
  VKL_SetString(L, &a, "keep");
  const int64_t used = VKL_GetMemUsed(L);
  for (const std::string& s : bad) {
    EXPECT_FALSE(parse(s, &a)) << s;
    EXPECT_STREQ(VKL_AsString(&a), "keep") << s;
    EXPECT_EQ(VKL_GetMemUsed(L), used) << s;
  }
  // Zero bytes: StrToObj stops at the first; MemToObj keeps one inside quotes.
  EXPECT_TRUE(VKL_StrToObj(L, "12\0junk", &a));
  EXPECT_EQ(vkl_int(&a), 12);
  ASSERT_TRUE(parse("\"a\0b\""s, &a));
  EXPECT_EQ(VKL_StringLen(&a), 3);
}

TEST_F(TextFormTest, BadArgumentsAreRejected) {
  VKL_SetInt(L, &a, 1);
  EXPECT_EQ(VKL_ObjToStr(L, nullptr, 1), nullptr);
  EXPECT_EQ(VKL_ObjToStr(L, &a, 2), nullptr);
  EXPECT_EQ(VKL_ObjToStr(L, &a, -1), nullptr);
  EXPECT_EQ(VKL_ObjToStrm(L, &a, nullptr, 1), 0);
  EXPECT_EQ(VKL_StrToObj(L, nullptr, &a), 0);
  EXPECT_EQ(VKL_StrToObj(L, "1", nullptr), 0);
  EXPECT_EQ(VKL_MemToObj(L, "1", -1, &a), 0);
  EXPECT_EQ(VKL_MemToObj(L, nullptr, 0, &a), 0);
  EXPECT_EQ(vkl_int(&a), 1);
  char* s = VKL_ObjToStr(nullptr, &a, 1);  // the kernel's own state
  EXPECT_STREQ(s, "1");
  VKL_Free(s);
}

// ---- hostile sizes ----

TEST_F(TextFormTest, DeepNestingFailsCleanlyOrRoundTrips) {
  constexpr int kDepth = 1000000;
  std::string open;
  for (int i = 0; i < kDepth; ++i) open += "array(";
  VKL_SetInt(L, &a, 9);
  EXPECT_FALSE(parse(open, &a));
  EXPECT_EQ(vkl_int(&a), 9);

  // Closed, such a text is a valid value, written back without recursion.
  const std::string closed = open.substr(0, open.size() / 10) + std::string(kDepth / 10, ')');
  ASSERT_TRUE(parse(closed, &a));
  EXPECT_EQ(text(&a), closed);
}

TEST_F(TextFormTest, LargeTableAndMemoryLimit) {
  VKL_Table* t = VKL_NewHash(L, &a);
  for (int i = 0; i < 100000; ++i) VKL_SetReal(L, VKL_HashSetInt(L, t, i), i * 0.37);
  VKL_SetString(L, VKL_HashSetSZString(L, t, "name"), "numbers");
  expect_round_trip(&a);

  // A text whose strings do not fit the state's limit fails and gives every byte back.
  const std::string big =
      "array(\"" + std::string(1000, 'x') + "\", \"" + std::string(1000, 'y') + "\")";
  VKL_SetString(L, &b, "keep");
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 1500);
  const int64_t used = VKL_GetMemUsed(L);
  EXPECT_FALSE(parse(big, &b));
  EXPECT_EQ(VKL_GetMemUsed(L), used);
  EXPECT_STREQ(VKL_AsString(&b), "keep");
  VKL_SetMemLimit(L, -1);
  EXPECT_TRUE(parse(big, &b));
}

TEST_F(TextFormTest, StreamGetsTheSameBytes) {
  ASSERT_TRUE(VKL_StrToObj(L, "array(1, 'two', L'3', b'\\x04', \"k\": nil)", &a));
  VKL_Stream* s = VKL_StreamMemCreate();
  ASSERT_TRUE(VKL_ObjToStrm(L, &a, s, 1));
  int64_t size = 0;
  const char* buf = static_cast<const char*>(VKL_StreamMemGetBuf(s, &size));
  EXPECT_EQ(std::string(buf, static_cast<size_t>(size)), text(&a));
  VKL_StreamFree(s);
}

}  // namespace
