/* The kernel's text formatter: a format string and a list of value cells give a text.
 *
 * A specifier is  %[index:][-][width][.prec]type  where index, width and prec are decimal
 * digits or '*' (taken from the next argument, which must be an integer); "%%" is a percent
 * sign. An index moves the argument position; the specifiers after it continue from there.
 * Types (either case):
 *   d  decimal integer; prec is the least number of digits (zero padded)
 *   u  unsigned decimal (a negative 32-bit value reads as its 32-bit pattern)
 *   x  upper-case hexadecimal of the integer's bit pattern; prec as for d
 *   e  scientific, prec significant digits (default 15), exponent of at least three digits
 *   f  fixed, prec decimals (default 2)
 *   g  the shorter of fixed and scientific, prec significant digits (default 15)
 *   n  as f with thousands separators
 *   m  money: currency string, pattern and decimals of the settings (prec overrides them)
 *   p  a pointer as 16 upper-case hexadecimal digits
 *   s  a narrow or wide string, converted to the output's width; prec is the most characters
 * d, u and x take integers (kinds 0 and 20); e f g n m also reals; s strings (2, 6, 24); p
 * integers, nil and values held by pointer. A reference (26) is followed one level. Width pads
 * with spaces on the left, or on the right after '-'.
 *
 * Both forms return the length of the text (in characters), -2 when it does not fit the
 * buffer (nothing useful is in it then), -1 for a malformed format, a missing argument or an
 * argument of the wrong kind. The text is not zero-terminated. A null `settings` means the
 * process defaults. The narrow form's capacity is in bytes (= characters), the wide form's in
 * bytes (two per character). */
#ifndef VKL_FORMAT_BUF_H
#define VKL_FORMAT_BUF_H

#include <vkl/format_settings.h>
#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { VKL_FORMAT_ERROR = -1, VKL_FORMAT_SHORT = -2 };

VKL_API int64_t FormatBufA(char* buf, int64_t capacity, const char* format, int64_t formatLen,
                           const TObject* args, int nargs, const VKL_FormatSettings* settings);
VKL_API int64_t FormatBufW(vkl_wchar* buf, int64_t capacityBytes, const vkl_wchar* format,
                           int64_t formatLen, const TObject* args, int nargs,
                           const VKL_FormatSettings* settings);

#ifdef __cplusplus
}
#endif
#endif /* VKL_FORMAT_BUF_H */
