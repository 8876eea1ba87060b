// Mutex handles for scripts: syscreatemutex opens a named (or private) system mutex and enters
// its handle in the handle space, where syswaitforsingleobject waits for it and sysclosehandle
// closes it; sysreleasemutex gives one level of ownership back.
//
// Failure policy: a malformed call, or a caller without the system right, is rejected with 0
// and the result untouched. A mutex the system cannot make gives the handle 0; releasing
// something that is not a mutex handle of this library, or a mutex the thread does not own,
// gives 0. The last error tells why.
#include <vkl/kernel.h>

#include <cerrno>
#include <cstdint>
#include <string_view>

#include "plugin/args.h"
#include "system/handles.h"
#include "system/last_error.h"
#include "system/named_mutex.h"
#include "system/runtime.h"
#include "system/sys_right.h"

namespace vkl::system {
namespace {

void give_back(intptr_t handle) { named_mutex_release(handle); }

bool close_mutex(intptr_t handle) {
  named_mutex_close(handle);
  return true;
}

const HandleKind kMutexHandle = {"mutex", named_mutex_wait, give_back, nullptr, close_mutex};

}  // namespace

bool register_mutex_handle(intptr_t handle) {
  if (register_handle(handle, &kMutexHandle)) return true;
  set_last_error(ENOMEM);
  return false;
}

// syscreatemutex([name [, initialOwner]]): a handle of the named mutex (private without a name
// or with ""), owned at once when asked and newly made; 0 when the system cannot make it. The
// last error is EEXIST when the name already had a mutex, else 0.
int syscreatemutex(VKL_State* L, TObject* args, int nargs, TObject* result) {
  std::string_view name;
  if (!has_sys_right(L) || nargs > 2) return 0;
  if (nargs >= 1 && !plugin::arg_string(args, nargs, 0, &name)) return 0;
  const bool initial_owner = nargs == 2 && VKL_AsBool(plugin::arg_at(args, 1));
  bool created = true;
  const intptr_t handle = name.empty() ? named_mutex_open_private() : named_mutex_open(name, &created);
  if (handle && !register_mutex_handle(handle)) {
    named_mutex_close(handle);
    VKL_SetIntPtr(L, result, 0);
    return 1;
  }
  if (handle) {
    set_last_error(created ? 0 : EEXIST);
    if (created && initial_owner) named_mutex_wait(handle, 0);
  }
  VKL_SetIntPtr(L, result, handle);
  return 1;
}

// sysreleasemutex(handle): 1 when one level of ownership was given back, else 0
int sysreleasemutex(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (!has_sys_right(L) || nargs != 1 || !plugin::arg_is_number(args, nargs, 0)) return 0;
  const intptr_t handle = VKL_AsIntPtr(plugin::arg_at(args, 0));
  int released = 0;
  if (is_handle_value(handle)) {
    if (handle_kind(handle) != &kMutexHandle)
      set_last_error(EBADF);
    else
      released = named_mutex_release(handle) ? 1 : 0;
  }
  VKL_SetInt(L, result, released);
  return 1;
}

}  // namespace vkl::system
