// The interactive reader: line editing and history (~/.vkl_history), the value of each
// expression statement shown, errors reported and the session kept going.
#pragma once

#include "host/vkl/engine.h"

namespace vkl::lang {

int run_repl(Engine& engine);

}  // namespace vkl::lang
