// The interpreter's service callback: small queries a library makes about the running state.
#include "interp_internal.h"

extern "C" {

intptr_t VKL_InterpService(VKL_State* L, int selector, void*) {
  static const char kNone[] = "";
  const vkl::interp::InterpData* d = vkl::interp::interp_data(L);
  switch (selector) {
    case VKL_SVC_FILENAME:
      return reinterpret_cast<intptr_t>(d ? d->file_name.c_str() : kNone);
    case VKL_SVC_SQLERRORMSG:
      return reinterpret_cast<intptr_t>(d ? d->sql_error.c_str() : kNone);
    default:
      return 0;
  }
}

}  // extern "C"
