// Process execution, pipes and environment: start programs with or without waiting, give them
// pipes for their standard handles and reach those pipes later by process handle, the
// environment of this process and of children, the working directory, termination and sleep.
// Failure policy: a malformed call or a missing system right rejects with 0 and leaves the
// result alone; a system call that fails answers with the documented 0 or -1.
#pragma once

#include <vkl/kernel.h>

#include "plugin/function_row.h"

namespace vkl::system {

// process.cpp
int sysexec(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysexecnewpipe(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysexecdeletepipe(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysexecreadpipe(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysexecwritepipe(VKL_State* L, TObject* args, int nargs, TObject* result);

// environment.cpp
int sysexecgetenvs(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysexecsetenvs(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysgetenv(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysgetenvs(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysputenv(VKL_State* L, TObject* args, int nargs, TObject* result);
int sysgetcwd(VKL_State* L, TObject* args, int nargs, TObject* result);
int syschdir(VKL_State* L, TObject* args, int nargs, TObject* result);
int systerminate(VKL_State* L, TObject* args, int nargs, TObject* result);
int sleep(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::system

namespace vkl::plugin {

inline constexpr FunctionRow kProcessRows[] = {
    {"sysexec", system::sysexec,
     "sysexec(application, commandline, currentdir, waitOrOptions, exitInfo [, timeoutMs])",
     "starts a program; its process handle (0 when it could not start)"},
    {"sysexecnewpipe", system::sysexecnewpipe, "sysexecnewpipe([mode])",
     "new pipes for the next sysexec: 1 output, 2 input, 0 or 3 both"},
    {"sysexecdeletepipe", system::sysexecdeletepipe, "sysexecdeletepipe([process])",
     "closes the pending pipes (0) or gives up the pipes of a process"},
    {"sysexecreadpipe", system::sysexecreadpipe, "sysexecreadpipe([process])",
     "what a child has written so far, without waiting"},
    {"sysexecwritepipe", system::sysexecwritepipe, "sysexecwritepipe([process,] text)",
     "writes to a child's standard input; bytes written, -1 for none"},
    {"sysexecgetenvs", system::sysexecgetenvs, "sysexecgetenvs()",
     "the environment entries set for children"},
    {"sysexecsetenvs", system::sysexecsetenvs, "sysexecsetenvs(entries, mode)",
     "children's environment: nil inherits; mode 0 entries, 1 ours first, 2 ours after"},
    {"sysgetenv", system::sysgetenv, "sysgetenv(name)", "an environment variable"},
    {"sysgetenvs", system::sysgetenvs, "sysgetenvs()", "every name=value of the environment"},
    {"sysputenv", system::sysputenv, "sysputenv(\"name=value\")",
     "sets (or with no value removes) a variable; 0 or -1"},
    {"sysgetcwd", system::sysgetcwd, "sysgetcwd()", "the current directory"},
    {"syschdir", system::syschdir, "syschdir(path)", "changes the current directory; 1 or 0"},
    {"systerminate", system::systerminate, "systerminate([code [, process]])",
     "ends this process, or the given one, with the exit code"},
    {"sleep", system::sleep, "sleep(ms)", "pauses; long pauses end early on a stop request"},
};

}  // namespace vkl::plugin
