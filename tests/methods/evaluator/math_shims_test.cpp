// Finding the evaluator, in a program that exports none: a call fails and leaves its result
// as it was, and the next call looks again. Each scenario runs in a child process of its own,
// so that it starts with nothing cached.
#include <dlfcn.h>

#include <cstdlib>

#include "methods/math_shims.h"
#include "tests/core/core_fixture.h"

namespace {

using vkl::methods::EvaluatorFamily;
using vkl::methods::kSpecialFunctions;
using vkl::methods::special_function_call;

// sf_gamma is number 6; the stand-in module answers 1000 + the number.
constexpr size_t kSfGamma = 6;
constexpr VKL_Handler kCurrentSfGamma =
    special_function_call<kSpecialFunctions, kSfGamma, EvaluatorFamily::Current>;
constexpr VKL_Handler kLegacySfGamma =
    special_function_call<kSpecialFunctions, kSfGamma, EvaluatorFamily::Legacy>;

class SpecialFunctionLookup : public CoreTest {
 protected:
  // Runs a scenario in a child; the child exits 0 when none of its checks failed.
  template <class Scenario>
  void in_fresh_process(Scenario scenario) {
    EXPECT_EXIT(
        {
          scenario();
          std::exit(::testing::Test::HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
  }
};

TEST_F(SpecialFunctionLookup, ProgramWithoutEvaluatorFailsUntilOneIsGlobal) {
  in_fresh_process([&] {
    set_args({"5"});
    expect_rejected_now(kCurrentSfGamma);
    expect_rejected_now(kCurrentSfGamma);
    // The program's look-up sees the exports of a module loaded as global: the next call
    // finds the evaluator there, so the failed calls cached nothing.
    ASSERT_NE(dlopen(NUMAUX_MODULE, RTLD_NOW | RTLD_GLOBAL), nullptr) << dlerror();
    expect_answer(kCurrentSfGamma, "1006");
  });
}

TEST_F(SpecialFunctionLookup, LegacyModuleLoadedLater) {
  in_fresh_process([&] {
    set_args({"5"});
    expect_rejected_now(kLegacySfGamma);
    expect_rejected_now(kCurrentSfGamma);
    ASSERT_NE(dlopen(NUMAUX_MODULE, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
    expect_answer(kLegacySfGamma, "1006");
    // The module found for the legacy family serves the current family too, although the
    // program itself has no evaluator and the module's exports are not global.
    expect_answer(kCurrentSfGamma, "1006");
  });
}

TEST_F(SpecialFunctionLookup, MalformedCallFailsBeforeTheEvaluator) {
  in_fresh_process([&] {
    void* module = dlopen(NUMAUX_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto calls = reinterpret_cast<int (*)()>(dlsym(module, "extension_calls"));
    ASSERT_NE(calls, nullptr);
    expect_rejected(kLegacySfGamma, {});
    expect_rejected(kLegacySfGamma, {"1", "2"});
    expect_rejected(kLegacySfGamma, {"\"5\""});
    EXPECT_EQ(calls(), 0);
    set_args({"5"});
    expect_answer(kLegacySfGamma, "1006");
    EXPECT_EQ(calls(), 1);
  });
}

}  // namespace
