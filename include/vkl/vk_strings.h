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
 * UpperCase / LowerCase map the ASCII letters only; the Ansi forms map every letter by Unicode
 * rules (narrow texts through the host code page). */
VKL_API char* VK_UpperCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_UpperCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_LowerCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_LowerCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_AnsiUpperCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_AnsiUpperCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_AnsiLowerCase(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_AnsiLowerCaseW(const vkl_wchar* s, int64_t len, int64_t* outLen);

/* ---- Comparison ----
 * CompareStr compares units (bytes unsigned); CompareText folds the ASCII letters to upper case
 * first. Both answer the difference of the first differing units, else of the lengths.
 * sametext: 1 when CompareText is 0. AnsiCompareStr answers -1, 0 or 1. */
VKL_API int VK_CompareStr(const char* a, int64_t alen, const char* b, int64_t blen);
VKL_API int VK_CompareStrW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen);
VKL_API int VK_CompareText(const char* a, int64_t alen, const char* b, int64_t blen);
VKL_API int VK_CompareTextW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen);
VKL_API int VK_sametext(const char* a, int64_t alen, const char* b, int64_t blen);
VKL_API int VK_wsametext(const vkl_wchar* a, int64_t alen, const vkl_wchar* b, int64_t blen);
VKL_API int VK_AnsiCompareStr(const char* a, int64_t alen, const char* b, int64_t blen);
VKL_API int VK_AnsiCompareStrW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,
                               int64_t blen);

/* ---- Trimming, identifiers, quoting, line breaks ----
 * Trim skips white space (isspace / iswspace) at both ends, TrimLeft at the left, TrimRight at
 * the right. An identifier is a letter or '_' followed by letters, digits and '_' (ASCII).
 * QuotedStr wraps in single quotes, doubling those inside; AnsiQuotedStr likewise with `quote`.
 * AnsiDequotedStr undoes it: a text that does not start with `quote`, or whose closing quote
 * is missing, comes back unchanged. AdjustLineBreaks turns every CR, LF, CR LF and LF CR into
 * LF (style 0) or CR LF (style 1). WrapText breaks a line with a line feed at a blank, '-' or
 * tab, keeping text in quotes together, so that lines stay within maxCol where possible. */
VKL_API char* VK_Trim(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_TrimW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_TrimLeft(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_TrimLeftW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_TrimRight(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_TrimRightW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API int VK_IsValidIdent(const char* s, int64_t len);
VKL_API int VK_IsValidIdentW(const vkl_wchar* s, int64_t len);
VKL_API char* VK_QuotedStr(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_QuotedStrW(const vkl_wchar* s, int64_t len, int64_t* outLen);
VKL_API char* VK_AnsiQuotedStr(const char* s, int64_t len, char quote, int64_t* outLen);
VKL_API vkl_wchar* VK_AnsiQuotedStrW(const vkl_wchar* s, int64_t len, vkl_wchar quote,
                                     int64_t* outLen);
VKL_API char* VK_AnsiDequotedStr(const char* s, int64_t len, char quote, int64_t* outLen);
VKL_API vkl_wchar* VK_AnsiDequotedStrW(const vkl_wchar* s, int64_t len, vkl_wchar quote,
                                       int64_t* outLen);
VKL_API char* VK_AdjustLineBreaks(const char* s, int64_t len, int style, int64_t* outLen);
VKL_API vkl_wchar* VK_AdjustLineBreaksW(const vkl_wchar* s, int64_t len, int style,
                                        int64_t* outLen);
VKL_API char* VK_WrapText(const char* s, int64_t len, int64_t maxCol, int64_t* outLen);
VKL_API vkl_wchar* VK_WrapTextW(const vkl_wchar* s, int64_t len, int64_t maxCol,
                                int64_t* outLen);

/* ---- Positions ----
 * Pos: the position of the first `sub` in `s`, 0 when absent or when either is empty.
 * PosEx searches from `offset` (0 below 1 or beyond the text) at most `count` units (negative:
 * to the end; 0 gives 0), case-insensitively (ASCII folding narrow, towupper wide) when
 * caseSensitive is 0. AnsiPos finds only matches that start on a character of the host code
 * page. */
VKL_API int64_t VK_Pos(const char* sub, int64_t sublen, const char* s, int64_t len);
VKL_API int64_t VK_PosW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s, int64_t len);
VKL_API int64_t VK_PosEx(const char* sub, int64_t sublen, const char* s, int64_t len,
                         int64_t offset, int64_t count, int caseSensitive);
VKL_API int64_t VK_PosExW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s, int64_t len,
                          int64_t offset, int64_t count, int caseSensitive);
VKL_API int64_t VK_AnsiPos(const char* sub, int64_t sublen, const char* s, int64_t len);
VKL_API int64_t VK_AnsiPosW(const vkl_wchar* sub, int64_t sublen, const vkl_wchar* s,
                            int64_t len);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_STRINGS_H */
