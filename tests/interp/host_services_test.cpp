// The kernel's host services: module path, file time and size, and the database functions of
// a host without a database.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>

#include "interp_fixture.h"

TEST(HostServices, ModulePathIsTheExecutablesDirectory) {
  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  ASSERT_GT(n, 0);
  const std::string path(exe, static_cast<size_t>(n));
  const std::string dir = VK_ModulePath();
  EXPECT_EQ(dir, path.substr(0, path.rfind('/') + 1));
}

TEST(HostServices, FileTimeIsALocalDateTime) {
  const std::string path = ::testing::TempDir() + "interp_time_" + std::to_string(getpid());
  std::ofstream(path, std::ios::binary) << "twelve bytes";
  // 2020-03-15 18:00:00 local time is day 43905 of the date-time count, three quarters gone.
  tm local{};
  local.tm_year = 120;
  local.tm_mon = 2;
  local.tm_mday = 15;
  local.tm_hour = 18;
  local.tm_isdst = -1;
  const timespec times[2] = {{mktime(&local), 0}, {mktime(&local), 500000000}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);

  double when = 0;
  int64_t size = 0;
  ASSERT_EQ(VKL_GetFileTimeSize(path.c_str(), &when, &size), 1);
  EXPECT_NEAR(when, 43905.75 + 0.5 / 86400, 1e-9);
  EXPECT_EQ(size, 12);
  std::remove(path.c_str());

  when = -1;
  size = -1;
  EXPECT_EQ(VKL_GetFileTimeSize(path.c_str(), &when, &size), 0);
  EXPECT_EQ(when, -1);
  EXPECT_EQ(size, -1);
}

TEST_F(InterpTest, DatabaseFunctionsOfAHostWithoutDatabase) {
  VKL_SetString(L, &cells[0], "select 1");
  VKL_SetString(L, &cells[5], "untouched");
  for (VKL_Handler h : {VK_ExecSQL, VK_SQLBeginTransaction, VK_SQLCommitTransaction,
                        VK_SQLRollbackTransaction}) {
    EXPECT_EQ(h(L, cells, 1, &cells[5]), 0);
  }
  EXPECT_EQ(VK_SQLInTransaction(L, cells, 2, &cells[5]), 0);
  EXPECT_EQ(VK_SQLCloseConnection(L, cells, 2, &cells[5]), 0);
  EXPECT_STREQ(VKL_AsString(&cells[5]), "untouched");

  ASSERT_EQ(VK_SQLInTransaction(L, cells, 0, &cells[5]), 1);
  EXPECT_EQ(vkl_tag(&cells[5]), VKL_TINT);
  EXPECT_EQ(vkl_int(&cells[5]), 0);
  ASSERT_EQ(VK_SQLCloseConnection(L, cells, 1, &cells[5]), 1);
  EXPECT_EQ(vkl_tag(&cells[5]), VKL_TINT);
  EXPECT_EQ(vkl_int(&cells[5]), 1);
}
