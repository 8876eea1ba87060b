// Text of a real in the five styles of the formatter (general, exponent, fixed, number,
// currency), with the separators and currency pattern of the format settings.
#pragma once

#include <vkl/format_settings.h>

namespace vkl {

enum class FloatStyle { General, Exponent, Fixed, Number, Currency };

// Room a float text may need, the largest finite value in the number style included.
constexpr int kFloatTextMax = 512;

// Writes the text of `value` to `out` (kFloatTextMax bytes) and returns its length.
// Exponent and General round to `precision` significant digits; `digits` is the least number
// of exponent digits for them, and the number of decimals for the other styles.
int float_text(char* out, double value, FloatStyle style, int precision, int digits,
               const VKL_FormatSettings& fs);

}  // namespace vkl
