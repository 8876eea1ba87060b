// The process-wide function registry. Every test uses names of its own, since registrations
// outlive a test.
#include <cstdlib>
#include <new>
#include <string>

#include "interp_fixture.h"

namespace {

int handler_a(VKL_State*, TObject*, int, TObject*) { return 1; }
int handler_b(VKL_State*, TObject*, int, TObject*) { return 0; }

// Counts the allocations of the calling thread while armed. Every plain form of new and delete
// is replaced, so that blocks never cross between these and the sanitizer's own.
thread_local bool g_counting = false;
thread_local int g_allocations = 0;

int64_t index_of(const char* name) {
  for (int64_t i = 0; i < VKL_FunctionCount(); ++i) {
    if (std::string(VKL_FunctionName(i)) == name) return i;
  }
  return -1;
}

}  // namespace

void* operator new(size_t size) {
  if (g_counting) ++g_allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  if (g_counting) ++g_allocations;
  return std::malloc(size ? size : 1);
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

TEST(Registry, NamesAreFoldedToLowerCase) {
  ASSERT_EQ(vklL_register(nullptr, "Reg_MixedCase", handler_a), 1);
  EXPECT_EQ(VKL_FindFunction("REG_MIXEDCASE", -1), &handler_a);
  // An explicit length looks at that many bytes only.
  EXPECT_EQ(VKL_FindFunction("reg_mixedcase(1, 2)", 13), &handler_a);
  EXPECT_EQ(VKL_FindFunction("reg_mixedcase", 12), nullptr);
  EXPECT_STREQ(VKL_FunctionName(index_of("reg_mixedcase")), "reg_mixedcase");

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
  EXPECT_EQ(VKL_FunctionCount(), before + 2);
  EXPECT_STREQ(VKL_FunctionName(before), "reg_t1");
  EXPECT_STREQ(VKL_FunctionName(before + 1), "reg_t3");
  EXPECT_EQ(VKL_FunctionName(before + 2), nullptr);
  EXPECT_EQ(VKL_FindFunction("reg_t2", -1), nullptr);
  EXPECT_EQ(VKL_FindFunction(nullptr, -1), nullptr);
  EXPECT_EQ(registerTable(nullptr, 3, nullptr), 0);
}

TEST(Registry, LookupOfShortNamesDoesNotAllocate) {
  const std::string name(64, 'R');
  std::string longer = "reg_" + std::string(100, 'L');
  ASSERT_EQ(vklL_register(nullptr, name.c_str(), handler_a), 1);
  ASSERT_EQ(vklL_register(nullptr, longer.c_str(), handler_b), 1);
  g_allocations = 0;
  g_counting = true;
  const VKL_Handler found = VKL_FindFunction(name.c_str(), -1);
  const VKL_Handler missing = VKL_FindFunction("REG_NOT_THERE", -1);
  const int short_allocations = g_allocations;
  // The counter does see the library's allocations: a longer name takes a heap copy.
  const VKL_Handler found_long = VKL_FindFunction(longer.c_str(), -1);
  g_counting = false;
  EXPECT_EQ(found, &handler_a);
  EXPECT_EQ(missing, nullptr);
  EXPECT_EQ(found_long, &handler_b);
  EXPECT_EQ(short_allocations, 0);
  EXPECT_GT(g_allocations, 0);
}
