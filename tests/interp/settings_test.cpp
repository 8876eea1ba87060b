// Host settings and their notifications.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "interp_fixture.h"

namespace {

std::vector<std::pair<std::string, int>> g_notified;

void record_notification(const char* fileName, int kind) { g_notified.emplace_back(fileName, kind); }

class SettingsTest : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(path_.c_str()); }
  void write(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  int get_int(const char* key, int def) {
    return VKL_FileMgrGetPrivateProfileInt("Python Config", key, def);
  }

  std::string path_ = ::testing::TempDir() + "interp_settings_" + std::to_string(getpid());
};

}  // namespace

TEST_F(SettingsTest, ReadsIntegersAndStrings) {
  write(
      "\xEF\xBB\xBF; host settings\r\n"
      "ignored=before any section\r\n"
      "[Python Config]\r\n"
      "  Enabled = 1  \r\n"
      "subversion = 0x1F\r\nnegative=-12\r\nhexbits=0xFFFFFFFF\r\n"
      "garbage=12abc\r\ntoolarge=2147483648\r\nempty=\r\n"
      "# a comment\r\n"
      "name =  VKLPy3 module  \r\nname = second\r\n"
      "no equals sign\r\n"
      "[ java config ]\nEnabled=0\n");
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  EXPECT_EQ(VKL_SettingsPath(), path_);

  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("PYTHON CONFIG", "ENABLED", 0), 1);
  EXPECT_EQ(get_int("subversion", 0), 31);
  EXPECT_EQ(get_int("negative", 0), -12);
  EXPECT_EQ(get_int("hexbits", 0), -1);
  for (const char* key : {"garbage", "toolarge", "empty", "absent"}) {
    EXPECT_EQ(get_int(key, 5), 5) << key;
  }
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Java Config", "Enabled", 7), 0);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("R Config", "Enabled", 7), 7);

  auto get_string = [](const char* section, const char* key) {
    return std::string(VKL_FileMgrGetPrivateProfileString(section, key, "def"));
  };
  EXPECT_EQ(get_string("Python Config", "name"), "VKLPy3 module");  // the first one wins
  EXPECT_EQ(get_string("Python Config", "empty"), "");
  EXPECT_EQ(get_string("Python Config", "# a comment"), "def");
  EXPECT_EQ(get_string("Python Config", "no equals sign"), "def");
  EXPECT_EQ(get_string("Python Config", "ignored"), "def");
}

TEST_F(SettingsTest, ReloadNotifiesWithPathAndKind) {
  ASSERT_EQ(AddIniNotify(record_notification, 1), 1);
  ASSERT_EQ(AddIniNotify(record_notification, 1), 1);  // a second add is ignored
  write("[A]\nx=1\n");
  g_notified.clear();
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  ASSERT_EQ(g_notified.size(), 1u);
  EXPECT_EQ(g_notified[0].first, path_);
  EXPECT_EQ(VKL_IsNotifyFileMgrIni(g_notified[0].first.c_str(), g_notified[0].second), 0);

  // A reload sees the new contents; a missing file leaves no settings and still notifies.
  write("[A]\nx=2\n");
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("a", "x", 0), 2);
  std::remove(path_.c_str());
  EXPECT_EQ(VKL_LoadSettings(path_.c_str()), 0);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("a", "x", -3), -3);
  EXPECT_EQ(VKL_LoadSettings(::testing::TempDir().c_str()), 0);  // a directory
  EXPECT_EQ(g_notified.size(), 4u);

  VKL_NotifyIni("filemgr.ini", VKL_INI_FILEMGR);
  ASSERT_EQ(g_notified.size(), 5u);
  EXPECT_EQ(g_notified[4].first, "filemgr.ini");
  EXPECT_EQ(VKL_IsNotifyFileMgrIni(g_notified[4].first.c_str(), g_notified[4].second), 1);
}
