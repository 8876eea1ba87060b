// The one handle space of the system functions. Scripts hold handles as pointer-sized
// integers: process handles from sysexec (process descriptors) and every other waitable kind
// that registers here (named mutexes from syscreatemutex). Only registered handles are waited
// for or closed, so a stray number never reaches a descriptor the library does not own.
// 0 and -1 (the invalid handle) are never handles.
#pragma once

#include <cstddef>
#include <cstdint>

#include "plugin/function_row.h"
#include "system/wait_codes.h"

namespace vkl::system {

// How one kind of handle is waited for and closed.
struct HandleKind {
  const char* name;
  // Waits up to `ms` milliseconds (negative: without limit); one of the wait codes.
  int (*wait)(intptr_t handle, int64_t ms);
  // Gives back what a successful wait took (a mutex's ownership); null when a wait takes
  // nothing. Used when waiting for several handles at once fails half-way.
  void (*undo_wait)(intptr_t handle);
  // A descriptor that becomes readable when the handle is signalled, or -1; lets a wait for
  // several such handles sleep in one poll. Null when the kind has none.
  int (*poll_fd)(intptr_t handle);
  // Closes the handle; false when the system refused (the last error is set).
  bool (*close)(intptr_t handle);
};

// 0 and -1 are never passed to the system.
inline bool is_handle_value(intptr_t handle) {
  return handle != 0 && handle != -1;
}

// Enters a new handle of that kind; false for 0, -1 or a number already registered.
bool register_handle(intptr_t handle, const HandleKind* kind);
// The kind of a registered handle, or null.
const HandleKind* handle_kind(intptr_t handle);

// Waits for one handle; kWaitFailed (last error EBADF) when it is not registered.
int wait_handle(intptr_t handle, int64_t ms);

// Waits for several handles (at most kMaxWaitHandles), like the system's multiple-object wait:
// - any (wait_all false): the index of the first signalled handle, or 128 + index when that
//   handle was abandoned;
// - all: 0 once every handle is signalled (128 + the index of an abandoned one, if any); what
//   the earlier handles took is given back when a later one times out or fails;
// - kWaitTimedOut when `ms` passes first (negative: without limit), kWaitFailed for an empty
//   list, too many handles, or a handle that is not registered.
inline constexpr size_t kMaxWaitHandles = 64;
int wait_handles(const intptr_t* handles, size_t count, bool wait_all, int64_t ms);

// Closes a registered handle and forgets it: 1 when closed, 0 when it is not registered (last
// error EBADF) or the system refused.
int close_handle(intptr_t handle);

// sysclosehandle(handle): 1 when closed, 0 when not; 0 and -1 succeed without an answer
int sysclosehandle(VKL_State* L, TObject* args, int nargs, TObject* result);
// syswaitforsingleobject(handle, ms): 0 signalled, 128 abandoned, 258 timed out, -1 failed
int syswaitforsingleobject(VKL_State* L, TObject* args, int nargs, TObject* result);
// syswaitformultipleobjects(handles, waitAll, ms): as wait_handles above, over the numbers of
// the table's array part
int syswaitformultipleobjects(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::system

namespace vkl::plugin {

inline constexpr FunctionRow kHandleRows[] = {
    {"sysclosehandle", system::sysclosehandle, "sysclosehandle(handle)",
     "closes a process or mutex handle and releases the pipes of a process"},
    {"syswaitforsingleobject", system::syswaitforsingleobject, "syswaitforsingleobject(handle, ms)",
     "waits for a process or mutex: 0 signalled, 128 abandoned, 258 timed out, -1 failed"},
    {"syswaitformultipleobjects", system::syswaitformultipleobjects,
     "syswaitformultipleobjects(handles, waitAll, ms)",
     "waits for any or all of a table of handles: index (128 + index abandoned), 258, -1"},
};

}  // namespace vkl::plugin
