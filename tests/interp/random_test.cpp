// The interpreter's uniform generator: ranges, repeatability after a seed, the seed reached
// through the "randseed" system parameter, and one generator per thread.
#include <gtest/gtest.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>
#include <vkl/random.h>

#include <set>
#include <thread>
#include <vector>

namespace {

std::vector<double> draws(int n) {
  std::vector<double> out;
  for (int i = 0; i < n; ++i) out.push_back(Random());
  return out;
}

TEST(Random, DrawsStayInTheirRanges) {
  std::set<int64_t> seen;
  for (int i = 0; i < 20000; ++i) {
    const double u = Random();
    ASSERT_GE(u, 0.0);
    ASSERT_LT(u, 1.0);
    const int64_t k = RandomInt(7);
    ASSERT_GE(k, 0);
    ASSERT_LT(k, 7);
    seen.insert(k);
    const int64_t huge = RandomInt(INT64_MAX);
    ASSERT_GE(huge, 0);
    ASSERT_LT(huge, INT64_MAX);
  }
  EXPECT_EQ(seen.size(), 7u);
  EXPECT_EQ(RandomInt(0), 0);
  EXPECT_EQ(RandomInt(-5), 0);
  EXPECT_EQ(RandomInt(1), 0);
}

TEST(Random, SeedRepeatsTheSequence) {
  RandSeed(0);
  const std::vector<double> first = draws(50);
  RandSeed(0);
  EXPECT_EQ(draws(50), first);
  RandSeed(1);
  EXPECT_NE(draws(50), first);
}

TEST(Random, RandseedParameterSeedsTheCallingThread) {
  VKL_State* L = VKL_InterpNewState();
  TObject name, value;
  vkl_put_nil(&name);
  ASSERT_TRUE(VKL_SetString(L, &name, "randseed"));
  vkl_put_int(&value, 42);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, &name, &value), 1);
  const std::vector<double> after_parameter = draws(20);
  RandSeed(42);
  EXPECT_EQ(draws(20), after_parameter);
  // Another thread keeps its own generator: seeding here does not make it repeat ours.
  std::vector<double> other;
  RandSeed(42);
  std::thread([&] { other = draws(20); }).join();
  EXPECT_NE(other, after_parameter);
  VKL_FreeObjectContent(L, &name);
  VKL_FreeSysParams(L);
  VKL_InterpFreeState(L);
}

}  // namespace
