// The process-wide function registry. Every test uses names of its own, since registrations
// outlive a test.
#include <string>

#include "interp_fixture.h"

namespace {

int handler_a(VKL_State*, TObject*, int, TObject*) { return 1; }
int handler_b(VKL_State*, TObject*, int, TObject*) { return 0; }

int64_t index_of(const char* name) {
  for (int64_t i = 0; i < VKL_FunctionCount(); ++i) {
    if (std::string(VKL_FunctionName(i)) == name) return i;
  }
  return -1;
}

}  // namespace

TEST(Registry, NamesAreFoldedToLowerCase) {
  ASSERT_EQ(vklL_register(nullptr, "Reg_MixedCase", handler_a), 1);
  EXPECT_EQ(VKL_FindFunction("REG_MIXEDCASE", -1), &handler_a);
  // An explicit length looks at that many bytes only; a long name is found as well.
  EXPECT_EQ(VKL_FindFunction("reg_mixedcase(1, 2)", 13), &handler_a);
  EXPECT_EQ(VKL_FindFunction("reg_mixedcase", 12), nullptr);
  EXPECT_STREQ(VKL_FunctionName(index_of("reg_mixedcase")), "reg_mixedcase");
  const std::string longer = "Reg_" + std::string(100, 'L');
  ASSERT_EQ(vklL_register(nullptr, longer.c_str(), handler_b), 1);
  EXPECT_EQ(VKL_FindFunction(("reg_" + std::string(100, 'l')).c_str(), -1), &handler_b);

  // In code page 936, 0x81 0x41 is one character whose trail byte is an 'A': kept as it is.
  ASSERT_EQ(VKL_GetCodePage(), 936);
  ASSERT_EQ(vklL_register(nullptr, "reg_X\x81\x41", handler_a), 1);
  EXPECT_EQ(VKL_FindFunction("reg_x\x81\x41", -1), &handler_a);
  EXPECT_EQ(VKL_FindFunction("reg_x\x81\x61", -1), nullptr);
}

TEST(Registry, ReplacementKeepsFirstPlaceAndTakesNewFlags) {
  ASSERT_EQ(vklL_registerEx(nullptr, "reg_first", handler_a, 0, 1), 1);
  int f1 = -1, f2 = -1;
  ASSERT_EQ(VKL_FunctionFlags("Reg_First", &f1, &f2), 1);
  EXPECT_EQ(f1, 0);
  EXPECT_EQ(f2, 1);
  ASSERT_EQ(vklL_register(nullptr, "reg_second", handler_a), 1);
  const int64_t count = VKL_FunctionCount();
  const int64_t first = index_of("reg_first");

  ASSERT_EQ(vklL_register(nullptr, "REG_FIRST", handler_b), 1);
  EXPECT_EQ(VKL_FunctionCount(), count);
  EXPECT_EQ(index_of("reg_first"), first);
  EXPECT_LT(first, index_of("reg_second"));
  EXPECT_EQ(VKL_FindFunction("reg_first", -1), &handler_b);
  ASSERT_EQ(VKL_FunctionFlags("reg_first", &f1, &f2), 1);
  EXPECT_EQ(f2, 0);

  f1 = f2 = 7;
  EXPECT_EQ(VKL_FunctionFlags("reg_never_registered", &f1, &f2), 0);
  EXPECT_EQ(f1 + f2, 14);
}

TEST(Registry, TableRegistrationSkipsBadEntries) {
  const VKL_FunctionEntry table[] = {
      {"reg_t1", handler_a}, {nullptr, handler_a}, {"reg_t2", nullptr},
      {"", handler_a},       {"reg_t3", handler_b},
  };
  const int64_t before = VKL_FunctionCount();
  EXPECT_EQ(registerTable(nullptr, 5, table), 2);
  EXPECT_STREQ(VKL_FunctionName(before), "reg_t1");
  EXPECT_STREQ(VKL_FunctionName(before + 1), "reg_t3");
  EXPECT_EQ(VKL_FunctionName(before + 2), nullptr);
  EXPECT_EQ(VKL_FindFunction("reg_t2", -1), nullptr);
  EXPECT_EQ(VKL_FindFunction(nullptr, -1), nullptr);
  EXPECT_EQ(registerTable(nullptr, 3, nullptr), 0);
}
