// Bridges after start-up: the settings-change notification retries only bridges never loaded,
// works out the Python module name each time, and loads BLP. Stand-ins: Java and BLP load and
// register a probe function, R has no entry point, Matlab's entry point throws, and no Python
// module exists, so Python is retried at every notification.
#include <gtest/gtest.h>

#include <string>

#include "recording_host.h"

namespace plugin_test {
namespace {

std::string python_settings(const std::string& python) {
  return "[Java Config]\nEnabled=1\n[R Config]\nEnabled=1\n[Python Config]\n" + python +
         "[Matlab Config]\nEnabled=1\n[BLP Config]\nEnabled=1\n";
}

// The modules asked for, and what was printed, during one notification.
struct Notified {
  std::vector<std::string> opens;
  std::string output;
};

Notified notify_with(const std::string& settings) {
  plugin();
  clear_opened_modules();
  testing::internal::CaptureStdout();
  load_settings(settings);
  Notified n{opened_modules(), testing::internal::GetCapturedStdout()};
  return n;
}

int blp_entry_calls() {
  int calls = 0;
  for (const HostCall& c : host_calls())
    if (c.text == "registerTable 1 blp_bridge_probe") {
      ++calls;
      EXPECT_EQ(c.L, nullptr) << "a notification loads bridges without a state";
    }
  return calls;
}

TEST(Bridges, NotificationRetriesOnlyBridgesNeverLoaded) {
  for (const HostCall& c : plugin().calls) EXPECT_NE(c.text, "registerTable 1 blp_bridge_probe");
  for (int round = 0; round < 2; ++round) {
    const Notified n = notify_with(python_settings("Enabled=1\n"));
    // Loaded ones are left alone: with an entry point, without one, or with one that threw.
    for (const char* module : {"VKJNI.so", "VKLR.so", "mxbridge.so"})
      EXPECT_EQ(count_of(n.opens, module), 0) << module << " round " << round;
    EXPECT_GE(count_of(n.opens, "VKLPy3.so"), 1) << "a missing module is tried again";
    EXPECT_EQ(n.output, "");
    EXPECT_NE(function("blp_bridge_probe"), nullptr);
  }
  EXPECT_EQ(blp_entry_calls(), 1);
  EXPECT_NE(function("java_bridge_probe"), nullptr);
}

TEST(Bridges, FileManagerNotificationsAreIgnored) {
  plugin();
  clear_opened_modules();
  VKL_NotifyIni("filemgr.ini", VKL_INI_FILEMGR);
  EXPECT_TRUE(opened_modules().empty());
}

TEST(Bridges, PythonModuleNameFollowsTheConfiguredVersion) {
  struct Case {
    const char* settings;
    const char* module;
  };
  // Run in order: a version of 0 keeps the name last built.
  const Case cases[] = {
      {"Enabled=1\nversion=3\nsubversion=9\n", "VKLPy39.so"},
      {"Enabled=1\nversion=0\n", "VKLPy39.so"},
      {"Enabled=1\n", "VKLPy39.so"},
      {"Enabled=1\nversion=3\nsubversion=0\n", "VKLPy3.so"},
      {"Enabled=1\nversion=2\nsubversion=7\n", "VKLPy27.so"},
      {"Enabled=1\nversion=-4\nsubversion=1\n", "VKLPy27.so"},
  };
  for (const Case& c : cases) {
    const Notified n = notify_with(python_settings(c.settings));
    EXPECT_GE(count_of(n.opens, c.module), 1) << c.settings;
    int python_opens = 0;
    for (const std::string& name : n.opens) python_opens += name.rfind("VKLPy", 0) == 0;
    EXPECT_EQ(python_opens, count_of(n.opens, c.module)) << c.settings;
  }
}

TEST(Bridges, DisabledBridgeIsNeitherLoadedNorReported) {
  const Notified n = notify_with(python_settings("Enabled=0\nversion=3\n"));
  for (const std::string& name : n.opens) EXPECT_NE(name.rfind("VKLPy", 0), 0u) << name;
  EXPECT_EQ(n.output, "");
}

}  // namespace
}  // namespace plugin_test
