// The system parameters the interpreter keeps per run, read and written through its private
// value service; saving them as defaults and dropping them need the system right.
//
// Failure policy: a malformed call (wrong count, a name that is not a narrow string) or a
// caller without the system right is rejected with 0 and the result untouched; otherwise the
// interpreter's answer is passed on.
#include <vkl/interp.h>

#include "core/constants.h"
#include "plugin/args.h"

namespace vkl::core {
namespace {

using plugin::arg_at;
using plugin::arg_is_string;

bool caller_has_sys_right(VKL_State* L) {
  return VKL_CheckSysRight(VKL_GetUserNameFromL(L)) != 0;
}

}  // namespace

// getsysparam(name): the value of a system parameter (nil when unset)
int getsysparam(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 1 || !arg_is_string(args, nargs, 0)) return 0;
  return rwPrivateValue(L, VKL_PV_READ_SYSPARAM, arg_at(args, 0), result);
}

// setsysparam(name1, value1 [, name2, value2 ...]): writes the parameters in order; the answer
// of the last write
int setsysparam(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs % 2 != 0) return 0;
  for (int i = 0; i < nargs; i += 2) {
    if (!arg_is_string(args, nargs, i)) return 0;
  }
  if (nargs == 0) return 1;
  int answer = 0;
  for (int i = 0; i < nargs; i += 2) {
    answer = rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, arg_at(args, i), arg_at(args, i + 1));
  }
  VKL_SetInt(L, result, answer);
  return 1;
}

// getsysparams(): a table of every current system parameter
int getsysparams(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  return VKL_GetSysParams(L, result) ? 1 : 0;
}

// setsysparams(x): saves the current parameters as the run's defaults; the count saved
int setsysparams(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 1 || !caller_has_sys_right(L)) return 0;
  return VKL_SetSysParams(L, result) ? 1 : 0;
}

// freesysparams(): drops the saved defaults and every current parameter
int freesysparams(VKL_State* L, TObject*, int nargs, TObject*) {
  if (nargs != 0 || !caller_has_sys_right(L)) return 0;
  VKL_FreeSysParams(L);
  return 1;
}

}  // namespace vkl::core
