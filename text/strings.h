// The string functions of the system group: case mapping, comparison, trimming, quoting, line
// breaks, positions, wrapping and UTF-8. Each follows the width of its principal string.
#pragma once

#include <vkl/coded.h>

#include "text/coded.h"

namespace vkl::text {

int string_routine(VKL_State* L, TObject* args, TObject* result, int code);

inline constexpr CodedFunction kStringFunctions[] = {
    {"pos", "pos(sub, s)", "position of the first sub in s (0: none)",
     text_fn(0, kCommon2, string_routine)},
    {"copy", "copy(s, index, count)", "count characters of s from index (1-based)",
     text_fn(1, kStrNumNum, string_routine)},
    {"comparestr", "comparestr(a, b)", "<0, 0, >0 as a sorts before, with, after b (case matters)",
     text_fn(4, kStrStr, string_routine)},
    {"uppercase", "uppercase(s)", "s with the ASCII letters in upper case",
     text_fn(5, kStr, string_routine)},
    {"lowercase", "lowercase(s)", "s with the ASCII letters in lower case",
     text_fn(6, kStr, string_routine)},
    {"comparetext", "comparetext(a, b)", "comparestr ignoring the case of ASCII letters",
     text_fn(7, kStrStr, string_routine)},
    {"sametext", "sametext(a, b)", "1 when a and b are equal ignoring ASCII case",
     text_fn(8, kStrStr, string_routine)},
    {"trim", "trim(s)", "s without white space at both ends", text_fn(9, kStr, string_routine)},
    {"trimleft", "trimleft(s)", "s without leading white space",
     text_fn(10, kStr, string_routine)},
    {"trimright", "trimright(s)", "s without trailing white space",
     text_fn(11, kStr, string_routine)},
    {"isvalidident", "isvalidident(s)", "1 when s is an identifier",
     text_fn(12, kStr, string_routine)},
    {"quotedstr", "quotedstr(s)", "s in single quotes, inner quotes doubled",
     text_fn(55, kStr, string_routine)},
    {"ansiquotedstr", "ansiquotedstr(s, quote)", "s in the quote character, inner ones doubled",
     text_fn(56, kStrStr, string_routine)},
    {"ansidequotedstr", "ansidequotedstr(s, quote)", "s without its quotes (as is if unquoted)",
     text_fn(57, kStrStr, string_routine)},
    {"adjustlinebreaks", "adjustlinebreaks(s, style)", "line breaks as LF (0) or CR LF (1)",
     text_fn(58, kStrNum, string_routine)},
    {"wraptext", "wraptext(line, maxcol)", "line broken at blanks to lines of maxcol",
     text_fn(86, kStrNum, string_routine)},
    {"ansipos", "ansipos(sub, s)", "pos counting only matches at character starts",
     text_fn(87, kCommon2, string_routine)},
    {"ansitoutf8", "ansitoutf8(s)", "s as UTF-8 bytes", text_fn(88, kStr, string_routine)},
    {"utf8toansi", "utf8toansi(bytes)", "UTF-8 bytes as a text of the host code page",
     text_fn(89, kBytes, string_routine)},
    {"utf8tounicode", "utf8tounicode(bytes)", "UTF-8 bytes as a wide string",
     text_fn(95, kBytes, string_routine)},
    {"unicodetoutf8", "unicodetoutf8(w)", "a wide string as UTF-8 bytes",
     text_fn(96, kWide, string_routine)},
    {"posex", "posex(sub, s, offset, count, casesensitive)",
     "position of sub in count characters of s from offset (0: none)",
     text_fn(122, kPosEx, string_routine), kNoLegacy},
};

int string_appendstr(VKL_State* L, TObject* args, int nargs, TObject* result);

// String functions with their own handler.
inline constexpr FunctionRow kStringOwnRows[] = {
    {"appendstr", string_appendstr, "appendstr(target, piece, ...)",
     "appends the pieces to target (by reference) in its width"},
};

inline constexpr auto kStringRows = coded_rows<kStringFunctions, ExtensionModule::CoreAux2>();

}  // namespace vkl::text
