/* The format settings of a state: separators, date and time patterns, names, currency. Every
 * conversion between text and numbers or dates reads them per call through VKL_GetGFormat.
 * Texts are narrow, in the host code page. */
#ifndef VKL_FORMAT_SETTINGS_H
#define VKL_FORMAT_SETTINGS_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VKL_FormatSettings {
  char decimalSeparator;   /* '.' */
  char thousandSeparator;  /* ',' */
  char dateSeparator;      /* '-' */
  char timeSeparator;      /* ':' */
  char shortDateFormat[32]; /* "yyyy-mm-dd" */
  char longDateFormat[32];  /* "yyyy-mm-dd" */
  char shortTimeFormat[32]; /* "hh:nn" */
  char longTimeFormat[32];  /* "hh:nn:ss" */
  char timeAMString[8];     /* "AM" */
  char timePMString[8];     /* "PM" */
  char shortMonthNames[12][16];
  char longMonthNames[12][16];
  char shortDayNames[7][16]; /* Sunday first */
  char longDayNames[7][16];
  char currencyString[8];   /* "$" */
  unsigned char currencyFormat;    /* 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $" */
  unsigned char negCurrFormat;     /* 1 "-$1" (the sixteen classic negative patterns) */
  unsigned char currencyDecimals;  /* 2 */
  unsigned short twoDigitYearCenturyWindow; /* 50 */
  char listSeparator;       /* ',' */
} VKL_FormatSettings;

/* The settings of a state (a null L: the process defaults). Never null; valid until the
 * state's settings are next changed. */
VKL_API const VKL_FormatSettings* VKL_GetGFormat(VKL_State* L);
/* Replaces the settings of a state (a null L: the process defaults, which new states copy). */
VKL_API void VKL_SetGFormat(VKL_State* L, const VKL_FormatSettings* settings);
/* Fills `settings` with the built-in defaults. */
VKL_API void VKL_DefaultGFormat(VKL_FormatSettings* settings);

#ifdef __cplusplus
}
#endif
#endif /* VKL_FORMAT_SETTINGS_H */
