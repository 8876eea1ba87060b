// The string functions of the system group: case mapping, comparison, trimming, quoting, line
// breaks, positions. Each follows the width of its principal string argument.
#pragma once

#include <vkl/coded.h>

#include "text/coded.h"

namespace vkl::text {

int string_routine(VKL_State* L, TObject* args, TObject* result, int code);

inline constexpr CodedFunction kStringFunctions[] = {
    {"uppercase", "uppercase(s)", "s with the ASCII letters in upper case",
     text_fn(5, kStr, string_routine)},
    {"lowercase", "lowercase(s)", "s with the ASCII letters in lower case",
     text_fn(6, kStr, string_routine)},
};

inline constexpr auto kStringRows = coded_rows<kStringFunctions, ExtensionModule::CoreAux2>();

}  // namespace vkl::text
