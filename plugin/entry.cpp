// PKG_Init, the library's one entry point: the host calls it once, before any script runs.
#include <vkl/interp.h>
#include <vkl/kernel.h>

#include "plugin/bridges.h"
#include "plugin/createobject.h"
#include "plugin/function_table.h"
#include "plugin/impexp.h"
#include "plugin/mutex.h"

namespace {

// Functions the host kernel implements; the library only gives them their script names.
struct HostFunction {
  const char* name;
  VKL_Handler handler;
};

constexpr HostFunction kDatabaseFunctions[] = {
    {"execsql", VK_ExecSQL},
    {"sqlbegintrans", VK_SQLBeginTransaction},
    {"sqlcommit", VK_SQLCommitTransaction},
    {"sqlrollback", VK_SQLRollbackTransaction},
    {"sqlintrans", VK_SQLInTransaction},
    {"sqlcloseconn", VK_SQLCloseConnection},
};

// Flags the host keeps with the createobject registration.
constexpr int kCreateObjectFlags1 = 0;
constexpr int kCreateObjectFlags2 = 1;
// Argument recorded with the settings-change notification.
constexpr int kBridgeNotifyArg = 1;

}  // namespace

// The order of the steps matters to the host: the table first, then the mutex type, the
// notification and the bridges (which may register functions of their own), the file format,
// and the direct registrations last. Always returns 1: a bridge that fails is reported by
// itself and tried again at the next settings change.
extern "C" VKL_API int PKG_Init(VKL_State* L, VKL_RegisterTableFn registerTable) {
  using namespace vkl::plugin;
  registerTable(L, FunctionTableSize, FunctionTable);
  register_mutex_manager();
  save_register_table(registerTable);
  AddIniNotify(bridge_notify, kBridgeNotifyArg);
  load_startup_bridges(L);
  VKL_RegisterImpExp(kVklStringFormatId, vkl_string_format());
  for (const HostFunction& f : kDatabaseFunctions) vklL_register(L, f.name, f.handler);
  vklL_registerEx(L, "createobject", createobject, kCreateObjectFlags1, kCreateObjectFlags2);
  return 1;
}
