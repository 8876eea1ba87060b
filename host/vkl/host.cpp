#include "host/vkl/host.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include <vkl/kernel.h>

namespace vkl::lang {
namespace {

using PluginInit = int (*)(VKL_State*, VKL_RegisterTableFn);
using PluginDoc = int (*)(const char*, const char**, const char**);

bool is_file(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

Host::~Host() {
  // The library stays loaded: objects it registered may be released after the state.
  if (L_) VKL_InterpFreeState(L_);
}

bool Host::start(const HostOptions& options, std::string* error) {
  L_ = VKL_InterpNewState();
  if (!L_) {
    *error = "cannot create the interpreter state";
    return false;
  }
  // A new state runs as the operating-system user unless the command line names another.
  if (!options.user.empty()) VKL_SetUser(L_, options.user.c_str(), options.user.c_str());
  VKL_SetUserRights(VKL_GetUserNameFromL(L_), VKL_RIGHT_ALL & ~options.denied_rights);

  std::string config = options.config;
  bool required = !config.empty();
  if (config.empty()) {
    if (const char* env = std::getenv("VKL_CONFIG"); env && *env) {
      config = env;
      required = true;
    } else {
      config = std::string(VK_ModulePath()) + "vkl.ini";
    }
  }
  if (!VKL_LoadSettings(config.c_str()) && required) {
    *error = "cannot read the settings file " + config;
    return false;
  }

  // Extension modules are the host's to load; the library only finds them in the process.
  for (const std::string& module : options.modules) {
    if (!::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL)) {
      *error = std::string("cannot load ") + module + ": " + ::dlerror();
      return false;
    }
  }

  const std::string plugin =
      options.plugin.empty() ? std::string(VK_ModulePath()) + "libvklcplugin.so" : options.plugin;
  if (options.plugin.empty() && !is_file(plugin)) {
    // The language still runs (its tests need no library), but the user should know.
    std::fprintf(stderr, "vkl: %s not found; running without the function library\n",
                 plugin.c_str());
    return true;
  }
  plugin_ = ::dlopen(plugin.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (!plugin_) {
    *error = std::string("cannot load ") + plugin + ": " + ::dlerror();
    return false;
  }
  auto init = reinterpret_cast<PluginInit>(::dlsym(plugin_, "PKG_Init"));
  if (!init) {
    *error = plugin + " exports no PKG_Init";
    return false;
  }
  init(L_, &registerTable);
  return true;
}

int Host::describe(const char* name, const char** signature, const char** summary) const {
  auto doc = plugin_ ? reinterpret_cast<PluginDoc>(::dlsym(plugin_, "VKL_PluginFunctionDoc"))
                     : nullptr;
  if (!doc) return -1;
  return doc(name, signature, summary) ? 1 : 0;
}

}  // namespace vkl::lang
