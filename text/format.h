// Formatting functions: `format` and its relatives build a text from a format and values with
// the kernel's formatter, and either return it or send it to the request output.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"

namespace vkl::text {

// What sets the eight functions apart.
enum FormatFlags : unsigned {
  kFormatAnsi = 1,   // always narrow: a wide format is converted first
  kFormatLine = 2,   // CR LF appended
  kFormatWrite = 4,  // sent to the request output; the result is the number of bytes sent
};

int format_text(VKL_State* L, TObject* args, int nargs, TObject* result, unsigned flags);

// (fmt, value, ...)
template <unsigned Flags>
int format_fn(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return format_text(L, args, nargs, result, Flags);
}

}  // namespace vkl::text

namespace vkl::plugin {

inline constexpr FunctionRow kFormatRows[] = {
    {"format", text::format_fn<0>, "format(fmt, value, ...)",
     "fmt with each %[index:][-][width][.prec]type replaced by a value; wide for a wide fmt"},
    {"formatln", text::format_fn<text::kFormatLine>, "formatln(fmt, value, ...)",
     "format followed by CR LF"},
    {"formatwrite", text::format_fn<text::kFormatWrite>, "formatwrite(fmt, value, ...)",
     "writes format's text to the output; bytes written (two per wide character)"},
    {"formatwriteln", text::format_fn<text::kFormatWrite | text::kFormatLine>,
     "formatwriteln(fmt, value, ...)", "formatwrite followed by CR LF; bytes written"},
    {"ansiformat", text::format_fn<text::kFormatAnsi>, "ansiformat(fmt, value, ...)",
     "format that always gives a narrow string"},
    {"ansiformatln", text::format_fn<text::kFormatAnsi | text::kFormatLine>,
     "ansiformatln(fmt, value, ...)", "ansiformat followed by CR LF"},
    {"ansiformatwrite", text::format_fn<text::kFormatAnsi | text::kFormatWrite>,
     "ansiformatwrite(fmt, value, ...)", "writes ansiformat's text to the output; bytes written"},
    {"ansiformatwriteln",
     text::format_fn<text::kFormatAnsi | text::kFormatWrite | text::kFormatLine>,
     "ansiformatwriteln(fmt, value, ...)", "ansiformatwrite followed by CR LF; bytes written"},
};

}  // namespace vkl::plugin
