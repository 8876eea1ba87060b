/* The host process as scripts see it (libvklkrnl.so): its parameters and command line, which
 * the host program sets from its own command line, and the system's error messages. */
#ifndef VKL_PROCESS_H
#define VKL_PROCESS_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the process parameters: argv[0] the executable's path, argv[1..argc-1] its parameters;
 * the texts are copied. The command line becomes the parameters joined by spaces, each quoted
 * where needed so that the Windows splitting rules give it back. Meant for the host's start,
 * before scripts run; texts given out before stay valid only until the next call. */
VKL_API void VKL_SetProcessParams(int argc, const char* const* argv);
/* The number of parameters after the executable's path (0 before VKL_SetProcessParams). This
 * host runs one process, so the system's and the host's counts are the same. */
VKL_API int VKL_ParamCount(void);
VKL_API int VKL_SysParamCount(void);
/* Parameter i (0: the executable's path); "" when i is out of range. */
VKL_API const char* VKL_ParamStr(int i);
/* The whole command line ("" before VKL_SetProcessParams). */
VKL_API const char* VKL_CmdLine(void);
/* The system's message for an error code (errno values) into `buffer` of `size` bytes, cut to
 * fit and zero-terminated. 1 on success, 0 for a null buffer or a size below 1. */
VKL_API int VKL_SysErrorMessage(int code, char* buffer, int size);

#ifdef __cplusplus
}
#endif
#endif /* VKL_PROCESS_H */
