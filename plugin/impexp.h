// The "vkl string" import/export format: a value stored in a file as its literal text form.
#pragma once

#include <vkl/interp.h>

namespace vkl::plugin {

inline constexpr int64_t kVklStringFormatId = 3;

// The format record handed to the host; it lives as long as the library.
const VKL_ImpExpFormat* vkl_string_format();

}  // namespace vkl::plugin
