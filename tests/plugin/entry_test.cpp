// PKG_Init against the recording host: the order of its steps, what each registers, and the
// bridges it loads at start-up.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "recording_host.h"

namespace plugin_test {
namespace {

TEST(PluginEntry, RunsItsStepsInOrderAndLoadsTheStartupBridges) {
  const Records& init = plugin();
  ASSERT_FALSE(init.calls.empty());
  const std::string table_call = init.calls.front().text;
  EXPECT_EQ(table_call.rfind("registerTable ", 0), 0u) << table_call;
  const std::vector<std::string> expected = {
      table_call,
      "VKL_NewAnyMan tvk_mutex 0",
      "VKL_RegisterAnyMan tvk_mutex",
      "AddIniNotify 1",
      "setting Java Config/Enabled",
      "registerTable 1 java_bridge_probe",  // the Java bridge's own entry point
      "setting R Config/Enabled",
      "setting Python Config/version",  // no version: Python is not loaded at start
      "setting Matlab Config/Enabled",
      "VKL_RegisterImpExp 3 vkl string",
      "vklL_register execsql",
      "vklL_register sqlbegintrans",
      "vklL_register sqlcommit",
      "vklL_register sqlrollback",
      "vklL_register sqlintrans",
      "vklL_register sqlcloseconn",
      "vklL_registerEx createobject 0 1",
  };
  std::vector<std::string> texts;
  for (const HostCall& c : init.calls) {
    texts.push_back(c.text);
    const bool takes_state = c.text.rfind("vkl", 0) == 0 || c.text.rfind("registerTable", 0) == 0;
    EXPECT_EQ(c.L, takes_state ? state() : nullptr) << c.text;
  }
  EXPECT_EQ(texts, expected);

  for (const char* module : {"VKJNI.so", "VKLR.so", "mxbridge.so"})
    EXPECT_GE(count_of(init.opens, module), 1) << module;
  for (const char* module : {"VKLPy3.so", "VKBLPAPI.so"})
    EXPECT_EQ(count_of(init.opens, module), 0) << module;
  // The bridge whose entry point throws is named on standard output, once.
  EXPECT_EQ(init.output, "mxbridge.so load error!\r\n");
  EXPECT_NE(function("java_bridge_probe"), nullptr);
}

TEST(PluginEntry, MutexTypeCarriesItsDeclarationVerbatim) {
  plugin();
  VKL_AnyMan* manager = VKL_FindAnyMan("TVK_MUTEX");
  ASSERT_NE(manager, nullptr);
  EXPECT_STREQ(VKL_AnyManDeclaration(manager),
               "type TVK_MutexInfo = FackClass\r\npublic\r\n"
               "  function Wait(ms:Integer):Integer;\r\n  function Release():Boolean;\r\n"
               ";  function getHandle():NativeInt;\r\n"
               ";  function create(name:String;autoWait:Boolean);\r\nend;\r\n");
}

TEST(PluginEntry, EveryOwnedNameIsRegistered) {
  plugin();
  std::ifstream names(PLUGIN_OWNED_NAMES);
  ASSERT_TRUE(names.good());
  std::vector<std::string> missing;
  int listed = 0;
  for (std::string name; std::getline(names, name);) {
    if (name.empty()) continue;
    ++listed;
    if (!function(name.c_str())) missing.push_back(name);
  }
  EXPECT_GT(listed, 100);
  EXPECT_TRUE(missing.empty()) << missing.size() << " missing, first: " << missing.front();
}

}  // namespace
}  // namespace plugin_test
