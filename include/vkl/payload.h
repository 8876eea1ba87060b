/* Payload buffers filled by the caller (libvklkrnl.so). */
#ifndef VKL_PAYLOAD_H
#define VKL_PAYLOAD_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* As VKL_Realloc2, but the characters past the old length are left unset (only the terminating
 * zero is written), for a caller that fills them at once, such as a reader growing a buffer
 * ahead of its reads. Large buffers may be backed by huge pages. */
VKL_API void* VKL_Realloc2Unfilled(VKL_State* L, TObject* o, int64_t len);

#ifdef __cplusplus
}
#endif
#endif /* VKL_PAYLOAD_H */
