// Kinds, sizes, construction and paths seen from C++: values a script cannot make (none values,
// references, the second string kind, host objects, fixed matrices, constant tables, borrowed
// buffers), the payload count, rejected calls that leave the result as it was, and deep walks
// that run out of stack.
#include <cstring>

#include "core/typetests.h"
#include "core_fixture.h"

namespace {

using namespace vkl::core;

// The handler the type-test table gives a name.
VKL_Handler handler_of(const char* name) {
  for (const vkl::plugin::FunctionRow& row : vkl::plugin::kTypeTestRows)
    if (std::strcmp(row.name, name) == 0) return row.handler;
  ADD_FAILURE() << name << " is not in the table";
  return nullptr;
}

class TypeTests : public CoreTest {
 protected:
  // setlength(args[0], n) answering 1.
  void resize(int64_t n) {
    args.resize(2);
    VKL_SetInt64(L, &args[1], n);
    expect_answer(setlength, "1");
  }
  // args[0] becomes a cell of kind `tag` over a buffer it does not own.
  void borrow(int tag, const void* buffer, int32_t stored_len) {
    clear_args();
    args.resize(1);
    vkl_put_ptr(&args[0], tag, buffer);
    vkl_put_len(&args[0], stored_len);
    vkl_put_owned(&args[0], 0);
  }
};

// Longer argument lists whose rejection comes after some of the work.
TEST_F(TypeTests, RejectedCallsLeaveTheResultUntouched) {
  expect_rejected(datatype, {"1", "1", "1"});
  expect_rejected(creatematrix, {"2", "2", "nil", "1", "2", "3", "4", "5"});
  expect_rejected(creatematrix, {"1e15", "1e15"});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "\"a\"", "\"b\""});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array(\"a\")", "\"b\""});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array(\"a\", nil)"});
  expect_rejected(magicsetarray, {"nil", "\"a\"", "1"});
  expect_rejected(magicsetarray, {"array(\"a\": 1)", "\"a\"", "\"b\"", "5"});
  expect_rejected(magicsetarray, {"array()", "L\"a\"", "5"});
}

TEST_F(TypeTests, NoneValuesReadAsKindMinusOne) {
  set_args({"none(5)"});
  expect_answer(getnone, "5");
  set_args({"array(none(5), 1)", "1"});
  expect_answer(datatype, "array(-1, 0)");
  expect_answer(ifnone, "0");
  set_args({"none(5)", "5"});
  expect_answer(ifnone, "1");
  set_args({"none(5)", "4"});
  expect_answer(ifnone, "0");
}

// A deep datatype gives the element type, length the element count; setlength hands a
// negative size on to the kernel, which refuses it.
TEST_F(TypeTests, FixedMatrixKindsAndSizes) {
  set_args({"nil", "1"});
  const int64_t dims[] = {3, 4};
  ASSERT_NE(VKL_CreateFixedMatrix(L, &args[0], VKL_FM_INT64, 2, dims), nullptr);
  expect_answer(datatype, "20");
  vkl_put_int(&args[1], 0);
  expect_answer(datatype, "27");
  vkl_put_int(&args[1], -1);
  expect_answer(setlength, "0");
  resize(5);
  drop_last_arg();
  expect_answer(length, "20");
}

TEST_F(TypeTests, CreateMatrixFillsRowByRow) {
  set_args({"2", "2", "array(\"a\", \"b\", \"extra\")", "1", "\"two\"", "array(3)"});
  ASSERT_EQ(call(creatematrix), 1);
  ASSERT_EQ(result.tag, VKL_TMATRIX);
  const auto* m = static_cast<const VKL_Matrix*>(vkl_ptr(&result));
  EXPECT_STREQ(VKL_AsString(VKL_Matrix_Get(m, -1, 1)), "b");
  EXPECT_EQ(VKL_AsInt(VKL_Matrix_Get(m, 0, 0)), 1);
  EXPECT_STREQ(VKL_AsString(VKL_Matrix_Get(m, 0, 1)), "two");
  EXPECT_EQ(VKL_Matrix_Get(m, 1, 0)->tag, VKL_TTABLE);
  EXPECT_EQ(VKL_Matrix_Get(m, 1, 1)->tag, VKL_TNIL);
}

// A reference argument answers as the value it refers to, except for ifcache.
TEST_F(TypeTests, ReferenceArgumentsBehaveAsTheirTarget) {
  TObject target;
  vkl_put_nil(&target);
  ASSERT_TRUE(VKL_StrToObj(L, "\"abc\"", &target));
  args.resize(1);
  ASSERT_TRUE(VKL_SetRef(L, &args[0], &target));
  expect_answer(datatype, "2");
  expect_answer(handler_of("ifstring"), "1");
  expect_answer(ifcache, "1");
  expect_answer(length, "3");
  // setlength writes through the reference into the target.
  resize(5);
  EXPECT_EQ(VKL_StringLen(&target), 5);
  EXPECT_STREQ(VKL_AsString(&target), "abc");

  // magicsetarray walks a table behind a reference; magicgetarray takes only a table itself.
  ASSERT_TRUE(VKL_StrToObj(L, "array()", &target));
  ASSERT_TRUE(VKL_StrToObj(L, "\"k\"", &args[1]));
  args.resize(3);
  vkl_put_int(&args[2], 9);
  ASSERT_EQ(call(magicsetarray), 1);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(vkl_table(&target), "k")), 9);
  drop_last_arg();
  expect_rejected_now(magicgetarray);
  clear_args();
  VKL_FreeObjectContent(L, &target);
}

// Kind 6 strings are strings everywhere kind 2 ones are.
TEST_F(TypeTests, SecondStringKindIsAString) {
  set_args({"\"key\""});
  args[0].tag = VKL_TSTRING2;
  expect_answer(handler_of("ifstring"), "1");
  expect_answer(datatype, "6");
  expect_answer(length, "3");
  expect_answer(lengthw, "3");
  args.insert(args.begin(), TObject{});
  ASSERT_TRUE(VKL_StrToObj(L, "array(\"key\": 42)", &args[0]));
  expect_answer(magicgetarray, "42");
}

// Kind 23 always has a state; kinds 16, 36 and 38 only as script-class instances.
TEST_F(TypeTests, ObjectStateOfHostObjects) {
  static const VKL_BoxType kHostType = {"host object", nullptr, nullptr};
  VKL_HostObject script{"vklobject", 7};
  VKL_HostObject other{"TOther", 8};
  struct Case {
    int tag;
    VKL_HostObject* object;
    int expected;
  };
  const Case cases[] = {
      {VKL_TOBJECT23, &other, 8},   {VKL_TOBJECT23, nullptr, -1}, {VKL_TOBJECT16, &script, 7},
      {VKL_TOBJECT36, &script, 7},  {VKL_TOBJECT38, &script, 7},  {VKL_TOBJECT16, &other, -1},
      {VKL_TOBJECT38, nullptr, -1}, {VKL_TOBJECT37, &script, -1}, {VKL_TOBJECT, &script, -1},
  };
  args.resize(1);
  for (const Case& c : cases) {
    ASSERT_TRUE(VKL_SetBox(L, &args[0], c.tag, &kHostType, c.object));
    ASSERT_EQ(call(objectstate), 1);
    EXPECT_EQ(vkl_int(&result), c.expected) << "kind " << c.tag;
    ASSERT_EQ(call(handler_of("ifobj")), 1);
    EXPECT_EQ(vkl_int(&result), 1) << "kind " << c.tag;
  }
}

// Nesting far deeper than the stack allows fails the deep walks and the copy, leaving the
// result alone and giving back what they built; a bounded walk only goes as deep as asked.
TEST_F(TypeTests, MillionLevelNestingFailsCleanly) {
  args.resize(2);
  VKL_Table* level = VKL_NewHash(L, &args[0]);
  for (int i = 0; i < 1000000; ++i) level = VKL_NewHash(L, VKL_HashSetInt(L, level, 0));
  vkl_put_int(&args[1], 1);
  expect_rejected_now(datatype);
  expect_rejected_now(handler_of("ifint"));
  expect_rejected_now(ifcache);
  vkl_put_int(&args[1], -2);
  expect_answer(handler_of("ifarray"), "array(array(1))");
  drop_last_arg();
  expect_rejected_now(dupvalue);
}

TEST_F(TypeTests, TableHoldingItselfFailsCleanly) {
  set_args({"array(1, \"s\")", "1"});
  VKL_Table* t = vkl_table(&args[0]);
  VKL_SetHashRef(L, VKL_HashSetSZString(L, t, "self"), t);
  expect_rejected_now(datatype);
  vkl_put_int(&args[1], -2);
  expect_answer(datatype, "array(0, 2, \"self\": array(0, 2, \"self\": 5))");
  VKL_FreeObjectContent(L, VKL_HashGetSZString(t, "self"));  // break the cycle
}

// Owned payloads are resized in place; the payload count follows, terminating zero included.
TEST_F(TypeTests, SetLengthOfOwnedPayloadsCounts) {
  struct Case {
    const char* literal;
    int64_t n;
    const char* bytes;
    int64_t size;
  };
  const Case cases[] = {
      {"\"abc\"", 6, "abc\0\0\0\0", 7},
      {"\"abc\"", 1, "a\0", 2},
      {"L\"ab\"", 4, "a\0b\0\0\0\0\0\0\0", 10},
      {"b\"\\x01\\x02\\x03\"", 5, "\x01\x02\x03\0\0\0", 6},
  };
  for (const Case& c : cases) {
    set_args({c.literal});
    resize(c.n);
    EXPECT_EQ(std::memcmp(vkl_ptr(&args[0]), c.bytes, c.size), 0) << c.literal;
    EXPECT_EQ(VKL_GetMemUsed(L) - baseline, c.size) << c.literal;
  }

  set_args({"\"abc\"", "1000"});
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 100);
  expect_answer(setlength, "0");
  EXPECT_STREQ(VKL_AsString(&args[0]), "abc");
  VKL_SetMemLimit(L, -1);
}

// A borrowed text becomes an owned copy: growing copies up to the first zero, shrinking keeps
// the first n characters, embedded zeros included; the borrowed buffer stays as it was.
TEST_F(TypeTests, SetLengthOfBorrowedTextsCopiesUpToTheFirstZero) {
  static const char text[] = "ab\0cd";  // stored length 6 counts the terminating zero
  borrow(VKL_TSTRING, text, 6);
  resize(8);
  EXPECT_EQ(vkl_owned(&args[0]), 1);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "ab\0\0\0\0\0\0\0", 9), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 9);
  EXPECT_EQ(std::memcmp(text, "ab\0cd", 6), 0);

  borrow(VKL_TSTRING2, text, 6);
  resize(4);
  EXPECT_EQ(args[0].tag, VKL_TSTRING2);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "ab\0c", 5), 0);

  static const vkl_wchar wide[] = u"x\0y";
  borrow(VKL_TWSTRING, wide, 4);
  resize(5);
  EXPECT_EQ(std::memcmp(VKL_AsWString(&args[0]), u"x\0\0\0\0", 6 * sizeof(vkl_wchar)), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 12);
}

TEST_F(TypeTests, CreateBinaryCountsItsBufferAndRespectsTheLimit) {
  set_args({"10"});
  ASSERT_EQ(call(createbinary), 1);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 11);
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 5);  // room for "untouched", not for 10 more bytes
  VKL_FreeObjectContent(L, &result);
  expect_rejected_now(createbinary);
  VKL_SetMemLimit(L, -1);
}

// A constant table is left alone: magicsetarray changes a variable copy in the cell.
TEST_F(TypeTests, MagicSetArrayOnAConstantTableChangesAVariableCopy) {
  set_args({"array(\"a\": array(\"b\": 1))", "array(\"a\", \"b\")", "2"});
  VKL_SetStatic(&args[0]);
  TObject constant;
  vkl_put_nil(&constant);
  VKL_SetHashRef(L, &constant, vkl_table(&args[0]));
  ASSERT_EQ(call(magicsetarray), 1);
  EXPECT_FALSE(VKL_IsStatic(&args[0]));
  drop_last_arg();
  expect_answer(magicgetarray, "2");
  VKL_FreeObjectContent(L, &args[0]);
  args[0] = constant;
  expect_answer(magicgetarray, "1");
}

}  // namespace
