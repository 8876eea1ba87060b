// The interpreter's service callback: small queries a library makes about the running state.
#include "interp_internal.h"

extern "C" {

intptr_t VKL_InterpService(VKL_State* L, int selector, void*) {
  if (selector != VKL_SVC_FILENAME) return 0;
  static const char kNoFile[] = "";
  const vkl::interp::InterpData* d = vkl::interp::interp_data(L);
  return reinterpret_cast<intptr_t>(d ? d->file_name.c_str() : kNoFile);
}

}  // extern "C"
