// Legacy functions routed to the CalAux extension module: rejected while the module is not in
// the process (and looked for again at every call), never loaded by the library, and reached
// through a cached evaluator once the host has loaded it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "cells.h"
#include "recording_host.h"

namespace plugin_test {
namespace {

TEST(ExtensionRouting, WaitsForTheHostToLoadTheModuleThenCachesIt) {
  plugin();
  VKL_State* L = state();
  VKL_Handler dateof = function("legacy_dateof");
  VKL_Handler leap = function("legacy_isinleapyear");
  Cells arg(L, 1);
  VKL_SetReal(L, &arg[0], 45000.5);
  Cells none(L, 0);
  for (int attempt = 0; attempt < 2; ++attempt) {
    take_records();
    EXPECT_TRUE(rejects_untouched(dateof, L, arg));
    EXPECT_EQ(take_records().opens, std::vector<std::string>{"noload:CalAux.so"}) << attempt;
  }

  void* module = dlopen(PLUGIN_TEST_MODULE_DIR "/CalAux.so", RTLD_NOW);
  ASSERT_NE(module, nullptr) << dlerror();
  auto calls = reinterpret_cast<int (*)()>(dlsym(module, "extension_calls"));
  ASSERT_NE(calls, nullptr);
  take_records();
  EXPECT_TRUE(rejects_untouched(dateof, L, none)) << "a malformed call never reaches the module";
  EXPECT_EQ(calls(), 0);

  Cells result(L, 1);
  ASSERT_EQ(dateof(L, arg.data(), 1, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 1001);  // dateof is number 1 of the date group
  ASSERT_EQ(leap(L, arg.data(), 1, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 1002);  // isinleapyear is number 2
  ASSERT_EQ(dateof(L, arg.data(), 1, &result[0]), 1);
  EXPECT_EQ(calls(), 3);
  EXPECT_EQ(count_of(take_records().opens, "noload:CalAux.so"), 1) << "found once, then cached";
}

}  // namespace
}  // namespace plugin_test
