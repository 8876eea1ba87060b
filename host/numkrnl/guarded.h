// The C entry points run their work through guarded(): running out of memory, or any other
// exception, becomes the status VKN_FAILED instead of crossing the C interface.
#pragma once

#include <vkl/numkrnl.h>

namespace vkn {

template <class Work>
int guarded(Work&& work) noexcept {
  try {
    return work();
  } catch (...) {
    return VKN_FAILED;
  }
}

}  // namespace vkn
