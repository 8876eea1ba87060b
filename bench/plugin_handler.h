// Registered handlers of the library beside the benchmark program, loaded as a host loads it:
// dlopen, then PKG_Init registering into the interpreter's table.
#pragma once

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <string>

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

// An interpreter state and one of the library's handlers for a benchmark, which is skipped
// when the handler is missing.
class BenchHandler {
 public:
  BenchHandler(benchmark::State& state, const char* name)
      : L(VKL_InterpNewState()), call(plugin_handler(L, name)),
        missing_(std::string("libvklcplugin.so or its ") + name + " not found") {
    if (!call) state.SkipWithError(missing_.c_str());
  }
  ~BenchHandler() { VKL_InterpFreeState(L); }
  BenchHandler(const BenchHandler&) = delete;
  BenchHandler& operator=(const BenchHandler&) = delete;

  VKL_State* const L;
  const VKL_Handler call;

 private:
  std::string missing_;
};
