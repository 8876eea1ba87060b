// Calls of function values and of script classes, through the hooks the host program installs.
#include "interp_internal.h"

extern "C" {

int raw_call2(VKL_State* L, const TObject* function, TObject* args, int nargs,
              TObject* result) {
  const vkl::interp::InterpData* d = vkl::interp::interp_data(L);
  if (!d || !d->call_hook || !function || !result || !vkl::interp::valid_args(args, nargs)) {
    return 0;
  }
  if (!VKL_CallCheck(L, function)) return 0;
  // A failing script function may unwind with an exception; the caller only sees the failure.
  try {
    return d->call_hook(L, function, args, nargs, result) ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

// Exceptions of the class hook pass through: the caller guards the instantiation.
int VKL_InstantiateClass(VKL_State* L, TObject* args, int nargs, TObject* result) {
  const vkl::interp::InterpData* d = vkl::interp::interp_data(L);
  if (!d || !d->class_hook || !result || !vkl::interp::valid_args(args, nargs)) return 0;
  return d->class_hook(L, args, nargs, result);
}

}  // extern "C"
