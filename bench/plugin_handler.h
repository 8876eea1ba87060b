// Registered handlers of the library beside the benchmark program, loaded as a host loads it:
// dlopen, then PKG_Init registering into the interpreter's table.
#pragma once

#include <dlfcn.h>

#include "vkl/interp.h"
#include "vkl/kernel.h"

// The handler registered under `name`, or null when the library or the name is missing.
inline VKL_Handler plugin_handler(VKL_State* L, const char* name) {
  static const bool loaded = [L] {
    void* lib = ::dlopen("libvklcplugin.so", RTLD_NOW | RTLD_GLOBAL);
    if (!lib) return false;
    using Init = int (*)(VKL_State*, VKL_RegisterTableFn);
    auto init = reinterpret_cast<Init>(::dlsym(lib, "PKG_Init"));
    return init && init(L, registerTable);
  }();
  return loaded ? VKL_FindFunction(name, -1) : nullptr;
}
