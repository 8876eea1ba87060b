#include "system/last_error.h"

namespace vkl::system {
namespace {
thread_local int t_last_error = 0;
}

int last_error() { return t_last_error; }
void set_last_error(int error) { t_last_error = error; }

}  // namespace vkl::system
