// The system right: every process, pipe, environment and handle function asks it first.
#pragma once

#include <vkl/interp.h>

namespace vkl::system {

inline bool has_sys_right(VKL_State* L) {
  return VKL_CheckSysRight(VKL_GetUserNameFromL(L)) != 0;
}

}  // namespace vkl::system
