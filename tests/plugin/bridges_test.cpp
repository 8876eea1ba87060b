// Bridges after start-up: the settings-change notification retries only bridges never loaded,
// works out the Python module name each time, and loads BLP. Stand-ins: Java and BLP load and
// register a probe function, R has no entry point, Matlab's entry point throws, and no Python
// module exists, so Python is retried at every notification.
#include <gtest/gtest.h>

#include <string>

#include "recording_host.h"

namespace plugin_test {
namespace {

// What one settings change with this Python section asked for, and printed.
Records notify_with(const std::string& python) {
  plugin();
  take_records();
  testing::internal::CaptureStdout();
  load_settings("[Java Config]\nEnabled=1\n[R Config]\nEnabled=1\n[Python Config]\n" + python +
                "[Matlab Config]\nEnabled=1\n[BLP Config]\nEnabled=1\n");
  const std::string output = testing::internal::GetCapturedStdout();
  Records n = take_records();
  n.output = output;
  return n;
}

TEST(Bridges, NotificationRetriesOnlyBridgesNeverLoaded) {
  int blp_entry_calls = 0;
  for (int round = 0; round < 2; ++round) {
    const Records n = notify_with("Enabled=1\n");
    // Loaded ones are left alone: with an entry point, without one, or with one that threw.
    for (const char* module : {"VKJNI.so", "VKLR.so", "mxbridge.so"})
      EXPECT_EQ(count_of(n.opens, module), 0) << module << " round " << round;
    EXPECT_GE(count_of(n.opens, "VKLPy3.so"), 1) << "a missing module is tried again";
    EXPECT_EQ(n.output, "");
    for (const HostCall& c : n.calls) {
      if (c.text != "registerTable 1 blp_bridge_probe") continue;
      ++blp_entry_calls;
      EXPECT_EQ(c.L, nullptr) << "a notification loads bridges without a state";
    }
  }
  EXPECT_EQ(blp_entry_calls, 1);
  EXPECT_NE(function("blp_bridge_probe"), nullptr);
}

TEST(Bridges, FileManagerNotificationsAreIgnored) {
  plugin();
  take_records();
  VKL_NotifyIni("filemgr.ini", VKL_INI_FILEMGR);
  EXPECT_TRUE(take_records().opens.empty());
}

TEST(Bridges, PythonModuleNameFollowsTheConfiguredVersion) {
  struct Case {
    const char* python;
    const char* module;  // null: no Python module asked for
  };
  // Run in order: a version of 0 keeps the name last built.
  const Case cases[] = {
      {"Enabled=1\nversion=3\nsubversion=9\n", "VKLPy39.so"},
      {"Enabled=1\nversion=0\n", "VKLPy39.so"},
      {"Enabled=1\n", "VKLPy39.so"},
      {"Enabled=1\nversion=3\nsubversion=0\n", "VKLPy3.so"},
      {"Enabled=1\nversion=2\nsubversion=7\n", "VKLPy27.so"},
      {"Enabled=1\nversion=-4\nsubversion=1\n", "VKLPy27.so"},
      {"Enabled=0\nversion=3\n", nullptr},
  };
  for (const Case& c : cases) {
    const Records n = notify_with(c.python);
    int python_opens = 0;
    for (const std::string& name : n.opens) python_opens += name.rfind("VKLPy", 0) == 0;
    EXPECT_EQ(python_opens, c.module ? count_of(n.opens, c.module) : 0) << c.python;
    EXPECT_TRUE(!c.module || python_opens > 0) << c.python;
    EXPECT_EQ(n.output, "");
  }
}

}  // namespace
}  // namespace plugin_test
