// A stand-in language bridge, built under the bridges' module names. Its behaviour is chosen
// at build time: BRIDGE_PROBE names the one function a working bridge registers,
// BRIDGE_THROWS makes the entry point throw, BRIDGE_WITHOUT_ENTRY leaves it out.
#include <vkl/interp.h>

#include <stdexcept>

#if defined(BRIDGE_PROBE)
namespace {

int probe(VKL_State*, TObject*, int, TObject*) {
  return 0;
}

const VKL_FunctionEntry kProbeTable[] = {{BRIDGE_PROBE, probe}};

}  // namespace

extern "C" VKL_API int PKG_Init(VKL_State* L, VKL_RegisterTableFn registerTable) {
  registerTable(L, 1, kProbeTable);
  return 1;
}
#elif defined(BRIDGE_THROWS)
extern "C" VKL_API int PKG_Init(VKL_State*, VKL_RegisterTableFn) {
  throw std::runtime_error("bridge start-up failed");
}
#elif defined(BRIDGE_WITHOUT_ENTRY)
extern "C" VKL_API int bridge_version(void) {
  return 1;
}
#endif
