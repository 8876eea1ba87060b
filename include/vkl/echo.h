/* Echo capture (libvklkrnl.so): while a state captures, the host hands the script's echo output
 * to the kernel instead of writing it out, and the script takes the text back as one string.
 * The capture buffer is payload of the state (counted, within its memory limit). */
#ifndef VKL_ECHO_H
#define VKL_ECHO_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Starts capturing the state's echo output. The script function's arguments are handed over
 * and not used by this kernel. A capture already running goes on with its text kept. `result`
 * (may be null) <- 1 when a capture started, 0 when one was already running. Returns 1. */
VKL_API int VKL_SetEchoStream(VKL_State* L, TObject* args, int nargs, TObject* result);
/* Stops capturing; `result` <- the captured text as a narrow string, the capture buffer taken
 * over by the cell ("" when nothing was captured or no capture ran). Returns 1; 0 (result
 * untouched) only when an empty string cannot be made. */
VKL_API int VKL_UnsetEchoStream(VKL_State* L, TObject* result);
/* 1 while the state captures its echo output. */
VKL_API int VKL_isEchoRedirect(VKL_State* L);
/* Appends `len` bytes of echo output to the capture: 1 when taken, 0 when the state does not
 * capture or the text does not fit (memory limit, longest string); the host then writes the
 * text out itself, so no output is lost. */
VKL_API int VKL_EchoWrite(VKL_State* L, const char* text, int64_t len);

#ifdef __cplusplus
}
#endif
#endif /* VKL_ECHO_H */
