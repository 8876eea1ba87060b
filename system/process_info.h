// What the operating system tells about the running process: identifiers and the file of the
// library's own module.
#pragma once

#include <cstdint>
#include <string>

namespace vkl::system {

int64_t process_id();
// The calling thread's system-wide identifier.
int64_t thread_id();
// The full path of the module that holds this library ("" when the system cannot tell).
std::string own_module_path();

}  // namespace vkl::system
