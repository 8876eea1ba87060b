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

// How many rows a family has: a C array of rows or a std::array of them (made at compile time).
template <class Family>
inline constexpr size_t kRowCount = std::tuple_size_v<Family>;
template <size_t N>
inline constexpr size_t kRowCount<FunctionRow[N]> = N;

// The rows of several families joined in order, at compile time.
template <class... Families>
constexpr std::array<FunctionRow, (kRowCount<Families> + ...)> join_rows(
    const Families&... families) {
  std::array<FunctionRow, (kRowCount<Families> + ...)> all{};
  size_t at = 0;
  ((
       [&] {
         for (const FunctionRow& row : families) all[at++] = row;
       }()),
   ...);
  return all;
}

}  // namespace vkl::plugin
