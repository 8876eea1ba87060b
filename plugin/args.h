// Argument readers shared by every handler: each checks one argument's presence and kind and
// converts it in one call, knowing its position. A reference (kind 26) is followed one level.
#pragma once

#include <vkl/kernel.h>

#include <cstdint>
#include <string_view>

namespace vkl::plugin {

// Argument i with a reference followed (the caller has checked i < nargs).
inline TObject* arg_at(TObject* args, int i) { return vkl_follow(&args[i]); }

inline bool arg_is_number(TObject* args, int nargs, int i) {
  return i < nargs && vkl_is_number_tag(arg_at(args, i)->tag);
}
inline bool arg_is_string(TObject* args, int nargs, int i) {
  return i < nargs && vkl_is_string_tag(arg_at(args, i)->tag);
}

// A number (kinds 0, 1, 20) read as a double / 32-bit integer / 64-bit integer.
inline bool arg_number(TObject* args, int nargs, int i, double* out) {
  if (!arg_is_number(args, nargs, i)) return false;
  *out = VKL_AsDouble(arg_at(args, i));
  return true;
}
inline bool arg_int(TObject* args, int nargs, int i, int32_t* out) {
  if (!arg_is_number(args, nargs, i)) return false;
  *out = VKL_AsInt(arg_at(args, i));
  return true;
}
inline bool arg_int64(TObject* args, int nargs, int i, int64_t* out) {
  if (!arg_is_number(args, nargs, i)) return false;
  *out = VKL_AsInt64(arg_at(args, i));
  return true;
}

// A narrow string (kinds 2, 6): its bytes without the terminating zero.
inline bool arg_string(TObject* args, int nargs, int i, std::string_view* out) {
  if (!arg_is_string(args, nargs, i)) return false;
  const TObject* o = arg_at(args, i);
  *out = std::string_view(VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o)));
  return true;
}

}  // namespace vkl::plugin
