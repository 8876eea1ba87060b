// Resizing and building strings, binaries and tables seen from C++: which buffer a cell ends up
// with, the payload count, and what stays behind when a path store fails.
#include <cstring>

#include "core/typetests.h"
#include "core_fixture.h"

namespace {

using namespace vkl::core;

class Introspection : public CoreTest {
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
    vkl_put_nil(&args[0]);
    vkl_put_ptr(&args[0], tag, buffer);
    vkl_put_len(&args[0], stored_len);
    vkl_put_owned(&args[0], 0);
  }
};

TEST_F(Introspection, SetLengthOfOwnedStringsResizesInPlaceAndCounts) {
  set_args({"\"abc\""});
  resize(6);
  EXPECT_EQ(vkl_len(&args[0]), 7);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "abc\0\0\0\0", 7), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 7);
  resize(1);
  EXPECT_STREQ(VKL_AsString(&args[0]), "a");
  EXPECT_EQ(vkl_len(&args[0]), 2);

  set_args({"L\"ab\""});
  resize(4);
  EXPECT_EQ(VKL_WStringLen(&args[0]), 4);
  EXPECT_EQ(std::memcmp(VKL_AsWString(&args[0]), u"ab\0\0", 5 * sizeof(vkl_wchar)), 0);
}

TEST_F(Introspection, SetLengthOfBorrowedTextsCopiesUpToTheFirstZero) {
  static const char text[] = "ab\0cd";  // stored length 6 counts the terminating zero
  borrow(VKL_TSTRING, text, 6);
  resize(8);
  EXPECT_EQ(vkl_owned(&args[0]), 1);
  EXPECT_NE(vkl_ptr(&args[0]), static_cast<const void*>(text));
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "ab\0\0\0\0\0\0\0", 9), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 9);
  EXPECT_EQ(std::memcmp(text, "ab\0cd", 6), 0);

  // Shrinking keeps the first n bytes, embedded zeros included.
  borrow(VKL_TSTRING2, text, 6);
  resize(4);
  EXPECT_EQ(args[0].tag, VKL_TSTRING2);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "ab\0c", 5), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 5);

  static const vkl_wchar wide[] = u"x\0y";
  borrow(VKL_TWSTRING, wide, 4);
  resize(5);
  EXPECT_EQ(std::memcmp(VKL_AsWString(&args[0]), u"x\0\0\0\0", 6 * sizeof(vkl_wchar)), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 12);
}

TEST_F(Introspection, SetLengthOfBinariesKeepsTheExtraZeroByte) {
  set_args({"b\"\\x01\\x02\\x03\""});
  resize(5);
  EXPECT_EQ(vkl_len(&args[0]), 5);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "\x01\x02\x03\0\0\0", 6), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 6);

  static const char bytes[] = "wxyz";
  borrow(VKL_TBINARY, bytes, 4);
  resize(2);
  EXPECT_EQ(vkl_owned(&args[0]), 1);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "wx\0", 3), 0);
  borrow(VKL_TBINARY, bytes, 4);
  resize(6);
  EXPECT_EQ(std::memcmp(VKL_AsString(&args[0]), "wxyz\0\0\0", 7), 0);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 7);
}

TEST_F(Introspection, SetLengthThatCannotGrowAnswersZero) {
  set_args({"\"abc\"", "1000"});
  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 100);
  expect_answer(setlength, "0");
  EXPECT_STREQ(VKL_AsString(&args[0]), "abc");
  VKL_SetMemLimit(L, -1);

  // A fixed matrix takes a negative size to the kernel, which refuses it.
  clear_args();
  args.resize(2);
  vkl_put_nil(&args[0]);
  const int64_t dims[] = {2, 3};
  ASSERT_NE(VKL_CreateFixedMatrix(L, &args[0], VKL_FM_DOUBLE, 2, dims), nullptr);
  vkl_put_int(&args[1], -1);
  expect_answer(setlength, "0");
  vkl_put_int(&args[1], 4);
  ASSERT_EQ(call(setlength), 1);
  EXPECT_EQ(VKL_FMGetCount(static_cast<const VKL_FixedMatrix*>(vkl_ptr(&args[0]))), 12);
}

TEST_F(Introspection, CreateBinaryCountsItsBufferAndRespectsTheLimit) {
  set_args({"10"});
  ASSERT_EQ(call(createbinary), 1);
  EXPECT_EQ(result.tag, VKL_TBINARY);
  EXPECT_EQ(vkl_len(&result), 10);
  EXPECT_EQ(VKL_GetMemUsed(L) - baseline, 11);
  EXPECT_EQ(std::memcmp(VKL_AsString(&result), "\0\0\0\0\0\0\0\0\0\0\0", 11), 0);

  VKL_SetMemLimit(L, VKL_GetMemUsed(L) + 5);
  VKL_FreeObjectContent(L, &result);
  set_args({"100"});
  expect_rejected_now(createbinary);
  VKL_SetMemLimit(L, -1);
}

TEST_F(Introspection, MagicSetArrayKeepsTablesMadeBeforeAFailure) {
  set_args({"array()", "\"a\"", "1.5", "5"});
  ASSERT_EQ(call(magicsetarray), 0);
  TObject* made = VKL_HashGetSZString(vkl_table(&args[0]), "a");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->tag, VKL_TTABLE);
  EXPECT_EQ(VKL_HashCount(vkl_table(made)), 0);

  // The same path in a table works once the bad key is replaced.
  VKL_SetInt(L, &args[2], 1);
  ASSERT_EQ(call(magicsetarray), 1);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetInt(vkl_table(made), 1)), 5);
}

TEST_F(Introspection, MagicSetArrayOnAConstantTableChangesAVariableCopy) {
  set_args({"array(\"a\": array(\"b\": 1))", "array(\"a\", \"b\")", "2"});
  VKL_SetStatic(&args[0]);
  VKL_Table* constant = vkl_table(&args[0]);
  TObject keep;
  vkl_put_nil(&keep);
  VKL_SetHashRef(L, &keep, constant);
  ASSERT_EQ(call(magicsetarray), 1);
  EXPECT_NE(vkl_table(&args[0]), constant);
  EXPECT_FALSE(VKL_IsStatic(&args[0]));
  EXPECT_EQ(
      VKL_AsInt(VKL_HashGetSZString(vkl_table(VKL_HashGetSZString(vkl_table(&args[0]), "a")), "b")),
      2);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(vkl_table(VKL_HashGetSZString(constant, "a")), "b")), 1);
  VKL_FreeObjectContent(L, &keep);
}

}  // namespace
