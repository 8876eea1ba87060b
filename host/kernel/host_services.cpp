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

// Days from 1899-12-30, day 0 of date-time reals, to 1970-01-01.
constexpr double kUnixEpochDay = 25569;

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
  // The local wall-clock time: the seconds since the epoch moved by the zone's offset.
  const double seconds = static_cast<double>(st.st_mtim.tv_sec + local.tm_gmtoff) +
                         static_cast<double>(st.st_mtim.tv_nsec) / 1e9;
  if (time) *time = kUnixEpochDay + seconds / 86400.0;
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
