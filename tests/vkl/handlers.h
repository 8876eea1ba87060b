// Handlers the engine tests register for themselves.
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

namespace vkl_test {

// Registers every test handler (once per process).
void register_test_handlers();

// Calls seen by t_count since the last reset.
extern int g_count_calls;

}  // namespace vkl_test
