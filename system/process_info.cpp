#include "system/process_info.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "plugin/loaded_modules.h"

namespace vkl::system {

int64_t process_id() { return ::getpid(); }

int64_t thread_id() { return ::gettid(); }

std::string own_module_path() {
  const std::string loaded = plugin::module_path_of(reinterpret_cast<const void*>(&own_module_path));
  // The loader keeps the name the module was loaded by, which may be relative.
  char full[PATH_MAX];
  return !loaded.empty() && ::realpath(loaded.c_str(), full) ? std::string(full) : loaded;
}

}  // namespace vkl::system
