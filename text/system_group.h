// The system group: the functions numbered 0-124 whose legacy_ twins are served by the
// CoreAux2 extension module. Each family of the group adds its list here.
#pragma once

#include "text/coded.h"
#include "text/dates.h"
#include "text/filenames.h"
#include "text/numbers.h"
#include "text/strings.h"

namespace vkl::text {

// The implementation routine of the group's function numbered `code`, or null.
inline VKL_CodedRoutine system_group_routine(int code) {
  return routine_of<kStringFunctions, kFileNameFunctions, kDateFunctions, kNumberFunctions>(code);
}

}  // namespace vkl::text
