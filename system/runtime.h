// Process and runtime information: colour byte order, capturing the echo output, the last
// system error and its message, mutex handles, process and thread identifiers, the host's parameters and
// command line, the library's own path, the database error message, and the object functions
// of a component model this platform does not have.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"

namespace vkl::system {

int rgbbgr(VKL_State* L, TObject* args, int nargs, TObject* result);
int setechostring(VKL_State* L, TObject* args, int nargs, TObject* result);
int unsetechostring(VKL_State* L, TObject* args, int nargs, TObject* result);
int isechoredirect(VKL_State* L, TObject* args, int nargs, TObject* result);
int syserrormessage(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysgetlasterror(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysprocessid(VKL_State* L, TObject* args, int nargs, TObject* result);
int systhreadid(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysparamcount(VKL_State* L, TObject* args, int nargs, TObject* result);
template <bool Wide>
int sysparamstr(VKL_State* L, TObject* args, int nargs, TObject* result);
template <bool Wide>
int syscmdline(VKL_State* L, TObject* args, int nargs, TObject* result);
template <bool Wide>
int sysexecname(VKL_State* L, TObject* args, int nargs, TObject* result);
template <bool Wide>
int pluginpath(VKL_State* L, TObject* args, int nargs, TObject* result);
// Mutex handles (mutex_functions.cpp).
int syscreatemutex(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysreleasemutex(VKL_State* L, TObject* args, int nargs, TObject* result);
// Enters a handle from named_mutex_open in the handle space, where it is waited for, released
// and closed like one from syscreatemutex; false (the handle not entered) when it cannot be.
bool register_mutex_handle(intptr_t handle);
int sqlerrormsg(VKL_State* L, TObject* args, int nargs, TObject* result);
int no_component_objects(VKL_State* L, TObject* args, int nargs, TObject* result);
int coinitialize(VKL_State* L, TObject* args, int nargs, TObject* result);
int couninitialize(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::system

namespace vkl::plugin {

inline constexpr FunctionRow kRuntimeRows[] = {
    {"rgbbgr", system::rgbbgr, "rgbbgr(colour)",
     "the colour with its lowest and third byte exchanged (RGB <-> BGR)"},
    {"setechostring", system::setechostring, "setechostring()",
     "starts capturing echo output; 1 when a capture started, 0 when one was running"},
    {"unsetechostring", system::unsetechostring, "unsetechostring()",
     "stops capturing echo output and returns the captured text"},
    {"isechoredirect", system::isechoredirect, "isechoredirect()",
     "1 while echo output is being captured"},
    {"syserrormessage", system::syserrormessage, "syserrormessage(code)",
     "the system's message for an error code"},
    {"sysgetlasterror", system::sysgetlasterror, "sysgetlasterror()",
     "the last system error of the library's calls on this thread"},
    {"sysprocessid", system::sysprocessid, "sysprocessid()", "the process identifier"},
    {"systhreadid", system::systhreadid, "systhreadid()", "the calling thread's identifier"},
    {"sysparamcount", system::sysparamcount, "sysparamcount()",
     "the number of the host process's parameters"},
    {"sysparamstr", system::sysparamstr<false>, "sysparamstr(i)",
     "parameter i of the host process (0: the executable)"},
    {"sysparamstrw", system::sysparamstr<true>, "sysparamstrw(i)",
     "parameter i of the host process as a wide string"},
    {"syscmdline", system::syscmdline<false>, "syscmdline()", "the host process's command line"},
    {"syscmdlinew", system::syscmdline<true>, "syscmdlinew()",
     "the host process's command line as a wide string"},
    {"sysexecname", system::sysexecname<false>, "sysexecname()", "the executable's path"},
    {"sysexecnamew", system::sysexecname<true>, "sysexecnamew()",
     "the executable's path as a wide string"},
    {"pluginpath", system::pluginpath<false>, "pluginpath()", "the path of the function library"},
    {"pluginpathw", system::pluginpath<true>, "pluginpathw()",
     "the path of the function library as a wide string"},
    {"syscreatemutex", system::syscreatemutex, "syscreatemutex([name [, initialOwner]])",
     "a handle of a system-wide named mutex (private without a name); 0 when it cannot be made"},
    {"sysreleasemutex", system::sysreleasemutex, "sysreleasemutex(handle)",
     "gives back one level of ownership of a mutex handle; 1 done, 0 not"},
    {"sqlerrormsg", system::sqlerrormsg, "sqlerrormsg()", "the last database error message"},
    {"getoleobject", system::no_component_objects, "getoleobject(name)",
     "not available on this platform: the call is rejected"},
    {"createcomobject", system::no_component_objects, "createcomobject(name)",
     "not available on this platform: the call is rejected"},
    {"coinitialize", system::coinitialize, "coinitialize([flags])",
     "1: nothing to initialise on this platform"},
    {"couninitialize", system::couninitialize, "couninitialize()",
     "1: nothing to release on this platform"},
};

}  // namespace vkl::plugin
