// Elementary matrix operations: sum, difference and transpose of matrices given as tables of
// row tables (or fixed matrices), answered with a code and the matrix in the last argument.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int mt_addition(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_subtraction(VKL_State* L, TObject* args, int nargs, TObject* result);
int mt_transposition(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kMatrixOpRows[] = {
    {"mt_addition", methods::mt_addition, "mt_addition(A, B, C)",
     "C = A + B; code 0, or 4004 when the column counts differ"},
    {"mt_subtraction", methods::mt_subtraction, "mt_subtraction(A, B, C)",
     "C = A - B; code 0, or 4004 when the column counts differ"},
    {"mt_transposition", methods::mt_transposition, "mt_transposition(A, T)",
     "T = A transposed; code 0"},
};

}  // namespace vkl::plugin
