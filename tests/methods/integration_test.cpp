// The integration handlers with C++ integrands: how many evaluations a rule makes, that the
// stop request ends every rule (the uncapped trapezoid rule included), that a malformed call
// leaves the result and the value argument as they were, and that the integrand's answers are
// released.
#include <gtest/gtest.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>

#include "methods/integration.h"

namespace {

using vkl::methods::ig_chebyshev;
using vkl::methods::ig_gauss;
using vkl::methods::ig_romberg;
using vkl::methods::ig_simpson_1;
using vkl::methods::ig_simpson_2;
using vkl::methods::ig_trapezoid_1;
using vkl::methods::ig_trapezoid_2;

// The integrand every function value stands for, its call count, and the call after which the
// run is asked to stop (0: never).
std::function<double(double, double)> g_integrand;
int g_calls = 0;
int g_stop_after = 0;
bool g_answer_text = false;

int call_integrand(VKL_State* L, const TObject*, TObject* args, int nargs, TObject* result) {
  ++g_calls;
  if (g_stop_after && g_calls >= g_stop_after) VKL_InterpSetStop(L, 1);
  const double x = VKL_AsDouble(&args[0]);
  const double y = nargs > 1 ? VKL_AsDouble(&args[1]) : 0;
  const double v = g_integrand(x, y);
  if (g_answer_text) return VKL_SetString(L, result, std::to_string(v).c_str());
  VKL_SetReal(L, result, v);
  return 1;
}

const VKL_BoxType kFunction = {"test integrand", nullptr, nullptr};

class IntegrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_InterpNewState();
    ASSERT_NE(L, nullptr);
    VKL_InterpSetCallHook(L, call_integrand);
    for (TObject& cell : args) vkl_put_nil(&cell);
    vkl_put_nil(&result);
    baseline = VKL_GetMemUsed(L);
    g_calls = 0;
    g_stop_after = 0;
    g_answer_text = false;
    g_integrand = [](double x, double) { return x; };
  }
  void TearDown() override {
    for (TObject& cell : args) VKL_FreeObjectContent(L, &cell);
    VKL_FreeObjectContent(L, &result);
    EXPECT_EQ(VKL_GetMemUsed(L), baseline);
    VKL_InterpFreeState(L);
  }

  // args: a, b, f, value (with_limits: a, b, lo, hi, f, value); every callback is the integrand.
  void set_call(double a, double b, bool with_limits = false) {
    VKL_SetReal(L, &args[0], a);
    VKL_SetReal(L, &args[1], b);
    const int callbacks = with_limits ? 3 : 1;
    for (int i = 2; i < 2 + callbacks; ++i)
      ASSERT_EQ(VKL_SetBox(L, &args[i], VKL_TFUNCTION, &kFunction, nullptr), 1);
    nargs = 3 + callbacks;
    VKL_SetNil(L, &args[nargs - 1]);
  }
  // Runs the handler: 1 expected, the code and the value returned.
  int run(VKL_Handler handler, double* value) {
    EXPECT_EQ(handler(L, args, nargs, &result), 1);
    *value = VKL_AsDouble(&args[nargs - 1]);
    return VKL_AsInt(&result);
  }

  VKL_State* L = nullptr;
  int64_t baseline = 0;
  TObject args[6];
  int nargs = 0;
  TObject result;
};

constexpr VKL_Handler kOneDimensional[] = {ig_trapezoid_1, ig_simpson_1, ig_romberg, ig_gauss,
                                           ig_chebyshev};
constexpr VKL_Handler kTwoDimensional[] = {ig_trapezoid_2, ig_simpson_2};

TEST_F(IntegrationTest, TrapezoidSettlesAfterTheFirstHalvingOnALine) {
  set_call(0, 1);
  double value = 0;
  EXPECT_EQ(run(ig_trapezoid_1, &value), 0);
  EXPECT_EQ(value, 0.5);
  EXPECT_EQ(g_calls, 3) << "f(a), f(b) and one midpoint";
}

TEST_F(IntegrationTest, GaussOnAnEmptyIntervalEvaluatesNothing) {
  set_call(2, 2);
  double value = -1;
  EXPECT_EQ(run(ig_gauss, &value), 0);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(g_calls, 0);
}

TEST_F(IntegrationTest, GaussAddsOneSubIntervalPerRound) {
  // A cubic is exact from the first round: the second round's change ends the rule.
  g_integrand = [](double x, double) { return x * x * x; };
  set_call(0, 2);
  double value = 0;
  EXPECT_EQ(run(ig_gauss, &value), 0);
  EXPECT_NEAR(value, 4, 1e-8);
  EXPECT_EQ(g_calls, 5 + 10);
}

TEST_F(IntegrationTest, TheStopRequestEndsEveryRule) {
  const auto expect_cancelled = [&](VKL_Handler handler, bool with_limits, int stop_after) {
    set_call(0, 1, with_limits);
    g_calls = 0;
    g_stop_after = stop_after;
    VKL_InterpSetStop(L, 0);
    double value = 0;
    EXPECT_EQ(run(handler, &value), -2);
    EXPECT_EQ(g_calls, stop_after) << "no evaluation after the stop request";
  };
  // A NaN never settles the trapezoid rule, which has no cap: the stop request ends it.
  g_integrand = [](double, double) { return NAN; };
  expect_cancelled(ig_trapezoid_1, false, 5000);
  // Every rule is still refining a square root after 12 evaluations.
  g_integrand = [](double x, double y) { return std::sqrt(x) + y; };
  for (VKL_Handler handler : kOneDimensional) expect_cancelled(handler, false, 12);
  for (VKL_Handler handler : kTwoDimensional) expect_cancelled(handler, true, 12);
  VKL_InterpSetStop(L, 0);
}

TEST_F(IntegrationTest, ACancelledIntegrationKeepsItsLastEstimate) {
  g_integrand = [](double x, double) { return x * x; };
  set_call(0, 1);
  g_stop_after = 4;  // f(0), f(1), f(0.5), then the first point of the second halving
  double value = 0;
  EXPECT_EQ(run(ig_trapezoid_1, &value), -2);
  EXPECT_EQ(value, 0.375);
}

TEST_F(IntegrationTest, MalformedCallsLeaveResultAndValueAsTheyWere) {
  const auto expect_untouched = [&](VKL_Handler handler) {
    VKL_SetString(L, &result, "result");
    VKL_SetString(L, &args[nargs - 1], "value");
    TObject before_result, before_value;
    std::memcpy(&before_result, &result, sizeof result);
    std::memcpy(&before_value, &args[nargs - 1], sizeof before_value);
    EXPECT_EQ(handler(L, args, nargs, &result), 0);
    EXPECT_EQ(std::memcmp(&before_result, &result, sizeof result), 0);
    EXPECT_EQ(std::memcmp(&before_value, &args[nargs - 1], sizeof before_value), 0);
    EXPECT_EQ(g_calls, 0);
  };
  for (VKL_Handler handler : kOneDimensional) {
    set_call(0, 1);
    VKL_SetString(L, &args[0], "0");
    expect_untouched(handler);
    set_call(0, 1);
    VKL_SetInt(L, &args[2], 3);
    expect_untouched(handler);
    set_call(0, 1);
    --nargs;
    expect_untouched(handler);
  }
  for (VKL_Handler handler : kTwoDimensional) {
    set_call(0, 1, true);
    VKL_SetNil(L, &args[4]);
    expect_untouched(handler);
    set_call(0, 1, true);
    VKL_SetNil(L, &args[1]);
    expect_untouched(handler);
  }
}

TEST_F(IntegrationTest, AnswersOfOtherKindsAreReadAsNumbersAndReleased) {
  g_answer_text = true;
  g_integrand = [](double x, double) { return 2 * x; };
  set_call(0, 1);
  double value = 0;
  EXPECT_EQ(run(ig_simpson_1, &value), 0);
  EXPECT_NEAR(value, 1, 1e-6);  // the texts carry six decimals
  EXPECT_GT(g_calls, 16);
}

TEST_F(IntegrationTest, DoubleIntegralTakesItsLimitsFromTheCallbacks) {
  // The limits are the integrand too: lo(x) = hi(x) = 10 x, a region without area.
  g_integrand = [](double x, double y) { return x * 10 + y; };
  set_call(0, 1, true);
  double value = -1;
  EXPECT_EQ(run(ig_simpson_2, &value), 0);
  EXPECT_EQ(value, 0);
}

}  // namespace
