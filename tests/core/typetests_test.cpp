// Kinds, lengths, construction and paths seen from C++: rejected calls leave the result as it
// was, references and the second string kind, host objects, deep walks that run out of stack.
#include <cstring>
#include <vector>

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

class TypeTests : public CoreTest {};

// Every rejecting path of a few handlers leaves the result as it was.
TEST_F(TypeTests, RejectedCallsLeaveTheResultUntouched) {
  expect_rejected(datatype, {});
  expect_rejected(datatype, {"1", "1", "1"});
  expect_rejected(datatype, {"array(1)", "\"deep\""});
  expect_rejected(getnone, {"0"});
  expect_rejected(getnone, {"none(1)", "1"});
  expect_rejected(setlength, {"\"abc\""});
  expect_rejected(setlength, {"\"abc\"", "\"2\""});
  expect_rejected(setlength, {"\"abc\"", "-1"});
  expect_rejected(setlength, {"array(1, 2)", "1"});
  expect_rejected(creatematrix, {"2"});
  expect_rejected(creatematrix, {"\"2\"", "2"});
  expect_rejected(creatematrix, {"0", "2"});
  expect_rejected(creatematrix, {"2", "-1"});
  expect_rejected(creatematrix, {"2", "2", "nil", "1", "2", "3", "4", "5"});
  expect_rejected(creatematrix, {"1e15", "1e15"});
  expect_rejected(magicgetarray, {"array()"});
  expect_rejected(magicgetarray, {"5", "\"a\""});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "\"a\"", "\"b\""});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array()"});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array(\"a\")", "\"b\""});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array(1: \"a\")"});
  expect_rejected(magicgetarray, {"array(\"a\": 1)", "array(\"a\", nil)"});
  expect_rejected(magicsetarray, {"array()", "\"a\""});
  expect_rejected(magicsetarray, {"nil", "\"a\"", "1"});
  expect_rejected(magicsetarray, {"array(\"a\": 1)", "\"a\"", "\"b\"", "5"});
  expect_rejected(magicsetarray, {"array()", "L\"a\"", "5"});
}

// None values carry a code; scripts cannot write them, so they are tried here.
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

// A fixed matrix reports its element type to a deep datatype and its element count to length.
TEST_F(TypeTests, FixedMatrixKindsAndSizes) {
  set_args({"nil", "1"});
  const int64_t dims[] = {3, 4};
  ASSERT_NE(VKL_CreateFixedMatrix(L, &args[0], VKL_FM_INT64, 2, dims), nullptr);
  expect_answer(datatype, "20");
  vkl_put_int(&args[1], 0);
  expect_answer(datatype, "27");
  drop_last_arg();
  expect_answer(length, "12");
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
  args.resize(2);
  vkl_put_nil(&args[0]);
  vkl_put_nil(&args[1]);
  ASSERT_TRUE(VKL_SetRef(L, &args[0], &target));
  drop_last_arg();

  expect_answer(datatype, "2");
  expect_answer(handler_of("ifstring"), "1");
  expect_answer(ifcache, "1");
  expect_answer(length, "3");

  // setlength writes through the reference into the target.
  args.resize(2);
  vkl_put_int(&args[1], 5);
  expect_answer(setlength, "1");
  EXPECT_EQ(VKL_StringLen(&target), 5);
  EXPECT_STREQ(VKL_AsString(&target), "abc");

  // A table behind a reference is walked by magicsetarray, but magicgetarray takes only a
  // table itself.
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
  set_args({"\"key\"", "nil"});
  args[0].tag = VKL_TSTRING2;
  drop_last_arg();
  expect_answer(handler_of("ifstring"), "1");
  expect_answer(datatype, "6");
  expect_answer(length, "3");
  expect_answer(lengthw, "3");

  TObject table;
  vkl_put_nil(&table);
  ASSERT_TRUE(VKL_StrToObj(L, "array(\"key\": 42)", &table));
  args.insert(args.begin(), table);
  expect_answer(magicgetarray, "42");
}

// Host objects: kind 23 always has a state; kinds 16, 36 and 38 only as script-class instances.
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
  vkl_put_nil(&args[0]);
  for (const Case& c : cases) {
    ASSERT_TRUE(VKL_SetBox(L, &args[0], c.tag, &kHostType, c.object));
    ASSERT_EQ(call(objectstate), 1);
    EXPECT_EQ(vkl_int(&result), c.expected) << "kind " << c.tag;
    ASSERT_EQ(call(handler_of("ifobj")), 1);
    EXPECT_EQ(vkl_int(&result), 1) << "kind " << c.tag;
  }
}

// Tables nested far deeper than the stack allows: the deep walks and the copy fail the call,
// leave the result alone and give back what they built.
TEST_F(TypeTests, MillionLevelNestingFailsCleanly) {
  args.resize(2);
  vkl_put_nil(&args[0]);
  VKL_Table* level = VKL_NewHash(L, &args[0]);
  for (int i = 0; i < 1000000; ++i) level = VKL_NewHash(L, VKL_HashSetInt(L, level, 0));
  vkl_put_int(&args[1], 1);
  expect_rejected_now(datatype);
  expect_rejected_now(handler_of("ifint"));
  expect_rejected_now(ifcache);

  // A bounded walk only goes as deep as asked.
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
  // Only the walk to a fixed depth terminates.
  vkl_put_int(&args[1], -2);
  expect_answer(datatype, "array(0, 2, \"self\": array(0, 2, \"self\": 5))");
  // Break the cycle so the table can go.
  TObject key;
  vkl_put_nil(&key);
  ASSERT_TRUE(VKL_SetString(L, &key, "self"));
  EXPECT_EQ(VKL_DeleteField(L, t, &key), 1);
  VKL_FreeObjectContent(L, &key);
}

}  // namespace
