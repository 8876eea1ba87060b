// Process and runtime information.
//
// Failure policy: a malformed call (wrong count, a non-number where a number is needed) is
// rejected with 0 and the result untouched; so is every call of a function that needs the
// system right when the caller lacks it (the right is asked before anything else). Parameter
// numbers out of range and kernel failures reject the call too.
//
// There is no component-object model on this platform: getoleobject and createcomobject
// reject every call (the last error says the function is not implemented), while coinitialize
// and couninitialize have nothing to do and succeed, so scripts that bracket their work with
// them still run.
#include "system/runtime.h"

#include <vkl/echo.h>
#include <vkl/interp.h>
#include <vkl/kernel.h>
#include <vkl/process.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "plugin/args.h"
#include "system/last_error.h"
#include "system/process_info.h"
#include "system/sys_right.h"

namespace vkl::system {
namespace {

using plugin::arg_int;
using plugin::arg_int64;

constexpr int kErrorMessageSize = 1024;

// A text into the result, narrow or converted to a wide string.
template <bool Wide>
int set_text(VKL_State* L, TObject* result, const char* text) {
  if constexpr (Wide) {
    return VKL_SetWStringFromStr(L, result, text, static_cast<int64_t>(std::strlen(text)));
  } else {
    return VKL_SetString(L, result, text);
  }
}

// The common start of the functions that need the system right and take no argument.
bool sys_call_without_arguments(VKL_State* L, int nargs) {
  return has_sys_right(L) && nargs == 0;
}

// The library's path, asked of the system once per process: the first caller to finish
// stores it, a caller that loses the race drops its own copy. Never freed.
std::atomic<char*> g_plugin_path{nullptr};

const char* stored_plugin_path() {
  if (const char* known = g_plugin_path.load(std::memory_order_acquire)) return known;
  char* mine = ::strdup(own_module_path().c_str());
  if (!mine) return nullptr;
  char* expected = nullptr;
  if (g_plugin_path.compare_exchange_strong(expected, mine, std::memory_order_acq_rel))
    return mine;
  std::free(mine);
  return expected;
}

}  // namespace

// rgbbgr(colour): bytes 0 and 2 of the 32-bit value exchanged, bytes 1 and 3 kept
int rgbbgr(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int64_t colour = 0;
  if (nargs != 1 || !arg_int64(args, nargs, 0, &colour)) return 0;
  const auto v = static_cast<uint32_t>(colour);
  const uint32_t swapped = ((v >> 16) & 0xFFu) | ((v & 0xFFu) << 16) | (v & 0xFF00FF00u);
  VKL_SetInt(L, result, static_cast<int32_t>(swapped));
  return 1;
}

// setechostring(...): starts capturing the echo output; the kernel's answer
int setechostring(VKL_State* L, TObject* args, int nargs, TObject* result) {
  VKL_SetEchoStream(L, args, nargs, result);
  return 1;
}

// unsetechostring(): stops capturing and returns the captured text ("" when none)
int unsetechostring(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  return VKL_UnsetEchoStream(L, result);
}

// isechoredirect(): 1 while the echo output is captured
int isechoredirect(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  VKL_SetInt(L, result, VKL_isEchoRedirect(L));
  return 1;
}

// syserrormessage(code): the system's message for the error code
int syserrormessage(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int32_t code = 0;
  if (nargs != 1 || !arg_int(args, nargs, 0, &code)) return 0;
  char message[kErrorMessageSize];
  if (!VKL_SysErrorMessage(code, message, kErrorMessageSize)) return 0;
  return VKL_SetString(L, result, message);
}

// sysgetlasterror(): the last system error of the library's calls on this thread
int sysgetlasterror(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  VKL_SetInt(L, result, last_error());
  return 1;
}

// sysprocessid(): the process identifier
int sysprocessid(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  VKL_SetIntAuto(L, result, process_id());
  return 1;
}

// systhreadid(): the calling thread's identifier
int systhreadid(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  VKL_SetIntAuto(L, result, thread_id());
  return 1;
}

// sysparamcount(): the host process's parameter count
int sysparamcount(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  VKL_SetInt(L, result, VKL_SysParamCount());
  return 1;
}

// sysparamstr(i) / sysparamstrw(i): parameter i, 0 the executable; fails beyond the count
template <bool Wide>
int sysparamstr(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int32_t i = 0;
  if (!has_sys_right(L) || nargs != 1 || !arg_int(args, nargs, 0, &i)) return 0;
  if (i < 0 || i > VKL_ParamCount()) return 0;
  return set_text<Wide>(L, result, VKL_ParamStr(i));
}

// syscmdline() / syscmdlinew(): the host process's command line
template <bool Wide>
int syscmdline(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  return set_text<Wide>(L, result, VKL_CmdLine());
}

// sysexecname() / sysexecnamew(): the executable's path, parameter 0
template <bool Wide>
int sysexecname(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  return set_text<Wide>(L, result, VKL_ParamStr(0));
}

// pluginpath() / pluginpathw(): the path of this library's module
template <bool Wide>
int pluginpath(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!sys_call_without_arguments(L, nargs)) return 0;
  const char* path = stored_plugin_path();
  return path ? set_text<Wide>(L, result, path) : 0;
}

template int sysparamstr<false>(VKL_State*, TObject*, int, TObject*);
template int sysparamstr<true>(VKL_State*, TObject*, int, TObject*);
template int syscmdline<false>(VKL_State*, TObject*, int, TObject*);
template int syscmdline<true>(VKL_State*, TObject*, int, TObject*);
template int sysexecname<false>(VKL_State*, TObject*, int, TObject*);
template int sysexecname<true>(VKL_State*, TObject*, int, TObject*);
template int pluginpath<false>(VKL_State*, TObject*, int, TObject*);
template int pluginpath<true>(VKL_State*, TObject*, int, TObject*);

// sqlerrormsg(): the interpreter's last database error message
int sqlerrormsg(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  const auto* message = reinterpret_cast<const char*>(VKL_InterpService(L, VKL_SVC_SQLERRORMSG, nullptr));
  return VKL_SetString(L, result, message ? message : "");
}

// getoleobject(name), createcomobject(name): rejected, there are no component objects here
int no_component_objects(VKL_State*, TObject*, int, TObject*) {
  set_last_error(ENOSYS);
  return 0;
}

// coinitialize([flags]): 1, nothing to initialise
int coinitialize(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs > 1) return 0;
  VKL_SetInt(L, result, 1);
  return 1;
}

// couninitialize(): 1, nothing to release
int couninitialize(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  VKL_SetInt(L, result, 1);
  return 1;
}

}  // namespace vkl::system
