// Services of the host process: where the executable lives, the time and size of a file, and
// the database functions. This host has no database connection: execsql and the transaction
// calls reject every call, sqlintrans reports that no transaction is open and sqlcloseconn
// that there was nothing to close.
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "internal.h"

namespace {

std::string executable_dir() {
  std::string path(4096, '\0');
  const ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
  if (n <= 0 || static_cast<size_t>(n) >= path.size()) return {};
  path.resize(static_cast<size_t>(n));
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

// 1899-12-30, day 0 of date-time reals, counted from 1970-01-01.
constexpr int64_t kDateTimeEpoch = -25569;

// At most one argument, the connection, which this host does not use.
bool connection_args(int nargs) { return nargs >= 0 && nargs <= 1; }

}  // namespace

extern "C" {

const char* VK_ModulePath(void) {
  static const std::string dir = executable_dir();
  return dir.c_str();
}

int VKL_GetFileTimeSize(const char* path, double* time, int64_t* size) {
  struct stat st {};
  if (!path || stat(path, &st) != 0) return 0;
  tm local{};
  if (!localtime_r(&st.st_mtim.tv_sec, &local)) return 0;
  const int64_t days = days_from_civil(local.tm_year + 1900LL, static_cast<unsigned>(local.tm_mon + 1),
                                       static_cast<unsigned>(local.tm_mday)) -
                       kDateTimeEpoch;
  const double seconds = local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec +
                         static_cast<double>(st.st_mtim.tv_nsec) / 1e9;
  if (time) *time = static_cast<double>(days) + seconds / 86400.0;
  if (size) *size = static_cast<int64_t>(st.st_size);
  return 1;
}

int VK_ExecSQL(VKL_State*, TObject*, int, TObject*) { return 0; }

int VK_SQLBeginTransaction(VKL_State*, TObject*, int, TObject*) { return 0; }

int VK_SQLCommitTransaction(VKL_State*, TObject*, int, TObject*) { return 0; }

int VK_SQLRollbackTransaction(VKL_State*, TObject*, int, TObject*) { return 0; }

int VK_SQLInTransaction(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!connection_args(nargs)) return 0;
  VKL_SetInt(L, result, 0);
  return 1;
}

int VK_SQLCloseConnection(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!connection_args(nargs)) return 0;
  VKL_SetInt(L, result, 1);
  return 1;
}

}  // extern "C"
