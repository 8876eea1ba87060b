// The matrix handlers as only C++ sees them: an output the rules leave alone keeps its exact
// cell, and every payload is released (the fixture checks the state's count on the way out).
// The torture test checks the result cell of every rejected call.
#include <vkl/matrix.h>

#include <cstring>

#include "methods/dense_algebra.h"
#include "tests/core/core_fixture.h"

// The product test asks for far more memory than the machine has; under the address sanitizer
// that must come back as a null pointer, as it does from the plain allocator.
#if defined(__SANITIZE_ADDRESS__)
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
#endif

namespace {

using namespace vkl::methods;

class HandlerTest : public CoreTest {
 protected:
  // A string in argument i whose cell must come through the call unchanged.
  void mark_untouched(size_t i) {
    ASSERT_TRUE(VKL_SetString(L, &args[i], "kept"));
    kept = args[i];
  }
  void expect_untouched(size_t i) {
    EXPECT_EQ(std::memcmp(&kept, &args[i], sizeof kept), 0);
    EXPECT_STREQ(VKL_AsString(&args[i]), "kept");
  }
  TObject kept;
};

TEST_F(HandlerTest, RejectedCallsLeaveTheOutputsAlone) {
  set_args({"array(array(1, 2), array(3))", "nil", "nil"});
  mark_untouched(1);
  EXPECT_EQ(call(mt_decompose_qr), 0);
  expect_untouched(1);
  set_args({"array(array(1))", "nil", "nil", "\"economy\""});
  mark_untouched(2);
  EXPECT_EQ(call(mt_decompose_qr), 0);
  expect_untouched(2);
}

TEST_F(HandlerTest, EmptyFactorGivesAnEmptyTableAndLeavesTheProductAlone) {
  set_args({"array()", "array(array(1, 2))", "nil"});
  mark_untouched(2);
  ASSERT_EQ(call(mt_multiplication), 1);
  expect_result_text("array()");
  expect_untouched(2);
}

TEST_F(HandlerTest, ProductWithoutMemoryLeavesTheOutputAlone) {
  // 2^17 x 1 by 1 x 2^17: the product needs 128 GiB.
  constexpr int32_t n = 1 << 17;
  std::vector<double> ones(n, 1.0);
  set_args({"nil", "nil", "nil"});
  ASSERT_TRUE(VKL_NewHashEx(L, &args[0], n, 0));
  ASSERT_TRUE(DoubleArrayToHash(L, vkl_table(&args[0]), ones.data(), n, 1));
  ASSERT_TRUE(VKL_NewHashEx(L, &args[1], 1, 0));
  ASSERT_TRUE(DoubleArrayToHash(L, vkl_table(&args[1]), ones.data(), 1, n));
  mark_untouched(2);
  ASSERT_EQ(call(mt_multiplication), 1);
  expect_result_text("-1");
  expect_untouched(2);
}

TEST_F(HandlerTest, FailedDecompositionEmptiesEveryOutputAndReleasesWhatTheyHeld) {
  set_args({"array(array(0, 1), array(1, 0))", "\"old L\"", "\"old D\""});
  ASSERT_EQ(call(mt_decompose_ldl), 1);
  expect_result_text("1006");
  EXPECT_EQ(args[1].tag, VKL_TNIL);
  EXPECT_EQ(args[2].tag, VKL_TNIL);
}

TEST_F(HandlerTest, PivotListHoldsIntegers) {
  set_args({"array(array(1, 2), array(2, 9))", "nil", "nil", "1"});
  ASSERT_EQ(call(mt_decompose_ldl), 1);
  expect_result_text("0");
  char* text = VKL_ObjToStr(L, &args[2], 1);
  EXPECT_STREQ(text, "array(array(9.0, 0.5555555555555556), array(1, 0))");
  VKL_Free(text);
}

}  // namespace
