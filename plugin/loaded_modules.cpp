#include "plugin/loaded_modules.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <cstdio>

#include <vkl/kernel.h>

namespace vkl::plugin {
namespace {

struct ModuleWalk {
  std::vector<std::string>* paths;
  size_t limit;
  bool first = true;
};

int collect_module(dl_phdr_info* info, size_t, void* data) {
  auto* walk = static_cast<ModuleWalk*>(data);
  const bool main_program = walk->first;
  walk->first = false;
  if (walk->paths->size() >= walk->limit) return 1;
  const char* name = info->dlpi_name;
  if (name && name[0] != '\0')
    walk->paths->emplace_back(name);
  else if (main_program)  // the loader lists the executable under an empty name
    walk->paths->push_back(executable_path());
  return 0;
}

}  // namespace

void* load_module(const char* file) {
  char path[PATH_MAX];
  const char* dir = VK_ModulePath();
  const int n = std::snprintf(path, sizeof path, "%s%s", dir ? dir : "", file);
  if (n > 0 && static_cast<size_t>(n) < sizeof path) {
    if (void* module = dlopen(path, RTLD_NOW)) return module;
  }
  return dlopen(file, RTLD_NOW);
}

void* find_loaded_module(const char* file) {
  return dlopen(file, RTLD_NOW | RTLD_NOLOAD);
}

void* executable_module() { return dlopen(nullptr, RTLD_NOW); }

void* module_symbol(void* module, const char* name) {
  return module ? dlsym(module, name) : nullptr;
}

std::string executable_path() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path);
  if (n <= 0 || static_cast<size_t>(n) >= sizeof path) return {};
  return std::string(path, static_cast<size_t>(n));
}

std::string module_path_of(const void* address) {
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname) return {};
  return info.dli_fname;
}

std::vector<std::string> loaded_module_paths(size_t limit) {
  std::vector<std::string> paths;
  ModuleWalk walk{&paths, limit};
  dl_iterate_phdr(collect_module, &walk);
  // An empty executable path (unreadable /proc) is no file either.
  if (!paths.empty() && paths.front().empty()) paths.erase(paths.begin());
  return paths;
}

}  // namespace vkl::plugin
