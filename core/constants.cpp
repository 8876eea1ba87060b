// Cycles given by a number: a free cycle, and the names of trailing cycles of days or seconds.
// The fixed constants are the templates of constants.h.
//
// Failure policy: anything but exactly one number is rejected with 0 and the result untouched.
#include <cstdio>

#include "core/constants.h"
#include "plugin/args.h"

namespace vkl::core {
namespace {

// The name of a trailing cycle: the count followed by its unit letter.
int trailing_cycle(VKL_State* L, TObject* args, int nargs, TObject* result, char unit) {
  int32_t count = 0;
  if (nargs != 1 || !plugin::arg_int(args, nargs, 0, &count)) return 0;
  char name[16];
  std::snprintf(name, sizeof name, "%d%c", count, unit);
  return VKL_SetString(L, result, name);
}

}  // namespace

// cy_freecycle(n): n as an integer
int cy_freecycle(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int32_t n = 0;
  if (nargs != 1 || !plugin::arg_int(args, nargs, 0, &n)) return 0;
  VKL_SetInt(L, result, n);
  return 1;
}

// cy_trailingdays(n): "<n>d"
int cy_trailingdays(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return trailing_cycle(L, args, nargs, result, 'd');
}

// cy_trailingseconds(n): "<n>s"
int cy_trailingseconds(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return trailing_cycle(L, args, nargs, result, 's');
}

}  // namespace vkl::core
