/* File-name and multibyte-character routines of the kernel (VK_), narrow and wide (W); the
 * conventions of <vkl/vk_strings.h> hold (results from VKL_Malloc, 1-based positions).
 *
 * File names come in three rule sets: the plain routines follow this platform (forward slashes,
 * no drives), the Win ones use backslashes with drive letters and UNC shares ("C:",
 * "\\server\share"), the Posix ones forward slashes. */
#ifndef VKL_VK_FILENAMES_H
#define VKL_VK_FILENAMES_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One declaration per rule set and width of a routine making a text from a name. */
#define VK_FILENAME_ROUTINE(Name)                                                          \
  VKL_API char* VK_##Name(const char* s, int64_t len, int64_t* outLen);                    \
  VKL_API vkl_wchar* VK_##Name##W(const vkl_wchar* s, int64_t len, int64_t* outLen);        \
  VKL_API char* VK_##Name##Win(const char* s, int64_t len, int64_t* outLen);               \
  VKL_API vkl_wchar* VK_##Name##WinW(const vkl_wchar* s, int64_t len, int64_t* outLen);     \
  VKL_API char* VK_##Name##Posix(const char* s, int64_t len, int64_t* outLen);             \
  VKL_API vkl_wchar* VK_##Name##PosixW(const vkl_wchar* s, int64_t len, int64_t* outLen);
/* The same for routines of two texts (name and extension, base and destination). */
#define VK_FILENAME_ROUTINE2(Name)                                                         \
  VKL_API char* VK_##Name(const char* a, int64_t alen, const char* b, int64_t blen,        \
                          int64_t* outLen);                                                \
  VKL_API vkl_wchar* VK_##Name##W(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,     \
                                  int64_t blen, int64_t* outLen);                          \
  VKL_API char* VK_##Name##Win(const char* a, int64_t alen, const char* b, int64_t blen,   \
                               int64_t* outLen);                                           \
  VKL_API vkl_wchar* VK_##Name##WinW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,  \
                                     int64_t blen, int64_t* outLen);                       \
  VKL_API char* VK_##Name##Posix(const char* a, int64_t alen, const char* b, int64_t blen, \
                                 int64_t* outLen);                                         \
  VKL_API vkl_wchar* VK_##Name##PosixW(const vkl_wchar* a, int64_t alen, const vkl_wchar* b,\
                                       int64_t blen, int64_t* outLen);

/* ExtractFilePath keeps the trailing delimiter, ExtractFileDir drops it (unless it is the root
 * or follows a drive); ExtractFileExt includes the dot; ChangeFileExt replaces the extension
 * (or appends one); ExtractRelativePath gives the destination relative to the base's
 * directory, or the destination itself when their drives differ. */
VK_FILENAME_ROUTINE(ExtractFilePath)
VK_FILENAME_ROUTINE(ExtractFileDir)
VK_FILENAME_ROUTINE(ExtractFileDrive)
VK_FILENAME_ROUTINE(ExtractFileName)
VK_FILENAME_ROUTINE(ExtractFileExt)
VK_FILENAME_ROUTINE2(ChangeFileExt)
VK_FILENAME_ROUTINE2(ExtractRelativePath)

/* Plain rules only. */
VKL_API char* VK_IncludeTrailingPathDelimiter(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_IncludeTrailingPathDelimiterW(const vkl_wchar* s, int64_t len,
                                                    int64_t* outLen);
VKL_API char* VK_ExcludeTrailingPathDelimiter(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_ExcludeTrailingPathDelimiterW(const vkl_wchar* s, int64_t len,
                                                    int64_t* outLen);
VKL_API int VK_IsPathDelimiter(const char* s, int64_t len, int64_t index);
VKL_API int VK_IsPathDelimiterW(const vkl_wchar* s, int64_t len, int64_t index);
/* 1 when the character at `index` is a single unit found in `delims`. */
VKL_API int VK_IsDelimiter(const char* delims, int64_t dlen, const char* s, int64_t len,
                           int64_t index);
VKL_API int VK_IsDelimiterW(const vkl_wchar* delims, int64_t dlen, const vkl_wchar* s,
                            int64_t len, int64_t index);
/* Position of the last character of `s` found in `delims`, 0 when none. */
VKL_API int64_t VK_LastDelimiter(const char* delims, int64_t dlen, const char* s, int64_t len);
VKL_API int64_t VK_LastDelimiterW(const vkl_wchar* delims, int64_t dlen, const vkl_wchar* s,
                                  int64_t len);

/* ---- Characters of the host code page (narrow) or UTF-16 (wide: a surrogate pair is one
 * character, its high half the lead) ----
 * ByteType: 0 single, 1 lead, 2 trail unit (0 outside the text). ByteToCharLen: characters
 * that start within the first maxLen units; CharToByteLen: units of the first maxLen
 * characters. ByteToCharIndex: the character holding unit `index`; CharToByteIndex: the first
 * unit of character `index`; CharLength: units of the character at `index`; NextCharIndex:
 * position after it. Positions outside the text give 0. */
VKL_API int VK_ByteType(const char* s, int64_t len, int64_t index);
VKL_API int VK_ByteTypeW(const vkl_wchar* s, int64_t len, int64_t index);
VKL_API int64_t VK_ByteToCharLen(const char* s, int64_t len, int64_t maxLen);
VKL_API int64_t VK_ByteToCharLenW(const vkl_wchar* s, int64_t len, int64_t maxLen);
VKL_API int64_t VK_CharToByteLen(const char* s, int64_t len, int64_t maxLen);
VKL_API int64_t VK_CharToByteLenW(const vkl_wchar* s, int64_t len, int64_t maxLen);
VKL_API int64_t VK_ByteToCharIndex(const char* s, int64_t len, int64_t index);
VKL_API int64_t VK_ByteToCharIndexW(const vkl_wchar* s, int64_t len, int64_t index);
VKL_API int64_t VK_CharToByteIndex(const char* s, int64_t len, int64_t index);
VKL_API int64_t VK_CharToByteIndexW(const vkl_wchar* s, int64_t len, int64_t index);
VKL_API int64_t VK_CharLength(const char* s, int64_t len, int64_t index);
VKL_API int64_t VK_CharLengthW(const vkl_wchar* s, int64_t len, int64_t index);
VKL_API int64_t VK_NextCharIndex(const char* s, int64_t len, int64_t index);
VKL_API int64_t VK_NextCharIndexW(const vkl_wchar* s, int64_t len, int64_t index);

/* ---- UTF-8 ----
 * AnsiToUtf8: host code page to UTF-8; utf8toansi back; utf8tounicode UTF-8 to UTF-16;
 * unicodetoutf8 UTF-16 to UTF-8. Bytes that cannot be converted become the substitute. */
VKL_API char* VK_AnsiToUtf8(const char* s, int64_t len, int64_t* outLen);
VKL_API char* VK_utf8toansi(const char* s, int64_t len, int64_t* outLen);
VKL_API vkl_wchar* VK_utf8tounicode(const char* s, int64_t len, int64_t* outLen);
VKL_API char* VK_unicodetoutf8(const vkl_wchar* s, int64_t len, int64_t* outLen);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_FILENAMES_H */
