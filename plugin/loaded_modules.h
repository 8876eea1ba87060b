// The process's modules as the library sees them: loading a module by file name, finding one
// that is already loaded (never loading it), looking up exports, and listing module files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vkl::plugin {

// Loads a module by file name, first from the host's module directory, then through the
// system loader's search; null when neither works. The module stays loaded.
void* load_module(const char* file);

// The module of that file name when it is already in the process, else null.
void* find_loaded_module(const char* file);

// The running executable as a module. Its look-ups search the process's global symbols: the
// executable's own exports first, then those of modules loaded as global.
void* executable_module();

// An export of a module, or null.
void* module_symbol(void* module, const char* name);

// The full file of the running executable ("" when unknown).
std::string executable_path();

// The file of the module that holds an address ("" when unknown).
std::string module_path_of(const void* address);

// The files of the process's modules in load order, the executable first; modules without a
// file (the kernel's virtual ones) are left out. At most `limit` entries.
std::vector<std::string> loaded_module_paths(size_t limit);

}  // namespace vkl::plugin
