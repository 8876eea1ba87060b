// The last operating-system error of the library's own calls, kept per thread (errno values),
// so that a script asks for it after the call that failed.
#pragma once

namespace vkl::system {

int last_error();
void set_last_error(int error);
// Records errno as the last error and returns `result`, for one-line failure paths.
template <typename T>
T fail_with_errno(T result);

}  // namespace vkl::system

#include <cerrno>

template <typename T>
T vkl::system::fail_with_errno(T result) {
  set_last_error(errno);
  return result;
}
