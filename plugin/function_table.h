// The library's function table: every family's rows joined in registration order.
#pragma once

#include <vkl/interp.h>

#include "plugin/function_row.h"

namespace vkl::plugin {

// The {name, handler} pairs handed to the host, in registration order.
extern const VKL_FunctionEntry* const FunctionTable;
extern const int FunctionTableSize;

// The row of a table name (exact, lower case), or null.
const FunctionRow* find_function_row(const char* name);

}  // namespace vkl::plugin
