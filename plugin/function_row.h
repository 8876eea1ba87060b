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
  // A rejected call may leave a partly built result (a table or matrix) in the result cell,
  // for the caller to release: the elementwise families build their results in place.
  bool partial_result = false;
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

// The rows of a family with partial_result set.
template <class Family>
constexpr std::array<FunctionRow, kRowCount<Family>> with_partial_result(const Family& family) {
  std::array<FunctionRow, kRowCount<Family>> rows{};
  for (size_t i = 0; i < rows.size(); ++i) {
    rows[i] = family[i];
    rows[i].partial_result = true;
  }
  return rows;
}

}  // namespace vkl::plugin
