// One row of the function table: the name and handler the host registers, and the script
// signature and one-line description that `vkl --help NAME` shows.
#pragma once

#include <vkl/object.h>

#include <array>
#include <cstddef>

namespace vkl::plugin {

struct FunctionRow {
  const char* name;
  VKL_Handler handler;
  const char* signature;
  const char* summary;
};

// The rows of several families joined in order, at compile time.
template <size_t... N>
constexpr std::array<FunctionRow, (N + ...)> join_rows(const FunctionRow (&... families)[N]) {
  std::array<FunctionRow, (N + ...)> all{};
  size_t at = 0;
  ((
       [&] {
         for (const FunctionRow& row : families) all[at++] = row;
       }()),
   ...);
  return all;
}

}  // namespace vkl::plugin
