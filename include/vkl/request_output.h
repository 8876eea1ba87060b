/* The request output: the response in CGI and FastCGI mode, the host's standard output here.
 * `echo`, `write` and the formatting functions' write forms send their bytes through it. */
#ifndef VKL_REQUEST_OUTPUT_H
#define VKL_REQUEST_OUTPUT_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes `len` bytes of `data`; a call with no data (null or len 0) flushes what was written.
 * While the state captures its echo output (vkl/echo.h) the bytes go to the capture instead.
 * Returns the bytes written, or -1 when the output failed. */
VKL_API int64_t VKL_CGIWrite(VKL_State* L, const void* data, int64_t len);

#ifdef __cplusplus
}
#endif
#endif /* VKL_REQUEST_OUTPUT_H */
