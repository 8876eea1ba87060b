// Host settings and their notifications, and the import/export format registry.
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
  void SetUp() override {
    path_ = ::testing::TempDir() + "interp_settings_" + std::to_string(getpid()) + ".ini";
  }
  void TearDown() override { std::remove(path_.c_str()); }

  void write(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }

  std::string path_;
};

const char kIni[] =
    "\xEF\xBB\xBF; host settings\r\n"
    "ignored=before any section\r\n"
    "[Python Config]\r\n"
    "  Enabled = 1  \r\n"
    "version=3\r\n"
    "subversion = 0x1F\r\n"
    "negative=-12\r\n"
    "hexbits=0xFFFFFFFF\r\n"
    "garbage=12abc\r\n"
    "toolarge=2147483648\r\n"
    "empty=\r\n"
    "# a comment\r\n"
    "name =  VKLPy3 module  \r\n"
    "name = second\r\n"
    "no equals sign\r\n"
    "[ java config ]\n"
    "Enabled=0\n";

}  // namespace

TEST_F(SettingsTest, ReadsIntegersAndStrings) {
  write(kIni);
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  EXPECT_STREQ(VKL_SettingsPath(), path_.c_str());

  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "Enabled", 0), 1);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("PYTHON CONFIG", "VERSION", 0), 3);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("python config", "subversion", 0), 31);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "negative", 0), -12);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "hexbits", 0), -1);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "garbage", 5), 5);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "toolarge", 5), 5);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "empty", 5), 5);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Python Config", "absent", 9), 9);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("Java Config", "Enabled", 7), 0);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("R Config", "Enabled", 7), 7);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt(nullptr, "Enabled", 7), 7);

  EXPECT_STREQ(VKL_FileMgrGetPrivateProfileString("Python Config", "name", "d"), "VKLPy3 module");
  EXPECT_STREQ(VKL_FileMgrGetPrivateProfileString("Python Config", "empty", "d"), "");
  EXPECT_STREQ(VKL_FileMgrGetPrivateProfileString("Python Config", "# a comment", "d"), "d");
  EXPECT_STREQ(VKL_FileMgrGetPrivateProfileString("Python Config", "no equals sign", "d"), "d");
  EXPECT_STREQ(VKL_FileMgrGetPrivateProfileString("Python Config", "ignored", "d"), "d");
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileString("Python Config", "absent", nullptr), nullptr);
}

TEST_F(SettingsTest, ReloadNotifiesWithPathAndKind) {
  ASSERT_EQ(AddIniNotify(record_notification, 1), 1);
  ASSERT_EQ(AddIniNotify(record_notification, 1), 1);  // a second add is ignored
  EXPECT_EQ(AddIniNotify(nullptr, 1), 0);

  write("[A]\nx=1\n");
  g_notified.clear();
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  ASSERT_EQ(g_notified.size(), 1u);
  EXPECT_EQ(g_notified[0].first, path_);
  EXPECT_EQ(g_notified[0].second, VKL_INI_SETTINGS);
  EXPECT_EQ(VKL_IsNotifyFileMgrIni(g_notified[0].first.c_str(), g_notified[0].second), 0);

  // A reload sees the new contents.
  write("[A]\nx=2\n");
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("a", "x", 0), 2);
  EXPECT_EQ(g_notified.size(), 2u);

  VKL_NotifyIni("filemgr.ini", VKL_INI_FILEMGR);
  ASSERT_EQ(g_notified.size(), 3u);
  EXPECT_EQ(g_notified[2].first, "filemgr.ini");
  EXPECT_EQ(VKL_IsNotifyFileMgrIni(g_notified[2].first.c_str(), g_notified[2].second), 1);
}

TEST_F(SettingsTest, MissingFileGivesEmptySettings) {
  write("[A]\nx=1\n");
  ASSERT_EQ(VKL_LoadSettings(path_.c_str()), 1);
  std::remove(path_.c_str());
  EXPECT_EQ(VKL_LoadSettings(path_.c_str()), 0);
  EXPECT_EQ(VKL_FileMgrGetPrivateProfileInt("A", "x", -3), -3);
  EXPECT_EQ(VKL_LoadSettings(nullptr), 0);
}

// ---- import/export formats ----

namespace {

int save_a(VKL_State*, const TObject*, const char*) { return 1; }
int save_b(VKL_State*, const TObject*, const char*) { return 2; }

}  // namespace

TEST(ImpExp, RegisterFindAndReplace) {
  static const VKL_ImpExpFormat first = {903, "first", save_a, nullptr, nullptr, nullptr};
  static const VKL_ImpExpFormat second = {903, "second", save_b, nullptr, nullptr, nullptr};
  EXPECT_EQ(VKL_FindImpExp(903), nullptr);
  ASSERT_EQ(VKL_RegisterImpExp(903, &first), 1);
  EXPECT_EQ(VKL_FindImpExp(903), &first);
  ASSERT_EQ(VKL_RegisterImpExp(903, &second), 1);
  EXPECT_EQ(VKL_FindImpExp(903)->save(nullptr, nullptr, ""), 2);
  EXPECT_EQ(VKL_RegisterImpExp(904, nullptr), 0);
  EXPECT_EQ(VKL_FindImpExp(904), nullptr);
}
