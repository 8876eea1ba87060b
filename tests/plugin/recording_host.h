// A host that records what the library asks of it. The test program defines (and exports) the
// host functions the library calls at start-up, plus dlopen and VK_ModulePath; each records
// the call and passes it on to the real one. The library, loaded with dlopen, binds to these.
#pragma once

#include <vkl/interp.h>

#include <string>
#include <vector>

namespace plugin_test {

struct HostCall {
  std::string text;  // the function and its telling arguments, e.g. "vklL_register execsql"
  VKL_State* L;      // the state passed, for the calls that take one
};

struct InitRecord {
  int result = 0;
  std::vector<HostCall> calls;     // host calls made by PKG_Init, in order
  std::vector<std::string> opens;  // modules asked of dlopen meanwhile
  std::string output;              // what it wrote to standard output
  std::string declaration;         // the script class declaration of its object type
};

// Loads the library and runs PKG_Init once per process, with the start-up settings below.
const InitRecord& plugin();
VKL_State* state();

// Settings at start-up: every bridge enabled, no Python version configured.
extern const char* const kStartupSettings;
// Writes and loads new settings, which sends the settings-change notification.
void load_settings(const std::string& text);

// Host calls recorded since the last clear.
std::vector<HostCall> host_calls();
void clear_host_calls();

// Module file names (without directory) asked of dlopen since the last clear; a look-up that
// may only find a loaded module is written "noload:NAME".
std::vector<std::string> opened_modules();
void clear_opened_modules();
int count_of(const std::vector<std::string>& names, const std::string& name);

// The directory of the test's stand-in modules (bridges, extension module, crypto helper).
std::string module_dir();

// A registered script function, or null.
VKL_Handler function(const char* name);

}  // namespace plugin_test
