// The coded-function driver: what the routine is shown, and what a rejected call leaves.
#include <vkl/coded.h>

#include <cstring>

#include "interp_fixture.h"

namespace {

// Answers args[0] * 10 + args[1] (or + 0 with one input); counts its calls.
int g_calls = 0;
int scale(VKL_State* L, TObject* args, TObject* result, int code) {
  ++g_calls;
  double v = VKL_AsDouble(vkl_follow(&args[0])) * 10 + code;
  if (code == 1) v += VKL_AsDouble(vkl_follow(&args[1]));
  if (v < 0) return 0;
  VKL_SetReal(L, result, v);
  return 1;
}

// One input, two outputs: the input's double and triple; no result.
int twice_thrice(VKL_State* L, TObject* args, TObject*, int) {
  const double v = VKL_AsDouble(vkl_follow(&args[0]));
  VKL_SetReal(L, vkl_follow(&args[1]), v * 2);
  VKL_SetReal(L, vkl_follow(&args[2]), v * 3);
  return 1;
}

constexpr int32_t kTextThenNumber[] = {VKL_ARG_ANY_STRING, VKL_ARG_NUMBER};
constexpr double kDefaults[] = {0, 7};

constexpr VKL_CodedDescriptor kOneNumber = {0, 0, 0, nullptr, 1, 1, 0, 0, scale, 1};
constexpr VKL_CodedDescriptor kTwoNumbers = {1, 0, 0, nullptr, 1, 2, 0, 0, scale, 1};
constexpr VKL_CodedDescriptor kOptionalSecond = {1, 0, 0, nullptr, 1, 2, 0, 0, scale, 1,
                                                 kDefaults, 1, 2};
constexpr VKL_CodedDescriptor kTextNumber = {0, 0, 0, kTextThenNumber, 1, 2, 0, 0, scale, 0};
constexpr VKL_CodedDescriptor kOutputs = {0, 0, 0, nullptr, 0, 1, 2, 0, twice_thrice, 1};

class CodedTest : public InterpTest {
 protected:
  // Calls the driver with cells[0..nargs) into cells[5]; the result must stay as it was when
  // the call is rejected.
  int call(const VKL_CodedDescriptor& d, int nargs) {
    TObject before;
    std::memcpy(&before, &cells[5], sizeof before);
    const int ok = sys_anydoubleparam(L, cells, nargs, &cells[5], &d);
    if (!ok) {
      EXPECT_EQ(std::memcmp(&before, &cells[5], sizeof before), 0) << "result touched";
    }
    return ok;
  }
  void number(int i, double v) { VKL_SetReal(L, &cells[i], v); }
};

TEST_F(CodedTest, ChecksCountAndKindsBeforeCallingTheRoutine) {
  VKL_SetString(L, &cells[5], "untouched");
  number(0, 1);
  number(1, 2);
  g_calls = 0;
  EXPECT_EQ(call(kOneNumber, 2), 0);
  EXPECT_EQ(call(kTwoNumbers, 1), 0);
  EXPECT_EQ(call(kTextNumber, 2), 0) << "a number where a string belongs";
  text(0, "x");
  EXPECT_EQ(call(kOneNumber, 1), 0) << "a string where a number belongs";
  EXPECT_EQ(g_calls, 0);
  EXPECT_EQ(call(kTextNumber, 2), 1);
  VKL_SetWString(L, &cells[0], u"w");
  EXPECT_EQ(call(kTextNumber, 2), 1);
  VKL_SetBin(L, &cells[0], "b", 1);
  EXPECT_EQ(call(kTextNumber, 2), 1) << "a binary counts as narrow bytes";
  // a reference is followed
  number(2, 4);
  VKL_SetRef(L, &cells[0], &cells[2]);
  ASSERT_EQ(call(kOneNumber, 1), 1);
  EXPECT_EQ(vkl_real(&cells[5]), 40);
}

TEST_F(CodedTest, OptionalInputsTakeTheirDefaults) {
  number(0, 2);
  ASSERT_EQ(call(kOptionalSecond, 1), 1);
  EXPECT_EQ(vkl_real(&cells[5]), 28);  // 2 * 10 + 1 + default 7
  number(1, 3);
  ASSERT_EQ(call(kOptionalSecond, 2), 1);
  EXPECT_EQ(vkl_real(&cells[5]), 24);
  EXPECT_EQ(call(kOptionalSecond, 0), 0);
  EXPECT_EQ(call(kOptionalSecond, 3), 0);
}

TEST_F(CodedTest, OutputsAreWrittenIntoTheirArgumentCells) {
  number(0, 2);
  VKL_SetNil(L, &cells[1]);
  number(3, 0);
  VKL_SetRef(L, &cells[2], &cells[3]);
  ASSERT_EQ(call(kOutputs, 3), 1);
  EXPECT_EQ(vkl_real(&cells[1]), 4);
  EXPECT_EQ(vkl_real(&cells[3]), 6) << "an output reference writes its target";
  EXPECT_EQ(call(kOutputs, 1), 0) << "outputs are counted";
  VKL_NewHash(L, &cells[0]);
  EXPECT_EQ(call(kOutputs, 3), 0) << "no element-wise walk with outputs";
}

TEST_F(CodedTest, TableFirstArgumentIsWalkedWithKeysKept) {
  VKL_Table* t = VKL_NewHash(L, &cells[0]);
  VKL_SetReal(L, VKL_HashSetInt(L, t, 0), 1);
  VKL_SetInt(L, VKL_HashSetInt(L, t, 1), 2);
  VKL_Table* inner = VKL_NewHash(L, VKL_HashSetSZString(L, t, "k"));
  VKL_SetReal(L, VKL_HashSetInt(L, inner, 5), 3);
  number(1, 0.5);
  ASSERT_EQ(call(kTwoNumbers, 2), 1);
  ASSERT_EQ(cells[5].tag, VKL_TTABLE);
  const VKL_Table* r = vkl_table(&cells[5]);
  EXPECT_EQ(VKL_HashCount(r), 3);
  EXPECT_EQ(VKL_AsDouble(VKL_HashGetInt(r, 0)), 11.5);
  EXPECT_EQ(VKL_AsDouble(VKL_HashGetInt(r, 1)), 21.5);
  const TObject* k = VKL_HashGetSZString(r, "k");
  ASSERT_TRUE(k && k->tag == VKL_TTABLE);
  EXPECT_EQ(VKL_AsDouble(VKL_HashGetInt(vkl_table(k), 5)), 31.5);
  EXPECT_EQ(cells[1].tag, VKL_TREAL) << "the other arguments are as given";
  EXPECT_EQ(cells[0].tag, VKL_TTABLE);
}

TEST_F(CodedTest, AFailingElementLeavesTheResultUntouched) {
  VKL_SetString(L, &cells[5], "untouched");
  VKL_Table* t = VKL_NewHash(L, &cells[0]);
  VKL_SetReal(L, VKL_HashSetInt(L, t, 0), 1);
  VKL_SetString(L, VKL_HashSetInt(L, t, 1), "not a number");
  EXPECT_EQ(call(kOneNumber, 1), 0);
  VKL_SetReal(L, VKL_HashSetInt(L, t, 1), -5);
  EXPECT_EQ(call(kOneNumber, 1), 0) << "the routine refused an element";
  // a table holding itself ends in the stack check, not a crash
  VKL_SetHashRef(L, VKL_HashSetInt(L, t, 1), t);
  EXPECT_EQ(call(kOneNumber, 1), 0);
  VKL_SetNil(L, VKL_HashSetInt(L, t, 1));  // break the cycle so the table can go
}

}  // namespace
