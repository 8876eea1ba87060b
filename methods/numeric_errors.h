// Numerical error codes: the integer results of the linear-system, matrix, interpolation and
// integration functions (0 success, -1 an exception during the computation, -2 cancelled, then
// 1000s linear systems, 2000s interpolation, 3000s input, 4000s matrix operations, 5000s
// integration callbacks), and na_errormsg, which gives a code's message. The messages are GBK
// bytes, returned as stored.
#pragma once

#include <vkl/kernel.h>

#include <cstdint>

#include "plugin/function_row.h"

namespace vkl::methods {

// The message of a code; "Unknown error" for a code without one.
const char* numeric_error_message(int32_t code);

// na_errormsg(code): the message of a numerical error code
int na_errormsg(VKL_State* L, TObject* args, int nargs, TObject* result);

inline constexpr plugin::FunctionRow kNumericErrorRows[] = {
    {"na_errormsg", na_errormsg, "na_errormsg(code)",
     "the message of a numerical error code, \"Unknown error\" for others"},
};

}  // namespace vkl::methods
