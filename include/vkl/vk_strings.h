/* The kernel's string routines (VK_), narrow and wide (W), and the setters that hand a buffer
 * they made to a cell.
 *
 * Narrow texts are bytes in the host code page, wide texts UTF-16; both come with a length, so
 * embedded zeros are kept. A routine that makes a text returns a buffer from VKL_Malloc,
 * zero-terminated, with its length in *outLen (null when out of memory); hand it to a cell with
 * VKL_SetString2 / VKL_SetWString2 (owned 1) or release it with VKL_Free. Positions are 1-based
 * and count bytes (narrow) or units (wide), as the script functions do. */
#ifndef VKL_VK_STRINGS_H
#define VKL_VK_STRINGS_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A narrow (wide) string cell of `len` bytes (units) at `s`, which must hold a zero at s[len].
 * owned 1: the cell takes the VKL_Malloc'd buffer (released even when the call fails);
 * owned 0: the text is copied. 0 (cell unchanged) for a bad length or no memory. */
VKL_API int VKL_SetString2(VKL_State* L, TObject* o, char* s, int64_t len, int owned);
VKL_API int VKL_SetWString2(VKL_State* L, TObject* o, vkl_wchar* s, int64_t len, int owned);

/* ---- Case mapping ----
 * UpperCase / LowerCase map the ASCII letters only; the Ansi forms map every letter (wide
 * texts by Unicode rules, narrow ones through the host code page). */
VKL_API char* VK_UpperCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_UpperCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_LowerCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_LowerCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_STRINGS_H */
