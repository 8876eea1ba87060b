// Tables: order, keys and their normalization, growth, deletion, array/hash migration, memory
// accounting, sharing, deep nesting, and the whole-table operations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kernel_fixture.h"

namespace {

// A state and a root cell; on the way out every payload byte must have been given back.
class TableTest : public KernelTest {
 protected:
  void SetUp() override {
    KernelTest::SetUp();
    t = VKL_NewHash(L, &root);
    ASSERT_NE(t, nullptr);
  }

  void set_int(const TObject* key, int32_t v) { VKL_SetInt(L, VKL_HashSet(L, t, key), v); }
  void set(int64_t key, int32_t v) { VKL_SetInt(L, VKL_HashSetInt64(L, t, key), v); }
  void set_field(const char* key, int32_t v) { VKL_SetInt(L, VKL_HashSetSZString(L, t, key), v); }
  int32_t get(int64_t key) const { return VKL_AsInt(VKL_HashGetInt64(t, key)); }
  bool del(int64_t key) {
    TObject k;
    vkl_put_int64(&k, key);
    return VKL_DeleteField(L, t, &k) == 1;
  }
  bool del_field(const char* key) {
    TObject k;
    vkl_put_nil(&k);
    VKL_SetConstString(L, &k, key);
    return VKL_DeleteField(L, t, &k) == 1;
  }

  VKL_Table* t = nullptr;
  TObject& root = cells[0];
  TObject& other = cells[1];
  TObject& scratch = cells[2];
};

// A key as text: integers as digits, int64s with a trailing L, strings quoted.
std::string key_text(const TObject* key) {
  switch (key->tag) {
    case VKL_TINT:
      return std::to_string(vkl_int(key));
    case VKL_TINT64:
      return std::to_string(vkl_int64(key)) + "L";
    case VKL_TSTRING2:
      return "'" + std::string(VKL_AsString(key), static_cast<size_t>(VKL_StringLen(key))) + "'";
    default:
      return "?" + std::to_string(key->tag);
  }
}

// The keys in iteration order, read through VKL_HashGetN, checked against the raw positions.
std::string keys_in_order(const VKL_Table* t) {
  std::string by_n, by_position;
  for (int64_t n = 0; n < VKL_HashCount(t); ++n) {
    const TObject* key = nullptr;
    EXPECT_NE(VKL_HashGetN(t, n, &key), nullptr);
    by_n += (n ? " " : "") + key_text(key);
  }
  for (int64_t pos = 0; pos < VKL_HashRawCount(t); ++pos) {
    const TObject* key = nullptr;
    if (!VKL_HashRawGetN(t, pos, &key)) continue;
    by_position += (by_position.empty() ? "" : " ") + key_text(key);
  }
  EXPECT_EQ(by_n, by_position);
  return by_n;
}

const TObject* real_cell(TObject* c, double v) {
  vkl_put_real(c, v);
  return c;
}
const TObject* int64_cell(TObject* c, int64_t v) {
  vkl_put_int64(c, v);
  return c;
}

TEST_F(TableTest, IterationIsArrayPartThenHashInsertionOrder) {
  set_field("b", 1);
  set(5, 2);
  set(0, 3);
  set_field("a", 4);
  set(1, 5);
  set(-1, 6);
  set(2, 7);
  set_field("b", 8);  // an existing key keeps its place
  EXPECT_EQ(keys_in_order(t), "0 1 2 'b' 5 'a' -1");
  EXPECT_EQ(VKL_HashCount(t), 7);
  EXPECT_EQ(VKL_HashArrayCount(t), 3);
  EXPECT_EQ(VKL_HashHashCount(t), 4);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(t, "b")), 8);
  const TObject* key = nullptr;
  EXPECT_EQ(VKL_AsInt(VKL_HashGetN(t, 3, &key)), 8);
  EXPECT_EQ(key->tag, VKL_TSTRING2);
  EXPECT_EQ(VKL_HashGetN(t, 7, &key), nullptr);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(VKL_HashGetN(t, -1, nullptr), nullptr);
  EXPECT_EQ(VKL_HashRawGetN(t, VKL_HashRawCount(t), nullptr), nullptr);
}

TEST_F(TableTest, NewKeysStartNilAndExistingValuesAreReturnedInPlace) {
  TObject* v = VKL_HashSetInt(L, t, 0);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->tag, VKL_TNIL);
  VKL_SetString(L, v, "kept");
  EXPECT_STREQ(VKL_AsString(VKL_HashSetInt(L, t, 0)), "kept");
  TObject* h = VKL_HashSetSZString(L, t, "k");
  EXPECT_EQ(h->tag, VKL_TNIL);
  VKL_SetReal(L, h, 2.5);
  EXPECT_EQ(VKL_HashSetSZString(L, t, "k"), VKL_HashGetSZString(t, "k"));
  EXPECT_EQ(VKL_AsDouble(VKL_HashGetSZString(t, "k")), 2.5);
}

TEST_F(TableTest, KeysAreNormalized) {
  TObject k;
  set_int(real_cell(&k, 3.0), 30);  // an integral real is the integer
  EXPECT_EQ(get(3), 30);
  EXPECT_EQ(VKL_AsInt(VKL_HashGet(t, int64_cell(&k, 3))), 30);
  set_int(real_cell(&k, -0.0), 1);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetInt(t, 0)), 1);

  const int64_t big = int64_t{1} << 40;
  set(big, 40);
  EXPECT_EQ(VKL_AsInt(VKL_HashGet(t, real_cell(&k, static_cast<double>(big)))), 40);
  const TObject* key = nullptr;
  for (int64_t pos = 0; pos < VKL_HashRawCount(t); ++pos) {
    if (VKL_HashRawGetN(t, pos, &key) && VKL_AsInt64(key) == big) break;
  }
  EXPECT_EQ(key->tag, VKL_TINT64);
  VKL_SetIntPtr(L, VKL_HashSetIntPtr(L, t, -7), 1);
  EXPECT_NE(VKL_HashGetInt(t, -7), nullptr);  // an int64 key within 32 bits is the integer

  // Kinds 2 and 6 are the same key; the stored key is kind 6.
  TObject s6;
  vkl_put_nil(&s6);
  ASSERT_TRUE(VKL_SetType(L, &s6, VKL_TSTRING2));
  ASSERT_NE(VKL_Realloc2(L, &s6, 2), nullptr);
  memcpy(const_cast<char*>(VKL_AsString(&s6)), "ab", 2);
  set_field("ab", 7);
  EXPECT_EQ(VKL_AsInt(VKL_HashGet(t, &s6)), 7);
  VKL_SetNil(L, &s6);

  // A reference is followed to its target.
  TObject target, ref;
  vkl_put_int(&target, 3);
  vkl_put_nil(&ref);
  ASSERT_TRUE(VKL_SetRef(L, &ref, &target));
  EXPECT_EQ(VKL_AsInt(VKL_HashGet(t, &ref)), 30);
  VKL_SetNil(L, &ref);

  // Refused keys: Get and Set give null and nothing is added.
  const int64_t count = VKL_HashCount(t);
  std::vector<TObject> refused(7);
  vkl_put_real(&refused[0], 1.5);
  vkl_put_real(&refused[1], std::nan(""));
  vkl_put_real(&refused[2], std::numeric_limits<double>::infinity());
  vkl_put_real(&refused[3], 1e300);  // integral, beyond int64
  vkl_put_real(&refused[4], 9223372036854775808.0);
  vkl_put_nil(&refused[5]);
  vkl_put_nil(&refused[6]);
  ASSERT_TRUE(VKL_SetWString(L, &refused[6], u"w"));
  for (TObject& r : refused) {
    EXPECT_EQ(VKL_HashGet(t, &r), nullptr);
    EXPECT_EQ(VKL_HashSet(L, t, &r), nullptr);
    EXPECT_FALSE(VKL_DeleteField(L, t, &r));
  }
  EXPECT_EQ(VKL_HashSet(L, t, &root), nullptr);  // a table is no key
  EXPECT_EQ(VKL_HashSet(L, t, nullptr), nullptr);
  EXPECT_EQ(VKL_HashCount(t), count);
  VKL_SetNil(L, &refused[6]);
}

TEST_F(TableTest, StringKeysAreBytesWithEmbeddedZeros) {
  const int64_t before = VKL_GetMemUsed(L);
  VKL_SetInt(L, VKL_HashSetString(L, t, "a\0b", 3), 1);
  VKL_SetInt(L, VKL_HashSetString(L, t, "a\0c", 3), 2);
  VKL_SetInt(L, VKL_HashSetString(L, t, "a", 1), 3);
  VKL_SetInt(L, VKL_HashSetString(L, t, "", 0), 4);
  const std::string long_key(1000, 'x');
  VKL_SetInt(L, VKL_HashSetString(L, t, long_key.data(), 1000), 5);
  // Each key holds its bytes and a terminating zero.
  EXPECT_EQ(VKL_GetMemUsed(L) - before, 4 + 4 + 2 + 1 + 1001);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetString(t, "a\0b", 3)), 1);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetString(t, "a\0c", 3)), 2);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(t, "a\0b")), 3);  // stops at the zero: "a"
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(t, "")), 4);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetString(t, long_key.data(), 1000)), 5);
  EXPECT_EQ(VKL_HashGetString(t, "a\0", 2), nullptr);
  EXPECT_EQ(VKL_HashGetString(t, "a", -1), nullptr);
  EXPECT_EQ(VKL_HashGetString(t, nullptr, 0), nullptr);
  EXPECT_EQ(VKL_HashSetString(L, t, nullptr, 0), nullptr);
  EXPECT_EQ(VKL_HashSetSZString(L, t, nullptr), nullptr);
  EXPECT_EQ(keys_in_order(t),
            std::string("'a") + '\0' + "b' 'a" + '\0' + "c' 'a' '' '" + long_key + "'");

  TObject key;
  vkl_put_nil(&key);
  ASSERT_TRUE(VKL_SetStringEx(L, &key, "a\0c", 3));
  EXPECT_TRUE(VKL_DeleteField(L, t, &key));
  EXPECT_FALSE(VKL_DeleteField(L, t, &key));
  VKL_SetNil(L, &key);
  EXPECT_EQ(VKL_GetMemUsed(L) - before, 4 + 2 + 1 + 1001);
}

TEST_F(TableTest, GrowsToAMillionEntriesOfEachKind) {
  constexpr int kCount = 1000000;
  for (int i = 0; i < kCount; ++i) set(i, i);
  EXPECT_EQ(VKL_HashArrayCount(t), kCount);
  EXPECT_EQ(VKL_HashHashCount(t), 0);

  VKL_Table* sparse = VKL_NewHash(L, &other);
  std::mt19937_64 random(7);
  std::vector<int64_t> keys;
  for (int i = 0; i < kCount; ++i) {
    const int64_t key = static_cast<int64_t>(random() >> 2) + kCount;
    keys.push_back(key);
    VKL_SetInt(L, VKL_HashSetInt64(L, sparse, key), i);
  }
  EXPECT_EQ(VKL_HashHashCount(sparse), kCount);

  VKL_Table* named = VKL_NewHash(L, &scratch);
  for (int i = 0; i < kCount; ++i) {
    VKL_SetInt(L, VKL_HashSetSZString(L, named, ("key" + std::to_string(i)).c_str()), i);
  }
  EXPECT_EQ(VKL_HashCount(named), kCount);

  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(get(i), i);
    ASSERT_EQ(VKL_AsInt(VKL_HashGetInt64(sparse, keys[i])), i);
    ASSERT_EQ(VKL_AsInt(VKL_HashGetSZString(named, ("key" + std::to_string(i)).c_str())), i);
  }
  EXPECT_EQ(VKL_HashGetInt64(sparse, 5), nullptr);
  EXPECT_EQ(VKL_HashGetSZString(named, "key1000000"), nullptr);
  for (int64_t n = 0; n < kCount; n += 9973) {
    const TObject* key = nullptr;
    ASSERT_EQ(VKL_AsInt(VKL_HashGetN(sparse, n, &key)), n);  // insertion order
    ASSERT_EQ(VKL_AsInt64(key), keys[static_cast<size_t>(n)]);
  }
}

// Large buffers freed by one table are taken up by the next: a smaller table gets part of
// them, a larger one grows from them, and neither sees the old contents.
TEST_F(TableTest, LargeTablesBuiltOneAfterAnother) {
  const auto fill = [&](VKL_Table* table, int count, int offset) {
    for (int i = 0; i < count; ++i) VKL_SetInt(L, VKL_HashAppend(L, table), i + offset);
  };
  const auto holds = [&](VKL_Table* table, int count, int offset) {
    if (VKL_HashArrayCount(table) != count || VKL_HashHashCount(table) != 0) return false;
    for (int i = 0; i < count; ++i) {
      if (VKL_AsInt(VKL_HashGetInt64(table, i)) != i + offset) return false;
    }
    return true;
  };
  fill(t, 1000000, 0);
  VKL_FreeObjectContent(L, &root);
  for (const int count : {300000, 2000000, 1000000, 150000}) {
    VKL_Table* table = VKL_NewHash(L, &other);
    fill(table, count, count);
    EXPECT_TRUE(holds(table, count, count)) << count;
    EXPECT_EQ(VKL_HashGetInt64(table, count), nullptr);
    VKL_FreeObjectContent(L, &other);
  }
  t = VKL_NewHash(L, &root);
  ASSERT_NE(t, nullptr);
}

TEST_F(TableTest, DeletingLeavesHolesAndTrimsTheEnd) {
  for (int i = 0; i < 6; ++i) set(i, i * 10);
  set_field("x", 1);
  EXPECT_TRUE(del(2));
  EXPECT_FALSE(del(2));
  EXPECT_EQ(VKL_HashGetInt(t, 2), nullptr);
  EXPECT_EQ(VKL_HashArrayCount(t), 5);
  EXPECT_EQ(VKL_HashRawCount(t), 7);  // the hole keeps its position
  EXPECT_EQ(keys_in_order(t), "0 1 3 4 5 'x'");
  EXPECT_FALSE(VKL_ArrayCompleteCheck(t));

  EXPECT_TRUE(del(5));
  EXPECT_TRUE(del(4));
  EXPECT_TRUE(del(3));  // the end goes and the hole before it with it
  EXPECT_EQ(VKL_HashRawCount(t), 3);
  EXPECT_EQ(keys_in_order(t), "0 1 'x'");

  set(2, 22);  // appends again
  set(3, 33);
  EXPECT_EQ(VKL_HashArrayCount(t), 4);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 'x'");

  EXPECT_TRUE(del(1));
  set(1, 11);  // fills the hole
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 'x'");
  EXPECT_EQ(get(1), 11);
}

TEST_F(TableTest, HashDeletesReinsertsAndCompaction) {
  for (int i = 0; i < 1000; ++i) set_field(("k" + std::to_string(i)).c_str(), i);
  set_field("k0", 0);
  EXPECT_TRUE(del_field("k0"));
  set_field("k0", 5);  // a reinserted key goes to the end
  const TObject* key = nullptr;
  VKL_HashGetN(t, 999, &key);
  EXPECT_EQ(key_text(key), "'k0'");
  EXPECT_EQ(VKL_AsInt(VKL_HashGetN(t, 0, &key)), 1);

  for (int i = 1; i < 950; ++i) ASSERT_TRUE(del_field(("k" + std::to_string(i)).c_str()));
  EXPECT_EQ(VKL_HashHashCount(t), 51);
  // Inserting after many deletions squeezes the dead entries out.
  for (int i = 0; i < 200; ++i) set_field(("n" + std::to_string(i)).c_str(), i);
  EXPECT_EQ(VKL_HashHashCount(t), 251);
  EXPECT_LT(VKL_HashRawCount(t), 500);
  for (int i = 950; i < 1000; ++i)
    ASSERT_EQ(VKL_AsInt(VKL_HashGetSZString(t, ("k" + std::to_string(i)).c_str())), i);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(t, "k0")), 5);
  std::string expected = "'k950'";
  for (int i = 951; i < 1000; ++i) expected += " 'k" + std::to_string(i) + "'";
  expected += " 'k0'";
  for (int i = 0; i < 200; ++i) expected += " 'n" + std::to_string(i) + "'";
  EXPECT_EQ(keys_in_order(t), expected);

  // Deleting everything and starting over.
  for (int64_t n = VKL_HashRawCount(t) - 1; n >= 0; --n) {
    const TObject* k = nullptr;
    if (!VKL_HashRawGetN(t, n, &k)) continue;
    TObject copy;
    vkl_put_nil(&copy);
    ASSERT_TRUE(VKL_DupObject(L, &copy, k));
    ASSERT_TRUE(VKL_DeleteField(L, t, &copy));
    VKL_SetNil(L, &copy);
  }
  EXPECT_EQ(VKL_HashCount(t), 0);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
  set_field("again", 1);
  EXPECT_EQ(keys_in_order(t), "'again'");
}

TEST_F(TableTest, KeysMoveFromTheHashPartWhenTheArrayReachesThem) {
  set(3, 3);
  set(1, 1);
  set(2, 2);
  set(5, 5);
  set_field("s", 0);
  EXPECT_EQ(VKL_HashArrayCount(t), 0);
  set(0, 0);  // 1, 2 and 3 follow on; 5 does not
  EXPECT_EQ(VKL_HashArrayCount(t), 4);
  EXPECT_EQ(VKL_HashHashCount(t), 2);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 5 's'");
  set(4, 4);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 's'");
  for (int i = 0; i < 6; ++i) EXPECT_EQ(get(i), i);
  EXPECT_EQ(VKL_HashHashCount(t), 1);

  // After the end is trimmed, higher keys stay in the hash part until the array reaches them.
  EXPECT_TRUE(del(5));
  EXPECT_TRUE(del(4));
  set(9, 9);
  set(5, 5);
  set(4, 4);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 's' 9");
  for (int i = 6; i < 9; ++i) set(i, i);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 6 7 8 9 's'");
  EXPECT_EQ(VKL_HashHashCount(t), 1);
}

TEST_F(TableTest, AppendingTakesTheKeyAfterTheArrayPart) {
  VKL_SetInt(L, VKL_HashAppend(L, t), 10);  // key 0 of an empty table
  set(2, 12);
  set_field("s", 0);
  VKL_SetInt(L, VKL_HashAppend(L, t), 11);  // key 1; key 2 follows on from the hash part
  EXPECT_EQ(keys_in_order(t), "0 1 2 's'");
  EXPECT_EQ(VKL_HashArrayCount(t), 3);
  VKL_SetInt(L, VKL_HashAppend(L, t), 13);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(get(i), 10 + i);
  // A trailing hole is trimmed on deletion, so the next key is the deleted one again.
  EXPECT_TRUE(del(3));
  VKL_SetInt(L, VKL_HashAppend(L, t), 3);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 's'");
  EXPECT_EQ(VKL_HashAppend(L, nullptr), nullptr);
}

const VKL_BoxType counted_type = {
    "counted", [](VKL_State*, void* data) { ++*static_cast<int*>(data); }, nullptr};

TEST_F(TableTest, SharedTablesAreFreedWithTheirLastHolder) {
  int released = 0;
  VKL_SetString(L, VKL_HashSetSZString(L, t, "name"), "value");
  ASSERT_TRUE(VKL_SetBox(L, VKL_HashSetInt(L, t, 0), VKL_TOBJECT, &counted_type, &released));
  VKL_SetHashRef(L, &other, t);
  VKL_SetHashRef(L, &other, t);  // the same table again: still one reference from this cell
  VKL_SetNil(L, &root);
  EXPECT_EQ(released, 0);
  EXPECT_STREQ(VKL_AsString(VKL_HashGetSZString(vkl_table(&other), "name")), "value");
  VKL_SetHashRef(L, &other, nullptr);  // refused: the cell keeps its table
  EXPECT_EQ(other.tag, VKL_TTABLE);

  // A table held by the table itself and by a cell.
  VKL_Table* inner = VKL_NewHash(L, VKL_HashSetSZString(L, t, "inner"));
  VKL_SetHashRef(L, &scratch, inner);
  VKL_SetString(L, VKL_HashSetInt(L, inner, 0), "deep");
  VKL_SetNil(L, &other);
  EXPECT_EQ(released, 1);
  EXPECT_STREQ(VKL_AsString(VKL_HashGetInt(vkl_table(&scratch), 0)), "deep");
  EXPECT_GT(VKL_GetMemUsed(L), 0);
  VKL_GCFreeTable(L, nullptr);
  VKL_Table* held = vkl_table(&scratch);
  vkl_put_nil(&scratch);
  VKL_GCFreeTable(L, held);  // the last reference, let go directly
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

TEST_F(TableTest, AMillionLevelsDeepAreFreedWithoutRecursion) {
  VKL_Table* level = t;
  for (int i = 0; i < 1000000; ++i) {
    VKL_SetString(L, VKL_HashSetSZString(L, level, "tag"), "x");
    level = VKL_NewHash(L, VKL_HashSetSZString(L, level, "next"));
    ASSERT_NE(level, nullptr);
  }
  EXPECT_EQ(VKL_GetMemUsed(L), 1000000 * (4 + 2 + 5));
  VKL_SetNil(L, &root);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

// A table released by a thread-local destructor that runs after the kernel's own thread
// clean-up (made later, so destroyed earlier) is still freed, and freed once.
TEST_F(TableTest, ReleasedDuringThreadExitAfterTheKernelCleanUp) {
  struct Holder {
    VKL_State* state = nullptr;
    TObject cell{};
    ~Holder() { VKL_FreeObjectContent(state, &cell); }
  };
  VKL_State* state = L;
  std::thread([state] {
    thread_local Holder holder;  // constructed first, destroyed last
    holder.state = state;
    vkl_put_nil(&holder.cell);
    TObject warm;
    vkl_put_nil(&warm);
    VKL_NewHash(state, &warm);
    VKL_FreeObjectContent(state, &warm);  // the kernel's clean-up now exists
    VKL_SetString(state, VKL_HashSetInt(state, VKL_NewHash(state, &holder.cell), 0), "kept");
  }).join();
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

TEST_F(TableTest, CountsOfStringKeysAndValuesReturnToStart) {
  const int64_t start = VKL_GetMemUsed(L);
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 500; ++i) {
      const std::string key = "key-" + std::to_string(i);
      VKL_SetString(L, VKL_HashSetSZString(L, t, key.c_str()), key.c_str());
      VKL_SetString(L, VKL_HashSetInt(L, t, i), "v");
    }
    EXPECT_GT(VKL_GetMemUsed(L), start);
    for (int i = 0; i < 500; i += 2) {
      ASSERT_TRUE(del_field(("key-" + std::to_string(i)).c_str()));
      ASSERT_TRUE(del(i));
    }
    ASSERT_TRUE(VKL_DupHash(L, &other, t));
    ASSERT_TRUE(VKL_ObjEqual(&root, &other));
    VKL_SetNil(L, &other);
    for (int i = 1; i < 500; i += 2) {
      ASSERT_TRUE(del_field(("key-" + std::to_string(i)).c_str()));
      ASSERT_TRUE(del(i));
    }
    EXPECT_EQ(VKL_HashCount(t), 0);
    EXPECT_EQ(VKL_GetMemUsed(L), start);
  }
}

TEST_F(TableTest, RunningOutOfMemoryLeavesTheTableAsItWas) {
  set_field("a", 1);
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 3);
  EXPECT_EQ(VKL_HashSetSZString(L, t, "long key"), nullptr);
  EXPECT_NE(VKL_HashSetSZString(L, t, "ab"), nullptr);  // three bytes fit
  EXPECT_EQ(VKL_HashCount(t), 2);
  EXPECT_EQ(keys_in_order(t), "'a' 'ab'");
  // A copy that runs short halfway leaves its target as it was and gives every byte back.
  const int64_t used = VKL_GetMemUsed(L);
  EXPECT_FALSE(VKL_DupHash(L, &scratch, t));
  EXPECT_FALSE(VKL_HashGetFields(L, t, &scratch));
  EXPECT_EQ(scratch.tag, VKL_TNIL);
  EXPECT_EQ(VKL_GetMemUsed(L), used);
  VKL_SetMemLimit(L, -1);
  EXPECT_EQ(VKL_NewHashEx(L, &other, -1, 0), nullptr);
  EXPECT_EQ(other.tag, VKL_TNIL);
  EXPECT_EQ(VKL_NewHashEx(L, &other, 0, int64_t{1} << 62), nullptr);
  EXPECT_EQ(VKL_NewHash(L, nullptr), nullptr);
  ASSERT_NE(VKL_NewHashEx(L, &other, 100, 100), nullptr);
  EXPECT_EQ(VKL_HashCount(vkl_table(&other)), 0);
}

TEST_F(TableTest, NullTablesAndBadArgumentsAreRejected) {
  TObject k;
  vkl_put_int(&k, 1);
  EXPECT_EQ(VKL_HashGet(nullptr, &k), nullptr);
  EXPECT_EQ(VKL_HashGetInt(nullptr, 1), nullptr);
  EXPECT_EQ(VKL_HashGetSZString(nullptr, "a"), nullptr);
  EXPECT_EQ(VKL_HashSet(L, nullptr, &k), nullptr);
  EXPECT_EQ(VKL_HashSetInt64(L, nullptr, 1), nullptr);
  EXPECT_EQ(VKL_HashSetSZString(L, nullptr, "a"), nullptr);
  EXPECT_EQ(VKL_HashCount(nullptr), 0);
  EXPECT_EQ(VKL_HashArrayCount(nullptr), 0);
  EXPECT_EQ(VKL_HashHashCount(nullptr), 0);
  EXPECT_EQ(VKL_HashRawCount(nullptr), 0);
  EXPECT_EQ(VKL_HashRawGetN(nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(VKL_HashGetN(nullptr, 0, nullptr), nullptr);
  int32_t lo = 99, hi = 99;
  EXPECT_EQ(VKL_HashGetBounds(nullptr, &lo, &hi), 0);
  EXPECT_EQ(VKL_HashGetFields(L, nullptr, &other), 0);
  EXPECT_EQ(VKL_NewHashFromHash(L, &other, nullptr), nullptr);
  EXPECT_EQ(VKL_DupHash(L, &other, nullptr), 0);
  EXPECT_EQ(VKL_DupHash(L, nullptr, t), 0);
  EXPECT_EQ(VKL_DeleteField(L, nullptr, &k), 0);
  EXPECT_EQ(VKL_DeleteIndex2(L, nullptr, 0, 1), 0);
  EXPECT_EQ(VKL_QuickSortArray(L, nullptr, 0), 0);
  EXPECT_EQ(VKL_QuickSortTableByField(L, nullptr, &k, 0), 0);
  EXPECT_EQ(VKL_QuickSortTableByField(L, t, nullptr, 0), 0);
  EXPECT_EQ(VKL_Reindex(L, nullptr), 0);
  EXPECT_EQ(VKL_Reshape(L, &other, nullptr, 2), 0);
  EXPECT_EQ(VKL_Reshape(L, &other, t, 0), 0);
  EXPECT_EQ(VKL_ArrayCompleteCheck(nullptr), 0);
  EXPECT_EQ(VKL_IsNNArray(nullptr), 0);
  EXPECT_EQ(VKL_IsNSArray(nullptr), 0);
  EXPECT_EQ(VKL_StaticToVariable(L, nullptr), 0);
  EXPECT_EQ(VKL_ForceTable(L, nullptr, 2), nullptr);
  EXPECT_EQ(VKL_IsStatic(nullptr), 0);
  VKL_SetStatic(nullptr);
  VKL_SetHashRef(L, nullptr, t);
  EXPECT_EQ(other.tag, VKL_TNIL);
  EXPECT_EQ(lo, 99);
}

TEST_F(TableTest, GetNWalksLinearlyOverHolesAndDeadEntries) {
  constexpr int kCount = 200000;
  for (int i = 0; i < kCount; ++i) set(i, i);
  for (int i = 0; i < kCount; ++i) set_field(("s" + std::to_string(i)).c_str(), i);
  for (int i = 0; i < kCount; i += 3) ASSERT_TRUE(del(i));
  for (int i = 0; i < kCount; i += 3) ASSERT_TRUE(del_field(("s" + std::to_string(i)).c_str()));
  // Walking n upwards reuses the previous position (quadratic time would not finish).
  std::vector<const TObject*> by_position;
  for (int64_t pos = 0; pos < VKL_HashRawCount(t); ++pos) {
    if (const TObject* v = VKL_HashRawGetN(t, pos, nullptr)) by_position.push_back(v);
  }
  ASSERT_EQ(static_cast<int64_t>(by_position.size()), VKL_HashCount(t));
  for (int64_t n = 0; n < VKL_HashCount(t); ++n)
    ASSERT_EQ(VKL_HashGetN(t, n, nullptr), by_position[n]);
  // A change invalidates the remembered position.
  const TObject* key = nullptr;
  EXPECT_EQ(VKL_AsInt(VKL_HashGetN(t, 10, &key)), 16);
  ASSERT_TRUE(del(13));
  EXPECT_EQ(VKL_AsInt(VKL_HashGetN(t, 10, &key)), 17);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetN(t, 0, &key)), 1);
}

TEST_F(TableTest, BoundsAndFields) {
  int32_t lo = 99, hi = 99;
  int64_t lo64 = 99, hi64 = 99;
  EXPECT_EQ(VKL_HashGetBounds(t, &lo, &hi), 0);
  EXPECT_EQ(lo, 99);
  for (int i = 0; i < 4; ++i) set(i, i);
  ASSERT_TRUE(del(0));
  set(-5, 0);
  set(int64_t{1} << 40, 0);
  set_field("f1", 0);
  set(int64_t{-1} << 40, 0);
  set_field("f2", 0);
  EXPECT_EQ(VKL_HashGetBounds(t, &lo, &hi), 4);
  EXPECT_EQ(lo, -5);
  EXPECT_EQ(hi, 3);
  EXPECT_EQ(VKL_HashGetBounds64(t, &lo64, &hi64), 6);
  EXPECT_EQ(lo64, int64_t{-1} << 40);
  EXPECT_EQ(hi64, int64_t{1} << 40);
  EXPECT_EQ(VKL_HashGetBounds64(t, nullptr, nullptr), 6);

  ASSERT_TRUE(VKL_HashGetFields(L, t, &other));
  VKL_Table* fields = vkl_table(&other);
  EXPECT_EQ(keys_in_order(fields), "0 1");
  EXPECT_EQ(VKL_HashGetInt(fields, 0)->tag, VKL_TSTRING);
  EXPECT_STREQ(VKL_AsString(VKL_HashGetInt(fields, 1)), "f2");
  EXPECT_TRUE(VKL_IsNSArray(fields));
}

TEST_F(TableTest, CopiesDeepShallowAndToADepth) {
  set_field("n", 1);
  VKL_Table* inner = VKL_NewHash(L, VKL_HashSetSZString(L, t, "inner"));
  VKL_Table* innermost = VKL_NewHash(L, VKL_HashSetInt(L, inner, 0));
  VKL_SetString(L, VKL_HashSetInt(L, innermost, 0), "leaf");
  VKL_SetStatic(&root);

  ASSERT_TRUE(VKL_DupHash(L, &other, t));
  VKL_Table* copy = vkl_table(&other);
  EXPECT_NE(copy, t);
  EXPECT_FALSE(VKL_IsStatic(&other));  // copies are variables
  EXPECT_TRUE(VKL_ObjEqual(&root, &other));
  EXPECT_NE(vkl_table(VKL_HashGetSZString(copy, "inner")), inner);

  ASSERT_TRUE(VKL_DupNewHashFromHash(L, &other, t));
  EXPECT_EQ(vkl_table(VKL_HashGetSZString(vkl_table(&other), "inner")), inner);

  ASSERT_TRUE(VKL_DupHashEx(L, &other, t, 2));
  VKL_Table* two = vkl_table(VKL_HashGetSZString(vkl_table(&other), "inner"));
  EXPECT_NE(two, inner);
  EXPECT_EQ(vkl_table(VKL_HashGetInt(two, 0)), innermost);

  ASSERT_TRUE(VKL_DupHash(L, &other, vkl_table(&other)));  // the target holds the source
  EXPECT_TRUE(VKL_ObjEqual(&root, &other));

  VKL_Table* empty = VKL_NewHashFromHash(L, &scratch, t);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(VKL_HashCount(empty), 0);
}

TEST_F(TableTest, StaticTablesBecomeVariablesOnDemand) {
  set(0, 1);
  VKL_SetString(L, VKL_HashSetSZString(L, t, "s"), "text");
  EXPECT_FALSE(VKL_IsStatic(&root));
  VKL_SetStatic(&root);
  EXPECT_TRUE(VKL_IsStatic(&root));
  VKL_SetHashRef(L, &other, t);  // another holder of the constant

  ASSERT_TRUE(VKL_StaticToVariable(L, &root));
  EXPECT_FALSE(VKL_IsStatic(&root));
  EXPECT_NE(vkl_table(&root), t);
  EXPECT_TRUE(VKL_ObjEqual(&root, &other));
  EXPECT_TRUE(VKL_IsStatic(&other));
  VKL_Table* variable = vkl_table(&root);
  ASSERT_TRUE(VKL_StaticToVariable(L, &root));  // already a variable: kept
  EXPECT_EQ(vkl_table(&root), variable);
  vkl_put_int(&scratch, 3);
  EXPECT_TRUE(VKL_StaticToVariable(L, &scratch));  // no table: nothing to do
  EXPECT_EQ(vkl_int(&scratch), 3);

  // ForceTable through a reference to the constant.
  TObject ref;
  vkl_put_nil(&ref);
  ASSERT_TRUE(VKL_SetRef(L, &ref, &other));
  VKL_Table* forced = VKL_ForceTable(L, &ref, 0);
  ASSERT_NE(forced, nullptr);
  EXPECT_NE(forced, t);
  EXPECT_EQ(vkl_table(&other), forced);
  EXPECT_FALSE(VKL_IsStatic(&other));
  VKL_SetNil(L, &ref);

  EXPECT_EQ(VKL_ForceTable(L, &scratch, 0), nullptr);  // an integer stays
  EXPECT_EQ(vkl_int(&scratch), 3);
  EXPECT_NE(VKL_ForceTable(L, &scratch, 2), nullptr);
  EXPECT_EQ(scratch.tag, VKL_TTABLE);
  VKL_SetNil(L, &scratch);
  VKL_Table* fresh = VKL_ForceTable(L, &scratch, 0);
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(VKL_ForceTable(L, &scratch, 2), fresh);  // an existing table is kept
}

TEST_F(TableTest, DeleteIndexMovesLaterEntriesDown) {
  for (int i = 0; i < 10; ++i) set(i, i);
  set(20, 20);
  set_field("s", 0);
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 2, 3), 3);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 6 20 's'");
  EXPECT_EQ(get(2), 5);
  EXPECT_EQ(get(6), 9);
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 5, 100), 2);  // clipped at the end
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 20 's'");
  EXPECT_EQ(VKL_DeleteIndex2(L, t, -1, 2), 0);
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 5, 1), 0);
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 0, 0), 0);
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 0, INT64_MAX), 5);
  EXPECT_EQ(keys_in_order(t), "20 's'");

  // Holes count as no entry, move down with the rest, and a trailing one is trimmed.
  for (int i = 0; i < 6; ++i) VKL_SetString(L, VKL_HashSetInt(L, t, i), std::to_string(i).c_str());
  ASSERT_TRUE(del(1));
  ASSERT_TRUE(del(4));
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 0, 2), 1);
  EXPECT_EQ(keys_in_order(t), "0 1 3 20 's'");
  EXPECT_STREQ(VKL_AsString(VKL_HashGetInt(t, 3)), "5");
  EXPECT_EQ(VKL_DeleteIndex2(L, t, 3, 1), 1);
  EXPECT_EQ(keys_in_order(t), "0 1 20 's'");
  EXPECT_EQ(VKL_HashRawCount(t), 4);
}

TEST_F(TableTest, SortingArraysIsStableAndClosesHoles) {
  const auto at = [&](int key) { return VKL_HashSetInt(L, t, key); };
  VKL_SetInt(L, at(0), 3);
  VKL_SetString(L, at(1), "b");
  VKL_SetReal(L, at(2), 1.0);
  VKL_SetInt(L, at(3), 9);
  VKL_SetString(L, at(4), "a");
  VKL_SetInt64(L, at(5), 1);
  VKL_SetInt(L, at(6), 1);
  VKL_SetReal(L, at(7), -2.5);
  set_field("s", 0);
  ASSERT_TRUE(del(3));

  ASSERT_TRUE(VKL_QuickSortArray(L, t, 0));
  const auto values = [&] {
    std::string out;
    for (int i = 0; i < VKL_HashArrayCount(t); ++i) {
      const TObject* x = VKL_HashGetInt(t, i);
      out += (i ? " " : "") +
             (VKL_StringCheck(x) ? std::string(VKL_AsString(x))
                                 : std::to_string(VKL_AsDouble(x)).substr(0, 4)) +
             "/" + std::to_string(x->tag);
    }
    return out;
  };
  // Equal numbers keep their order: the real 1, the int64 1, the integer 1.
  EXPECT_EQ(values(), "-2.5/1 1.00/1 1.00/20 1.00/0 3.00/0 a/2 b/2");
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 6 's'");
  ASSERT_TRUE(VKL_QuickSortArray(L, t, 1));
  EXPECT_EQ(values(), "b/2 a/2 3.00/0 1.00/1 1.00/20 1.00/0 -2.5/1");

  // A large array part (in mapped pages) sorts the same way.
  VKL_Table* big = VKL_NewHash(L, &other);
  std::mt19937 random(3);
  for (int i = 0; i < 300000; ++i) VKL_SetInt(L, VKL_HashSetInt(L, big, i), random() % 1000);
  ASSERT_TRUE(VKL_QuickSortArray(L, big, 0));
  for (int i = 1; i < 300000; ++i) {
    ASSERT_LE(VKL_AsInt(VKL_HashGetInt(big, i - 1)), VKL_AsInt(VKL_HashGetInt(big, i)));
  }
}

TEST_F(TableTest, SortingRowsByAField) {
  const auto row = [&](int key, const char* name, double age) {
    VKL_Table* r = VKL_NewHash(L, VKL_HashSetInt(L, t, key));
    VKL_SetString(L, VKL_HashSetSZString(L, r, "name"), name);
    if (!std::isnan(age)) VKL_SetReal(L, VKL_HashSetSZString(L, r, "age"), age);
  };
  row(0, "ann", 40);
  row(1, "bob", 30);
  row(2, "cid", std::nan(""));  // no age
  row(3, "dan", 40);
  set(4, 7);  // not a table
  row(5, "eve", 20);
  const auto names = [&] {
    std::string out;
    for (int i = 0; i < VKL_HashArrayCount(t); ++i) {
      const TObject* x = VKL_HashGetInt(t, i);
      out += (i ? " " : "");
      out += VKL_HashCheck(x) ? VKL_AsString(VKL_HashGetSZString(vkl_table(x), "name")) : "-";
    }
    return out;
  };
  TObject field;
  vkl_put_nil(&field);
  VKL_SetConstString(L, &field, "age");
  ASSERT_TRUE(VKL_QuickSortTableByField(L, t, &field, 0));
  EXPECT_EQ(names(), "cid - eve bob ann dan");
  ASSERT_TRUE(VKL_QuickSortTableByField(L, t, &field, 1));
  EXPECT_EQ(names(), "ann dan bob eve cid -");
  VKL_SetConstString(L, &field, "name");
  ASSERT_TRUE(VKL_QuickSortTableByField(L, t, &field, 1));
  EXPECT_EQ(names(), "eve dan cid bob ann -");
  vkl_put_real(&field, 0.5);
  EXPECT_FALSE(VKL_QuickSortTableByField(L, t, &field, 0));
}

TEST_F(TableTest, ReindexGivesIntegerKeysConsecutiveNumbers) {
  for (int i = 0; i < 3; ++i) set(i, i);
  ASSERT_TRUE(del(1));
  set(10, 10);
  set_field("x", 100);
  set(-5, -5);
  set(int64_t{1} << 40, 40);
  set_field("y", 200);
  ASSERT_TRUE(VKL_Reindex(L, t));
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 'x' 'y'");
  EXPECT_EQ(get(1), 2);
  EXPECT_EQ(get(2), 10);
  EXPECT_EQ(get(3), -5);
  EXPECT_EQ(get(4), 40);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(t, "y")), 200);
  EXPECT_EQ(VKL_HashHashCount(t), 2);
  set(5, 5);  // the array part goes on as usual
  set_field("z", 1);
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 'x' 'y' 'z'");
  EXPECT_TRUE(del_field("x"));
  ASSERT_TRUE(VKL_Reindex(L, t));
  EXPECT_EQ(keys_in_order(t), "0 1 2 3 4 5 'y' 'z'");
}

TEST_F(TableTest, ReshapeMakesRowsAndSharesTables) {
  for (int i = 0; i < 6; ++i) set(i, i);
  VKL_Table* shared = VKL_NewHash(L, VKL_HashSetInt(L, t, 6));
  VKL_SetString(L, VKL_HashSetInt(L, t, 7), "text");
  ASSERT_TRUE(del(2));
  set_field("ignored", 0);
  ASSERT_TRUE(VKL_Reshape(L, &other, t, 3));
  VKL_Table* rows = vkl_table(&other);
  EXPECT_EQ(keys_in_order(rows), "0 1 2");
  const auto row = [&](int r) { return vkl_table(VKL_HashGetInt(rows, r)); };
  EXPECT_EQ(VKL_HashCount(row(0)), 3);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetInt(row(0), 2)), 3);
  EXPECT_EQ(vkl_table(VKL_HashGetInt(row(1), 2)), shared);
  EXPECT_EQ(VKL_HashCount(row(2)), 1);
  EXPECT_STREQ(VKL_AsString(VKL_HashGetInt(row(2), 0)), "text");
  EXPECT_NE(VKL_HashGetInt(row(2), 0), VKL_HashGetInt(t, 7));
  EXPECT_TRUE(VKL_IsNNArray(row(0)));

  ASSERT_TRUE(VKL_Reshape(L, &root, t, 100));  // into the cell holding the source
  EXPECT_EQ(VKL_HashCount(vkl_table(&root)), 1);
  EXPECT_EQ(VKL_HashCount(vkl_table(VKL_HashGetInt(vkl_table(&root), 0))), 7);
  VKL_Table* before = vkl_table(&other);
  EXPECT_FALSE(VKL_Reshape(L, &other, vkl_table(&root), -1));
  EXPECT_EQ(vkl_table(&other), before);
}

TEST_F(TableTest, CompleteArraysOfNumbersAndStrings) {
  EXPECT_TRUE(VKL_ArrayCompleteCheck(t));  // the empty table holds exactly keys 0..-1
  set(0, 1);
  TObject* r = VKL_HashSetInt(L, t, 1);
  VKL_SetReal(L, r, 2.5);
  VKL_SetInt64(L, VKL_HashSetInt(L, t, 2), 3);
  EXPECT_TRUE(VKL_ArrayCompleteCheck(t));
  EXPECT_TRUE(VKL_IsNNArray(t));
  EXPECT_FALSE(VKL_IsNSArray(t));
  VKL_SetString(L, VKL_HashGetInt(t, 1), "s");
  EXPECT_FALSE(VKL_IsNNArray(t));
  set(5, 1);
  EXPECT_FALSE(VKL_ArrayCompleteCheck(t));
  ASSERT_TRUE(del(5));
  ASSERT_TRUE(del(0));
  EXPECT_FALSE(VKL_ArrayCompleteCheck(t));

  VKL_Table* s = VKL_NewHash(L, &other);
  VKL_SetString(L, VKL_HashSetInt(L, s, 0), "a");
  ASSERT_TRUE(VKL_SetType(L, VKL_HashSetInt(L, s, 1), VKL_TSTRING2));
  EXPECT_TRUE(VKL_IsNSArray(s));
  VKL_SetString(L, VKL_HashSetSZString(L, s, "k"), "a");
  EXPECT_FALSE(VKL_IsNSArray(s));
}

}  // namespace
