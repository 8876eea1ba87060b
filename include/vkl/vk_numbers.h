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
  VK_fvCurrency = 1 /* an int64 currency; a precision of 0 (or above 19) keeps all digits */
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

/* ---- Integers as text (VKL_Malloc'd, see above) ---- */

VKL_API char* VK_IntToStr(int32_t value, int64_t* len);
VKL_API vkl_wchar* VK_IntToStrW(int32_t value, int64_t* len);
VKL_API char* VK_Int64ToStr(int64_t value, int64_t* len);
VKL_API vkl_wchar* VK_Int64ToStrW(int64_t value, int64_t* len);
VKL_API char* VK_UIntToStr(uint32_t value, int64_t* len);
VKL_API vkl_wchar* VK_UIntToStrW(uint32_t value, int64_t* len);
VKL_API char* VK_UInt64ToStr(uint64_t value, int64_t* len);
VKL_API vkl_wchar* VK_UInt64ToStrW(uint64_t value, int64_t* len);
/* Upper-case hexadecimal of the value's bit pattern (8 or 16 digits at most), padded with
 * zeros to `digits`. */
VKL_API char* VK_IntToHex(int32_t value, int digits, int64_t* len);
VKL_API vkl_wchar* VK_IntToHexW(int32_t value, int digits, int64_t* len);
VKL_API char* VK_Int64ToHex(int64_t value, int digits, int64_t* len);
VKL_API vkl_wchar* VK_Int64ToHexW(int64_t value, int digits, int64_t* len);

/* ---- Text to integers ----
 * Leading blanks, a sign, then decimal digits or hexadecimal ones after $ or 0x; nothing may
 * follow. Hexadecimal texts give the bit pattern ($FFFFFFFF is -1 for 32 bits). Out of range
 * is a failure. The try forms return 1 and set *out, or return 0 and leave it alone. */
VKL_API int VK_trystrtoint(const char* s, int64_t len, int32_t* out);
VKL_API int VK_trystrtointW(const vkl_wchar* s, int64_t len, int32_t* out);
VKL_API int VK_trystrtoint64(const char* s, int64_t len, int64_t* out);
VKL_API int VK_trystrtoint64W(const vkl_wchar* s, int64_t len, int64_t* out);
VKL_API int32_t VK_strtointdef(const char* s, int64_t len, int32_t def);
VKL_API int32_t VK_strtointdefW(const vkl_wchar* s, int64_t len, int32_t def);
/* Hexadecimal digits only (an optional $ or 0x in front), up to 16 of them. */
VKL_API int VK_HexToInt(const char* s, int64_t len, int64_t* out);

/* ---- Text to reals and currency ----
 * Blanks around, a sign, digits with the settings' decimal separator, an exponent E or e with
 * an optional sign; INF, -INF and NAN in any case. Out of the double's range is a failure; a
 * value too small for it is 0. Currency rounds to four decimals (half away from zero) and fails
 * outside the int64 range. */
VKL_API int VK_trystrtofloat(const char* s, int64_t len, double* out,
                             const VKL_FormatSettings* settings);
VKL_API int VK_trystrtofloatW(const vkl_wchar* s, int64_t len, double* out,
                              const VKL_FormatSettings* settings);
VKL_API int VK_TextToCurrencyA(const char* s, int64_t len, VK_Currency* out,
                               const VKL_FormatSettings* settings);
VKL_API int VK_TextToCurrencyW(const vkl_wchar* s, int64_t len, VK_Currency* out,
                               const VKL_FormatSettings* settings);
/* A currency's nearest double and a double's nearest currency (0 when out of range or NaN). */
VKL_API double VK_CurrToFloat(VK_Currency value);
VKL_API int VK_FloatToCurr(double value, VK_Currency* out);

/* ---- Booleans ----
 * "true" and "false" in any case, otherwise a 64-bit integer: 1 when not zero. */
VKL_API int VK_trystrtobool(const char* s, int64_t len, int* out);
VKL_API int VK_trystrtoboolW(const vkl_wchar* s, int64_t len, int* out);
/* "-1" / "0", or with useBoolStrs "True" / "False". */
VKL_API char* VK_BoolToStr(int value, int useBoolStrs, int64_t* len);
VKL_API vkl_wchar* VK_BoolToStrW(int value, int useBoolStrs, int64_t* len);

/* ---- Reals and currency as text (VKL_Malloc'd) ---- */

/* General format, 15 significant digits. */
VKL_API char* VK_FloatToStr(double value, const VKL_FormatSettings* settings, int64_t* len);
VKL_API vkl_wchar* VK_FloatToStrW(double value, const VKL_FormatSettings* settings,
                                  int64_t* len);
/* General format with all four decimals as needed. */
VKL_API char* VK_CurrToStr(VK_Currency value, const VKL_FormatSettings* settings, int64_t* len);
VKL_API vkl_wchar* VK_CurrToStrW(VK_Currency value, const VKL_FormatSettings* settings,
                                 int64_t* len);
/* The pattern language of FloatToTextFmt. */
VKL_API char* VK_FormatFloat(const char* format, int64_t formatLen, double value,
                             const VKL_FormatSettings* settings, int64_t* len);
VKL_API vkl_wchar* VK_FormatFloatW(const vkl_wchar* format, int64_t formatLen, double value,
                                   const VKL_FormatSettings* settings, int64_t* len);
VKL_API char* VK_FormatCurr(const char* format, int64_t formatLen, VK_Currency value,
                            const VKL_FormatSettings* settings, int64_t* len);
VKL_API vkl_wchar* VK_FormatCurrW(const vkl_wchar* format, int64_t formatLen, VK_Currency value,
                                  const VKL_FormatSettings* settings, int64_t* len);

/* ---- The classic Str and Val ---- */

/* Str of a real: sign or blank, 15 significant digits in scientific form with a four-digit
 * exponent (" 1.50000000000000E+0000"). */
VKL_API char* VK_StrReal(double value, int64_t* len);
VKL_API vkl_wchar* VK_StrRealW(double value, int64_t* len);
/* Val: leading blanks, a sign, digits with '.' as the decimal point, an exponent. Returns 0
 * and sets *value, or returns the 1-based position of the first character that does not fit
 * (the length + 1 when the text ends too soon) and sets *value to 0. */
VKL_API int VK_Val(const char* s, int64_t len, double* value);
VKL_API int VK_ValW(const vkl_wchar* s, int64_t len, double* value);

#ifdef __cplusplus
}
#endif
#endif /* VKL_VK_NUMBERS_H */
