// A host that records what the library asks of it. The test program defines (and exports) the
// host functions the library calls at start-up, plus dlopen and VK_ModulePath; each records
// the call and passes it on to the real one. The library, loaded with dlopen, binds to these.
#pragma once

#include <vkl/interp.h>

#include <algorithm>
#include <string>
#include <vector>

namespace plugin_test {

struct HostCall {
  std::string text;  // the function and its telling arguments, e.g. "vklL_register execsql"
  VKL_State* L;      // the state passed, for the calls that take one
};

// What was recorded since the last take: host calls in order, and the module file names
// (without directory) asked of dlopen, "noload:NAME" for a look-up that never loads.
struct Records {
  std::vector<HostCall> calls;
  std::vector<std::string> opens;
  std::string output;  // standard output, for PKG_Init
};
Records take_records();

// Loads the library and runs PKG_Init once per process, with every bridge enabled and no
// Python version configured.
const Records& plugin();
// The state PKG_Init ran with: every right, a private prefix of the test's own.
VKL_State* state();
const std::string& private_prefix();

// Writes and loads new settings, which sends the settings-change notification.
void load_settings(const std::string& text);

inline VKL_Handler function(const char* name) { return VKL_FindFunction(name, -1); }

inline int count_of(const std::vector<std::string>& names, const std::string& name) {
  return static_cast<int>(std::count(names.begin(), names.end(), name));
}

}  // namespace plugin_test
