// Legacy functions routed to the CalAux extension module: rejected while the module is not in
// the process (and looked for again at every call), never loaded by the library, and reached
// through a cached evaluator once the host has loaded it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vkl/kernel.h>

#include <cstring>

#include "recording_host.h"

namespace plugin_test {
namespace {

TEST(ExtensionRouting, WaitsForTheHostToLoadTheModuleThenCachesIt) {
  plugin();
  VKL_State* L = state();
  VKL_Handler dateof = function("legacy_dateof");
  VKL_Handler leap = function("legacy_isinleapyear");
  ASSERT_TRUE(dateof && leap);
  TObject arg;
  vkl_put_real(&arg, 45000.5);
  TObject result;
  vkl_put_int(&result, 77);
  TObject before = result;

  for (int attempt = 0; attempt < 2; ++attempt) {
    clear_opened_modules();
    EXPECT_EQ(dateof(L, &arg, 1, &result), 0);
    EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0);
    const std::vector<std::string> opens = opened_modules();
    EXPECT_EQ(opens, std::vector<std::string>{"noload:CalAux.so"}) << "attempt " << attempt;
  }

  void* module = dlopen((module_dir() + "CalAux.so").c_str(), RTLD_NOW);
  ASSERT_NE(module, nullptr) << dlerror();
  auto calls = reinterpret_cast<int (*)()>(dlsym(module, "extension_calls"));
  ASSERT_NE(calls, nullptr);

  // A malformed call is rejected before the module is asked.
  EXPECT_EQ(dateof(L, &arg, 0, &result), 0);
  EXPECT_EQ(calls(), 0);
  EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0);

  clear_opened_modules();
  ASSERT_EQ(dateof(L, &arg, 1, &result), 1);
  EXPECT_EQ(vkl_int(&result), 1001);  // dateof is number 1 of the date group
  ASSERT_EQ(leap(L, &arg, 1, &result), 1);
  EXPECT_EQ(vkl_int(&result), 1002);  // isinleapyear is number 2
  ASSERT_EQ(dateof(L, &arg, 1, &result), 1);
  EXPECT_EQ(calls(), 3);
  EXPECT_EQ(count_of(opened_modules(), "noload:CalAux.so"), 1) << "found once, then cached";
}

}  // namespace
}  // namespace plugin_test
