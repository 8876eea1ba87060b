// The kernel's host services: file time and size, and the database functions of a host
// without a database (their answers are in the script tests; here the rejected calls).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>

#include "interp_fixture.h"

TEST(HostServices, FileTimeIsALocalDateTime) {
  const std::string path = ::testing::TempDir() + "interp_time_" + std::to_string(getpid());
  std::ofstream(path, std::ios::binary) << "twelve bytes";
  // 2020-03-15 18:00:00.5 local time is day 43905 of the date-time count, three quarters gone.
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

TEST_F(InterpTest, RejectedDatabaseCallsLeaveTheResultUntouched) {
  VKL_SetString(L, &cells[5], "untouched");
  for (VKL_Handler h : {VK_ExecSQL, VK_SQLBeginTransaction, VK_SQLCommitTransaction,
                        VK_SQLRollbackTransaction, VK_SQLInTransaction, VK_SQLCloseConnection}) {
    EXPECT_EQ(h(L, cells, 2, &cells[5]), 0);
  }
  EXPECT_EQ(VK_ExecSQL(L, text(0, "select 1"), 1, &cells[5]), 0);
  EXPECT_STREQ(VKL_AsString(&cells[5]), "untouched");
}
