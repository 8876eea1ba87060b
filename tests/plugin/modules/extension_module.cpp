// A stand-in extension module: its evaluator answers 1000 + the function's number, so a test
// sees which function of the group was asked for, and counts its calls.
#include <vkl/interp.h>
#include <vkl/kernel.h>

namespace {
int g_calls = 0;
}

extern "C" VKL_API int CALL_VALUEANY(VKL_State* L, TObject*, TObject* result, int function) {
  ++g_calls;
  VKL_SetInt(L, result, 1000 + function);
  return 1;
}

extern "C" VKL_API int extension_calls(void) {
  return g_calls;
}
