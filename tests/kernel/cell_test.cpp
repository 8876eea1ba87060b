// Cells: layout, accessors, ownership, exact memory accounting, conversions, boxes, copies.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include <vkl/payload.h>
#include <vkl/vk_strings.h>

#include "kernel_fixture.h"

namespace {

// A state and a few cells, checking on the way out that every payload byte was given back.
class CellTest : public KernelTest {
 protected:
  TObject& a = cells[0];
  TObject& b = cells[1];
  TObject& c = cells[2];
};

TEST(CellLayout, SizeOffsetsAndStride) {
  EXPECT_EQ(sizeof(TObject), 18u);
  TObject args[3];
  EXPECT_EQ(reinterpret_cast<uint8_t*>(&args[2]) - reinterpret_cast<uint8_t*>(&args[0]), 36);

  TObject o;
  vkl_put_int(&o, -123456);
  EXPECT_EQ(o.tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&o), -123456);
  vkl_put_real(&o, -2.5e300);
  EXPECT_EQ(vkl_real(&o), -2.5e300);
  vkl_put_int64(&o, INT64_MIN);
  EXPECT_EQ(vkl_int64(&o), INT64_MIN);
  vkl_put_none(&o, -77);
  EXPECT_EQ(vkl_kind(&o), -1);
  EXPECT_EQ(vkl_none_code(&o), -77);

  // Payload fields sit at their fixed offsets, little-endian.
  int marker = 0;
  vkl_put_ptr(&o, VKL_TSTRING, &marker);
  vkl_put_len(&o, 0x01020304);
  vkl_put_owned(&o, 1);
  EXPECT_EQ(vkl_ptr(&o), &marker);
  EXPECT_EQ(o.payload[VKL_OFF_LEN - 1], 0x04);
  EXPECT_EQ(o.payload[VKL_OFF_OWNED - 1], 1);
  vkl_put_elem_offset(&o, 0x1122334455667788LL);
  EXPECT_EQ(vkl_elem_offset(&o), 0x1122334455667788LL);
  EXPECT_EQ(vkl_ptr(&o), &marker);
}

TEST_F(CellTest, StringsCountTheirBytesExactly) {
  ASSERT_TRUE(VKL_SetString(L, &a, "hello"));
  EXPECT_EQ(VKL_GetMemUsed(L), 6);
  EXPECT_EQ(vkl_len(&a), 6);  // the stored length counts the terminating zero
  EXPECT_EQ(vkl_owned(&a), 1);
  EXPECT_EQ(VKL_StringLen(&a), 5);

  ASSERT_TRUE(VKL_SetStringEx(L, &a, "a\0b", 3));  // replaces and releases the old text
  EXPECT_EQ(VKL_GetMemUsed(L), 4);
  EXPECT_EQ(memcmp(VKL_AsString(&a), "a\0b\0", 4), 0);

  ASSERT_TRUE(VKL_SetWString(L, &b, u"宽字"));
  EXPECT_EQ(VKL_GetMemUsed(L), 4 + 6);
  EXPECT_EQ(VKL_WStringLen(&b), 2);

  ASSERT_TRUE(VKL_SetBin(L, &c, "xyz", 3));
  EXPECT_EQ(VKL_GetMemUsed(L), 4 + 6 + 4);  // a binary keeps one extra zero byte
  EXPECT_EQ(static_cast<const char*>(vkl_ptr(&c))[3], 0);

  VKL_SetInt(L, &a, 1);  // setting releases
  VKL_SetReal(L, &b, 1);
  VKL_SetNil(L, &c);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);

  VKL_SetConstString(L, &a, "constant");
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
  EXPECT_EQ(vkl_owned(&a), 0);
  EXPECT_EQ(VKL_StringLen(&a), 8);
}

// A text handed over with ownership is kept in its own buffer (no copy) and counted at its
// length; a much larger buffer is shrunk first; over the limit it is refused and released.
TEST_F(CellTest, AdoptedTextsKeepTheirBuffer) {
  auto* small = static_cast<char*>(VKL_Malloc(4));
  std::memcpy(small, "xyz", 4);
  ASSERT_TRUE(VKL_SetString2(L, &a, small, 3, 1));
  EXPECT_EQ(vkl_ptr(&a), small);
  EXPECT_EQ(VKL_GetMemUsed(L), 4);

  auto* big = static_cast<char*>(VKL_Malloc(1 << 20));
  std::memcpy(big, u"ab", 6);
  ASSERT_TRUE(VKL_SetWString2(L, &b, reinterpret_cast<vkl_wchar*>(big), 2, 1));
  EXPECT_EQ(VKL_GetMemUsed(L), 4 + 6);
  EXPECT_LT(malloc_usable_size(vkl_ptr(&b)), 1u << 16);
  EXPECT_EQ(VKL_WStringLen(&b), 2);

  auto* refused = static_cast<char*>(VKL_Malloc(6));
  std::memcpy(refused, "hello", 6);
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 5);
  EXPECT_FALSE(VKL_SetString2(L, &c, refused, 5, 1));
  VKL_SetMemLimit(L, -1);
  EXPECT_EQ(c.tag, VKL_TNIL);
  EXPECT_EQ(VKL_GetMemUsed(L), 4 + 6);
}

TEST_F(CellTest, SettingFromItsOwnTextAndCopiesNeverShareBuffers) {
  ASSERT_TRUE(VKL_SetString(L, &a, "abcdef"));
  ASSERT_TRUE(VKL_SetString(L, &a, VKL_AsString(&a) + 2));
  EXPECT_STREQ(VKL_AsString(&a), "cdef");

  ASSERT_TRUE(VKL_DupObject(L, &b, &a));
  ASSERT_TRUE(VKL_DupObjectHashRef3(L, &c, &a));
  EXPECT_NE(vkl_ptr(&a), vkl_ptr(&b));
  EXPECT_NE(vkl_ptr(&a), vkl_ptr(&c));
  EXPECT_EQ(VKL_GetMemUsed(L), 15);

  VKL_SetConstString(L, &a, "shared text");
  ASSERT_TRUE(VKL_DupObject(L, &b, &a));  // a copy of a borrowed text owns its own buffer
  EXPECT_EQ(vkl_owned(&b), 1);
  EXPECT_NE(vkl_ptr(&b), vkl_ptr(&a));

  ASSERT_TRUE(VKL_DupObject(L, &b, &b));  // copying a cell onto itself keeps its value
  EXPECT_STREQ(VKL_AsString(&b), "shared text");
}

TEST_F(CellTest, Realloc2ResizesInPlaceAndKeepsTheCount) {
  ASSERT_TRUE(VKL_SetString(L, &a, "abc"));
  char* p = static_cast<char*>(VKL_Realloc2(L, &a, 10));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(VKL_GetMemUsed(L), 11);
  EXPECT_EQ(vkl_len(&a), 11);
  EXPECT_STREQ(p, "abc");
  for (int i = 3; i <= 10; ++i) EXPECT_EQ(p[i], 0);
  ASSERT_NE(VKL_Realloc2(L, &a, 1), nullptr);
  EXPECT_EQ(VKL_GetMemUsed(L), 2);
  EXPECT_STREQ(VKL_AsString(&a), "a");

  VKL_SetConstString(L, &b, "borrowed");
  ASSERT_NE(VKL_Realloc2(L, &b, 4), nullptr);  // takes a private copy
  EXPECT_EQ(vkl_owned(&b), 1);
  EXPECT_STREQ(VKL_AsString(&b), "borr");

  ASSERT_TRUE(VKL_SetBin(L, &c, "\1\2", 2));
  auto* bytes = static_cast<uint8_t*>(VKL_Realloc2(L, &c, 5));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(vkl_len(&c), 5);
  EXPECT_EQ(bytes[1], 2);
  EXPECT_EQ(bytes[5], 0);

  ASSERT_TRUE(VKL_SetWString(L, &cells[3], u"ab"));
  ASSERT_NE(VKL_Realloc2(L, &cells[3], 3), nullptr);
  EXPECT_EQ(vkl_len(&cells[3]), 4);
  EXPECT_EQ(VKL_AsWString(&cells[3])[2], 0);

  TObject number;
  vkl_put_int(&number, 3);
  EXPECT_EQ(VKL_Realloc2(L, &number, 4), nullptr);
  EXPECT_EQ(VKL_Realloc2(L, &a, -1), nullptr);
  EXPECT_EQ(VKL_GetMemUsed(L), 2 + 5 + 6 + 8);
}

// A reader's buffer grown ahead of its writes, past the sizes backed by huge pages: what was
// written stays, the terminating zero follows the length, and the count is exact throughout.
TEST_F(CellTest, Realloc2UnfilledGrowsLargeBuffersKeepingTheirBytes) {
  ASSERT_TRUE(VKL_SetString(L, &a, "head"));
  int64_t filled = 4;
  for (int64_t len = 1 << 16; len <= (int64_t{1} << 25); len *= 2) {
    auto* p = static_cast<char*>(VKL_Realloc2Unfilled(L, &a, len));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[len], 0);
    EXPECT_EQ(VKL_GetMemUsed(L), len + 1);
    for (int64_t i = filled; i < len; ++i) p[i] = static_cast<char>('a' + i % 26);
    filled = len;
  }
  const char* p = VKL_AsString(&a);
  EXPECT_EQ(std::string_view(p, 4), "head");
  int64_t wrong = 0;
  for (int64_t i = 4; i < filled; ++i) wrong += p[i] != static_cast<char>('a' + i % 26);
  EXPECT_EQ(wrong, 0);

  ASSERT_NE(VKL_Realloc2Unfilled(L, &a, 3), nullptr);
  EXPECT_STREQ(VKL_AsString(&a), "hea");
  EXPECT_EQ(VKL_GetMemUsed(L), 4);

  // The zeroing form still zeroes a large buffer's new characters.
  auto* zeroed = static_cast<char*>(VKL_Realloc2(L, &a, int64_t{8} << 20));
  ASSERT_NE(zeroed, nullptr);
  EXPECT_EQ(std::count(zeroed + 3, zeroed + (int64_t{8} << 20) + 1, '\0'), (int64_t{8} << 20) - 2);

  TObject number;
  vkl_put_int(&number, 3);
  EXPECT_EQ(VKL_Realloc2Unfilled(L, &number, 4), nullptr);
  EXPECT_EQ(VKL_Realloc2Unfilled(L, &a, -1), nullptr);
}

TEST_F(CellTest, MemoryLimitRefusesWithTheCellUnchanged) {
  VKL_SetMemLimit(L, 10);
  ASSERT_TRUE(VKL_SetString(L, &a, "12345"));
  EXPECT_FALSE(VKL_SetString(L, &b, "123456789"));
  EXPECT_EQ(b.tag, VKL_TNIL);
  EXPECT_FALSE(VKL_CheckMoreMem(L, 5));
  EXPECT_TRUE(VKL_CheckMoreMem(L, 4));
  EXPECT_EQ(VKL_Realloc2(L, &a, 20), nullptr);
  EXPECT_STREQ(VKL_AsString(&a), "12345");
  VKL_SetMemLimit(L, -1);
  EXPECT_TRUE(VKL_SetString(L, &b, "123456789"));
  EXPECT_FALSE(VKL_SetStringEx(L, &c, "x", -1));
  EXPECT_FALSE(VKL_SetStringEx(L, &c, "x", int64_t{1} << 31));
}

TEST_F(CellTest, ConversionsFollowTheKernelRules) {
  VKL_SetReal(L, &a, -2.9);
  EXPECT_EQ(VKL_AsInt(&a), -2);
  VKL_SetReal(L, &a, 1e300);
  EXPECT_EQ(VKL_AsInt(&a), INT32_MAX);
  EXPECT_EQ(VKL_AsInt64(&a), INT64_MAX);
  VKL_SetReal(L, &a, std::nan(""));
  EXPECT_EQ(VKL_AsInt64(&a), 0);
  EXPECT_TRUE(VKL_AsBool(&a));
  VKL_SetInt64(L, &a, int64_t{1} << 40);
  EXPECT_EQ(VKL_AsInt(&a), INT32_MAX);
  EXPECT_EQ(VKL_AsDouble(&a), 1099511627776.0);

  VKL_SetString(L, &a, " 42 ");
  EXPECT_EQ(VKL_AsInt(&a), 42);
  VKL_SetString(L, &a, "3.75");
  EXPECT_EQ(VKL_AsInt(&a), 3);
  EXPECT_EQ(VKL_AsDouble(&a), 3.75);
  VKL_SetString(L, &a, "12abc");
  EXPECT_EQ(VKL_AsInt(&a), 0);
  VKL_SetWString(L, &a, u"-17");
  EXPECT_EQ(VKL_AsInt(&a), -17);
  EXPECT_EQ(VKL_AsString(&a)[0], 0);  // not a narrow string

  VKL_SetString(L, &a, "");
  EXPECT_FALSE(VKL_AsBool(&a));
  VKL_SetNone(L, &a, 4);
  EXPECT_FALSE(VKL_AsBool(&a));
  VKL_NewHash(L, &a);
  EXPECT_TRUE(VKL_AsBool(&a));
  EXPECT_FALSE(VKL_AsBool(nullptr));

  VKL_SetIntAuto(L, &a, INT32_MAX);
  EXPECT_EQ(a.tag, VKL_TINT);
  VKL_SetIntAuto(L, &a, int64_t{INT32_MIN} - 1);
  EXPECT_EQ(a.tag, VKL_TINT64);
  VKL_SetIntPtr(L, &a, 5);
  EXPECT_EQ(a.tag, VKL_TINT64);
}

TEST_F(CellTest, KindChecksAndReferences) {
  VKL_SetInt(L, &a, 7);
  ASSERT_TRUE(VKL_SetRef(L, &b, &a));
  EXPECT_EQ(b.tag, VKL_TREF);
  EXPECT_EQ(vkl_follow(&b), &a);
  EXPECT_TRUE(VKL_NumberCheck(&b));  // a reference to an integer tests as the integer
  EXPECT_TRUE(VKL_DoubleCheck(&b));
  EXPECT_EQ(VKL_AsInt(&b), 7);
  EXPECT_FALSE(VKL_StringCheck(&b));
  EXPECT_FALSE(VKL_SetRef(L, &c, nullptr));

  ASSERT_TRUE(VKL_SetType(L, &c, VKL_TSTRING2));
  EXPECT_TRUE(VKL_StringCheck(&c));
  EXPECT_TRUE(VKL_StringCheckAll(&c));
  EXPECT_FALSE(VKL_WStringCheck(&c));
  ASSERT_TRUE(VKL_SetType(L, &c, VKL_TWSTRING));
  EXPECT_TRUE(VKL_WStringCheck(&c));
  EXPECT_TRUE(VKL_StringCheckAll(&c));
  ASSERT_TRUE(VKL_SetType(L, &c, VKL_TTABLE));
  EXPECT_TRUE(VKL_HashCheck(&c));
  EXPECT_FALSE(VKL_SetType(L, &c, VKL_TOBJECT));
  EXPECT_TRUE(VKL_HashCheck(&c));
  EXPECT_FALSE(VKL_NumberCheck(nullptr));

  const TObject* nil = VKL_GetGlobalNilObj();
  EXPECT_EQ(nil->tag, VKL_TNIL);
}

int released_count = 0;
void count_release(VKL_State*, void* data) {
  ++released_count;
  delete static_cast<int*>(data);
}
const VKL_BoxType object_type = {"counted", count_release, nullptr};

int compute_forty_two(VKL_State* L, void* data, TObject* out) {
  if (!*static_cast<bool*>(data)) return 0;
  return VKL_SetString(L, out, "forty-two");
}
const VKL_BoxType deferred_type = {"deferred", nullptr, compute_forty_two};

TEST_F(CellTest, BoxesAreSharedAndReleasedOnce) {
  released_count = 0;
  ASSERT_TRUE(VKL_SetBox(L, &a, VKL_TOBJECT, &object_type, new int(5)));
  ASSERT_TRUE(VKL_DupObject(L, &b, &a));
  EXPECT_EQ(vkl_ptr(&a), vkl_ptr(&b));
  VKL_SetNil(L, &a);
  EXPECT_EQ(released_count, 0);
  VKL_SetNil(L, &b);
  EXPECT_EQ(released_count, 1);
  EXPECT_FALSE(VKL_SetBox(L, &a, VKL_TINT, &object_type, nullptr));

  VKL_Table* t = VKL_NewHash(L, &a);
  ASSERT_TRUE(VKL_SetBox(L, VKL_HashSetInt(L, t, 0), VKL_TFUNCTION, &object_type, new int(1)));
  EXPECT_TRUE(VKL_CallCheck(L, VKL_HashGetInt(t, 0)));
  EXPECT_FALSE(VKL_CallCheck(L, &a));
  VKL_SetNil(L, &a);  // releasing the table releases the box inside it
  EXPECT_EQ(released_count, 2);
}

TEST_F(CellTest, DeferredValuesAreComputedInPlace) {
  bool can_compute = false;
  ASSERT_TRUE(VKL_SetDeferred(L, &a, &deferred_type, &can_compute));
  EXPECT_FALSE(VKL_SetDeferred(L, &b, &object_type, nullptr));  // no compute step
  EXPECT_FALSE(VKL_CalcGridCompute(L, &a));
  EXPECT_EQ(a.tag, VKL_TDEFERRED);
  can_compute = true;
  ASSERT_TRUE(VKL_SetRef(L, &b, &a));
  EXPECT_TRUE(VKL_CalcGridCompute(L, &b));  // through the reference, the target is computed
  EXPECT_STREQ(VKL_AsString(&a), "forty-two");
  EXPECT_TRUE(VKL_CalcGridCompute(L, &a));  // nothing deferred any more
}

TEST_F(CellTest, DeepCopiesAreIndependentAndKeepCycles) {
  VKL_Table* t = VKL_NewHash(L, &a);
  VKL_SetString(L, VKL_HashSetSZString(L, t, "name"), "x");
  VKL_Table* inner = VKL_NewHash(L, VKL_HashSetInt(L, t, 0));
  VKL_SetInt(L, VKL_HashSetInt(L, inner, 0), 1);
  VKL_SetHashRef(L, VKL_HashSetSZString(L, inner, "parent"), t);  // a cycle

  ASSERT_TRUE(VKL_DupObject(L, &b, &a));
  ASSERT_TRUE(VKL_ObjEqual(&a, &b));
  VKL_Table* copy = vkl_table(&b);
  EXPECT_NE(copy, t);
  VKL_Table* copied_inner = vkl_table(VKL_HashGetInt(copy, 0));
  EXPECT_NE(copied_inner, inner);
  EXPECT_EQ(vkl_table(VKL_HashGetSZString(copied_inner, "parent")), copy);
  VKL_SetInt(L, VKL_HashGetInt(copied_inner, 0), 2);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetInt(inner, 0)), 1);
  EXPECT_FALSE(VKL_ObjEqual(&a, &b));

  ASSERT_TRUE(VKL_DupObjectEx(L, &c, &a, 1));  // one level: nested tables shared
  EXPECT_NE(vkl_table(&c), t);
  EXPECT_EQ(vkl_table(VKL_HashGetInt(vkl_table(&c), 0)), inner);

  ASSERT_TRUE(VKL_DupObjectHashRef(L, &c, &a, 1));
  EXPECT_EQ(vkl_table(&c), t);

  // Cycles keep the tables alive through their own references; break them to free.
  VKL_SetNil(L, VKL_HashGetSZString(inner, "parent"));
  VKL_SetNil(L, VKL_HashGetSZString(copied_inner, "parent"));
}

TEST_F(CellTest, ValuesNestedTooDeepFailCleanly) {
  // A million nested tables: copying runs out of stack room and fails; freeing never recurses.
  VKL_Table* t = VKL_NewHash(L, &a);
  for (int i = 0; i < 1000000; ++i) t = VKL_NewHash(L, VKL_HashSetInt(L, t, 0));
  VKL_SetString(L, VKL_HashSetInt(L, t, 0), "leaf");
  EXPECT_FALSE(VKL_DupObject(L, &b, &a));
  EXPECT_EQ(b.tag, VKL_TNIL);
  EXPECT_TRUE(VKL_ObjEqual(&a, &a));  // the same table is equal without a walk
  VKL_SetNil(L, &a);
}

TEST_F(CellTest, EqualityAndOrder) {
  VKL_SetInt(L, &a, 1);
  VKL_SetInt64(L, &b, 1);
  EXPECT_FALSE(VKL_ObjEqual(&a, &b));  // kinds differ
  EXPECT_EQ(VKL_CompareObj(&a, &b), 0);
  VKL_SetReal(L, &b, 0.5);
  EXPECT_GT(VKL_CompareObj(&a, &b), 0);
  VKL_SetReal(L, &a, std::nan(""));
  EXPECT_GT(VKL_CompareObj(&a, &b), 0);  // NaN after every number
  VKL_SetReal(L, &b, std::nan("1"));
  EXPECT_TRUE(VKL_ObjEqual(&a, &b));
  VKL_SetReal(L, &a, 0.0);
  VKL_SetReal(L, &b, -0.0);
  EXPECT_FALSE(VKL_ObjEqual(&a, &b));

  // Integers beyond double precision still order exactly.
  VKL_SetInt64(L, &a, (int64_t{1} << 53) + 1);
  VKL_SetReal(L, &b, 9007199254740992.0);
  EXPECT_GT(VKL_CompareObj(&a, &b), 0);

  VKL_SetString(L, &a, "abc");
  VKL_SetStringEx(L, &b, "abc", 3);
  b.tag = VKL_TSTRING2;  // both string kinds hold the same text
  EXPECT_TRUE(VKL_ObjEqual(&a, &b));
  VKL_SetString(L, &b, "abd");
  EXPECT_LT(VKL_CompareObj(&a, &b), 0);
  VKL_SetStringEx(L, &b, "ab\xff", 3);
  EXPECT_LT(VKL_CompareObj(&a, &b), 0);  // bytes compare unsigned
  VKL_SetInt(L, &c, 100);
  EXPECT_LT(VKL_CompareObj(&c, &a), 0);  // numbers before strings
}

TEST_F(CellTest, TemporaryCells) {
  TObject* t = VKL_NewObject(L);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->tag, VKL_TNIL);
  VKL_SetString(L, t, "temporary");
  VKL_FreeObj(L, t);
  VKL_FreeObj(L, nullptr);
}

TEST(StackGauge, ReportsRoomOnThisThread) {
  const int64_t avail = VKL_StackAvail();
  EXPECT_GT(avail, 64 * 1024);
  EXPECT_LT(avail, int64_t{1} << 36);
}

}  // namespace
