// Coded functions: a function declared once by its descriptor becomes two table rows, the
// current one (the interpreter's driver sys_anydoubleparam calls our implementation routine)
// and its `legacy_` twin (the same descriptor, with the group's extension module's
// CALL_VALUEANY as the routine).
//
// How a family declares its functions:
//
// 1. Write the implementation routine(s), usually one per family switching on the number:
//      int string_routine(VKL_State* L, TObject* args, TObject* result, int code);
//    The driver has checked the count and the kinds. The routine reads inputs from args[0..]
//    (references followed: use `coded_arg`), writes outputs into the argument cells after the
//    inputs (`coded_arg` too), sets `result`, and returns 1; or returns 0 with `result` and the
//    outputs untouched.
// 2. List the functions once in the family header, in number order:
//      inline constexpr CodedFunction kStringFunctions[] = {
//          {"uppercase", "uppercase(s)", "s in upper case", text_fn(5, kStr, string_routine)},
//          {"posex", "posex(sub, s, offset, count, casesensitive)", "...",
//           text_fn(122, kPosEx, string_routine), kNoLegacy},
//      };
//    text_fn takes a kind list (its length is the input count), number_fn the number of
//    numeric inputs (numbers in and out: a table first argument is walked element by
//    element). Outputs and procedures: text_fn(code, kinds, routine, outputs, kNoResult).
//    kNoLegacy marks a function without a `legacy_` twin.
// 3. Make the rows and join them in plugin/function_table.cpp:
//      inline constexpr auto kStringRows = coded_rows<kStringFunctions, ExtensionModule::CoreAux2>();
//    Add every name, the legacy_ ones too, to tests/plugin/owned_names.txt.
// 4. A system-group family (numbers 0-124) adds its list to `system_group_routine` in
//    text/system_group.h, so the test module CoreAux2.so answers its legacy twins.
#pragma once

#include <vkl/coded.h>
#include <vkl/kernel.h>

#include <array>
#include <cstddef>
#include <string>

#include "plugin/extension.h"
#include "plugin/function_row.h"

namespace vkl::text {

using plugin::ExtensionModule;
using plugin::FunctionRow;

// Kind lists in use (see VKL_ARG_* in <vkl/coded.h>).
inline constexpr int32_t kStr[] = {VKL_ARG_ANY_STRING};
inline constexpr int32_t kStrStr[] = {VKL_ARG_ANY_STRING, VKL_ARG_ANY_STRING};
inline constexpr int32_t kStrNum[] = {VKL_ARG_ANY_STRING, VKL_ARG_NUMBER};
inline constexpr int32_t kStrNumNum[] = {VKL_ARG_ANY_STRING, VKL_ARG_NUMBER, VKL_ARG_NUMBER};
inline constexpr int32_t kStrStrStr[] = {VKL_ARG_ANY_STRING, VKL_ARG_ANY_STRING,
                                         VKL_ARG_ANY_STRING};
inline constexpr int32_t kStrStrNum[] = {VKL_ARG_ANY_STRING, VKL_ARG_ANY_STRING, VKL_ARG_NUMBER};
inline constexpr int32_t kStrNumNumStr[] = {VKL_ARG_ANY_STRING, VKL_ARG_NUMBER, VKL_ARG_NUMBER,
                                            VKL_ARG_ANY_STRING};
inline constexpr int32_t kStrStrings[] = {VKL_ARG_ANY_STRING, VKL_ARG_STRINGS};
inline constexpr int32_t kCommon2[] = {VKL_ARG_COMMON_STR, VKL_ARG_COMMON_STR};
inline constexpr int32_t kPosEx[] = {VKL_ARG_ANY_STRING, VKL_ARG_ANY_STRING, VKL_ARG_NUMBER,
                                     VKL_ARG_NUMBER, VKL_ARG_NUMBER};
inline constexpr int32_t kWide[] = {VKL_ARG_WSTRING};
inline constexpr int32_t kBytes[] = {VKL_ARG_BYTES};
inline constexpr int32_t kBytesNum[] = {VKL_ARG_BYTES, VKL_ARG_NUMBER};
inline constexpr int32_t kBytes3Num[] = {VKL_ARG_BYTES, VKL_ARG_BYTES, VKL_ARG_BYTES,
                                         VKL_ARG_NUMBER};
inline constexpr int32_t kNum[] = {VKL_ARG_NUMBER};
inline constexpr int32_t kNumNum[] = {VKL_ARG_NUMBER, VKL_ARG_NUMBER};

inline constexpr bool kNoResult = false;
inline constexpr bool kNoLegacy = false;

// A function with string (or mixed) arguments; the input count is the kind list's length.
template <size_t N>
constexpr VKL_CodedDescriptor text_fn(int32_t code, const int32_t (&kinds)[N],
                                      VKL_CodedRoutine routine, int32_t outputs = 0,
                                      bool has_result = true) {
  return {code, 0, 0, kinds, has_result ? 1 : 0, static_cast<int32_t>(N), outputs, 0, routine, 0,
          nullptr, 0, 0};
}

// A function of numbers only; a table first argument is walked element by element.
constexpr VKL_CodedDescriptor number_fn(int32_t code, int32_t inputs, VKL_CodedRoutine routine,
                                        int32_t outputs = 0, bool has_result = true) {
  return {code, 0, 0, nullptr, has_result ? 1 : 0, inputs, outputs, 0, routine, 1,
          nullptr, 0, 0};
}

struct CodedFunction {
  const char* name;
  const char* signature;
  const char* summary;
  VKL_CodedDescriptor descriptor;
  bool legacy = true;  // has a legacy_ twin
};

// Argument i of a routine with a reference followed.
inline TObject* coded_arg(TObject* args, int i) { return vkl_follow(&args[i]); }

// The current handler of function I of a list: the driver with the function's descriptor.
template <const auto& Functions, size_t I>
int coded_handler(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return sys_anydoubleparam(L, args, nargs, result, &Functions[I].descriptor);
}

// A legacy handler: the same descriptor, with the module's evaluator as the routine. Fails
// while the module is not in the process.
template <const VKL_CodedDescriptor& D, ExtensionModule M>
int legacy_call(VKL_State* L, TObject* args, int nargs, TObject* result) {
  const VKL_CallValueAny evaluator = plugin::extension_evaluator(M);
  if (!evaluator) return 0;
  VKL_CodedDescriptor routed = D;
  routed.routine = evaluator;
  return sys_anydoubleparam(L, args, nargs, result, &routed);
}

namespace detail {

constexpr size_t text_length(const char* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

// "legacy_" + the function's name, in static storage.
template <const auto& Functions, size_t I>
struct LegacyName {
  static constexpr auto text = [] {
    constexpr const char* prefix = "legacy_";
    constexpr size_t prefix_len = text_length(prefix);
    std::array<char, prefix_len + text_length(Functions[I].name) + 1> s{};
    size_t at = 0;
    for (size_t i = 0; i < prefix_len; ++i) s[at++] = prefix[i];
    for (const char* p = Functions[I].name; *p; ++p) s[at++] = *p;
    return s;
  }();
};

template <const auto& Functions>
constexpr size_t row_count() {
  size_t n = 0;
  for (const CodedFunction& f : Functions) n += f.legacy ? 2 : 1;
  return n;
}

}  // namespace detail

// The rows of a list: each function, followed by its legacy_ twin routed to module M.
template <const auto& Functions, ExtensionModule M>
constexpr auto coded_rows() {
  std::array<FunctionRow, detail::row_count<Functions>()> rows{};
  size_t at = 0;
  [&]<size_t... I>(std::index_sequence<I...>) {
    ((rows[at++] = FunctionRow{Functions[I].name, coded_handler<Functions, I>,
                               Functions[I].signature, Functions[I].summary},
      Functions[I].legacy
          ? void(rows[at++] = FunctionRow{detail::LegacyName<Functions, I>::text.data(),
                                          legacy_call<Functions[I].descriptor, M>,
                                          Functions[I].signature, Functions[I].summary})
          : void()),
     ...);
  }(std::make_index_sequence<std::size(Functions)>{});
  return rows;
}

// The routine of the function numbered `code` in the lists, or null.
template <const auto&... Lists>
VKL_CodedRoutine routine_of(int code) {
  VKL_CodedRoutine found = nullptr;
  (
      [&] {
        for (const CodedFunction& f : Lists)
          if (!found && f.descriptor.code == code) found = f.descriptor.routine;
      }(),
      ...);
  return found;
}

}  // namespace vkl::text
