/* Numbers as text: the float formatter (general, exponent, fixed, number and currency formats
 * and the pattern language of FormatFloat), and the conversions between text and integers,
 * reals, currency and booleans.
 *
 * Conventions:
 * - A null `settings` means the process defaults (VKL_GetGFormat(NULL)).
 * - Currency is a 64-bit integer counting ten-thousandths (four fixed decimals).
 * - The formatters write at most `cap` characters (bytes for A, 16-bit units for W) and return
 *   the length of the whole text; a return above `cap` means the buffer was too short (what it
 *   holds then is cut). The text is not zero-terminated. A cap of 0 only measures. -1 for a
 *   null value or buffer, or an unknown format.
 * - Rounding is half away from zero on the decimal digits: 0.125 to two decimals is 0.13.
 * - Texts the kernel allocates are VKL_Malloc blocks with a terminating zero, handed to the
 *   caller (null when out of memory); `len` receives the length without the zero.
 */
#ifndef VKL_VK_NUMBERS_H
#define VKL_VK_NUMBERS_H

#include <vkl/format_settings.h>
#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Formats of FloatToText. */
enum {
  VK_ffGeneral = 0,  /* shortest of fixed and scientific, `precision` significant digits;
                        scientific when the value is below 1e-4 or has more integer digits
                        than `precision`; `digits` is the least number of exponent digits */
  VK_ffExponent = 1, /* d.dddE+dddd: `precision` digits, at least `digits` exponent digits */
  VK_ffFixed = 2,    /* ddd.dd: `digits` decimals (0-18); general once the integer digits
                        exceed `precision` */
  VK_ffNumber = 3,   /* d,ddd.dd: as fixed with thousands separators */
  VK_ffCurrency = 4  /* the currency string and patterns of the settings, `digits` decimals */
};

/* What `value` points at. */
enum {
  VK_fvDouble = 0,  /* a double */
  VK_fvCurrency = 1 /* an int64 currency (all its digits count: precision is 19) */
};

typedef int64_t VK_Currency;
#define VK_CURRENCY_SCALE 10000

/* Precision is clamped to 1-18 for doubles. NAN, INF and -INF for the special values. */
VKL_API int64_t FloatToTextA(char* buf, int64_t cap, const void* value, int valueType,
                             int format, int precision, int digits,
                             const VKL_FormatSettings* settings);
VKL_API int64_t FloatToTextW(vkl_wchar* buf, int64_t cap, const void* value, int valueType,
                             int format, int precision, int digits,
                             const VKL_FormatSettings* settings);

/* The pattern language: up to three sections "positive;negative;zero" (an empty or missing
 * negative or zero section uses the first, the negative one with a minus sign in front; the
 * zero section also serves values that round to zero); 0 and # digit placeholders; the first .
 * places the decimal separator; a , anywhere turns on thousands separators; E+ E- e+ e-
 * followed by 0s give scientific notation with that many exponent digits at least (E- writes
 * the sign only for negative exponents); text in ' or " quotes and every other character are
 * copied. An empty pattern, or a value with more than 18 integer digits, formats as general
 * with 15 digits. */
VKL_API int64_t FloatToTextFmtA(char* buf, int64_t cap, const void* value, int valueType,
                                const char* format, int64_t formatLen,
                                const VKL_FormatSettings* settings);
VKL_API int64_t FloatToTextFmtW(vkl_wchar* buf, int64_t cap, const void* value, int valueType,
                                const vkl_wchar* format, int64_t formatLen,
                                const VKL_FormatSettings* settings);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_NUMBERS_H */
