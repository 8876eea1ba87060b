#include "plugin/bridges.h"

#include <cstdio>

#include "plugin/loaded_modules.h"

namespace vkl::plugin {
namespace {

using BridgeEntry = int (*)(VKL_State* L, VKL_RegisterTableFn registerTable);

constexpr const char* kJavaSection = "Java Config";
constexpr const char* kRSection = "R Config";
constexpr const char* kPythonSection = "Python Config";
constexpr const char* kMatlabSection = "Matlab Config";
constexpr const char* kBlpSection = "BLP Config";

constexpr const char* kJavaModule = "VKJNI.so";
constexpr const char* kRModule = "VKLR.so";
constexpr const char* kMatlabModule = "mxbridge.so";
constexpr const char* kBlpModule = "VKBLPAPI.so";

VKL_RegisterTableFn g_register_table = nullptr;

// A non-null handle means the module was loaded once: it is never loaded again.
void* g_java = nullptr;
void* g_r = nullptr;
void* g_python = nullptr;
void* g_matlab = nullptr;
void* g_blp = nullptr;

// The Python bridge's module name follows the configured interpreter version; a version that
// is later removed keeps the name last built.
char g_python_module[64] = "VKLPy3.so";

int setting(const char* section, const char* key) {
  return VKL_FileMgrGetPrivateProfileInt(section, key, 0);
}

// Rebuilds the Python module name from the settings; false when no version is configured.
bool update_python_module() {
  const int version = setting(kPythonSection, "version");
  if (version < 1) return false;
  const int subversion = setting(kPythonSection, "subversion");
  if (subversion == 0)
    std::snprintf(g_python_module, sizeof g_python_module, "VKLPy%d.so", version);
  else
    std::snprintf(g_python_module, sizeof g_python_module, "VKLPy%d%d.so", version, subversion);
  return true;
}

// Loads one bridge unless it was loaded before: the "Enabled" setting, the module, its entry
// point, then the entry point itself, which may throw.
void load_bridge(VKL_State* L, const char* section, const char* module, void** handle) {
  if (*handle || setting(section, "Enabled") == 0) return;
  *handle = load_module(module);
  if (!*handle) return;
  auto entry = reinterpret_cast<BridgeEntry>(module_symbol(*handle, "PKG_Init"));
  if (!entry) return;
  try {
    entry(L, g_register_table);
  } catch (...) {
    std::printf("%s load error!\r\n", module);
    std::fflush(stdout);
  }
}

// Start-up tries Python only when a version is configured and leaves BLP out; a settings
// change tries every bridge.
void load_bridges(VKL_State* L, bool at_startup) {
  load_bridge(L, kJavaSection, kJavaModule, &g_java);
  load_bridge(L, kRSection, kRModule, &g_r);
  if (update_python_module() || !at_startup)
    load_bridge(L, kPythonSection, g_python_module, &g_python);
  load_bridge(L, kMatlabSection, kMatlabModule, &g_matlab);
  if (!at_startup) load_bridge(L, kBlpSection, kBlpModule, &g_blp);
}

}  // namespace

void save_register_table(VKL_RegisterTableFn registerTable) {
  g_register_table = registerTable;
}

void load_startup_bridges(VKL_State* L) {
  load_bridges(L, true);
}

void bridge_notify(const char* fileName, int kind) {
  if (!VKL_IsNotifyFileMgrIni(fileName, kind)) load_bridges(nullptr, false);
}

}  // namespace vkl::plugin
