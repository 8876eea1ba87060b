// Number conversions of the system group: integers, booleans, reals and currency to and from
// text, with the format settings of the calling state, and the classic str and val.
// Failure policy: a conversion without default whose text is not a number fails the call; a
// def form returns its default; a try form returns 0 and leaves its output alone.
#pragma once

#include <vkl/coded.h>

#include "text/coded.h"

namespace vkl::text {

int number_routine(VKL_State* L, TObject* args, TObject* result, int code);

inline constexpr CodedFunction kNumberFunctions[] = {
    {"str", "str(x, var s)", "s becomes the classic text of x (a real as \" 1.5...E+0000\")",
     text_fn(2, kNum, number_routine, 1, kNoResult)},
    {"val", "val(s, var value, var code)",
     "value parsed from s; code 0, or the 1-based position of the first bad character",
     text_fn(3, kStr, number_routine, 2, kNoResult)},
    {"inttostr", "inttostr(n)", "decimal text of an integer (64-bit beyond 32 bits)",
     text_fn(13, kNum, number_routine)},
    {"inttohex", "inttohex(n, digits)", "upper-case hexadecimal of n's bits, at least digits long",
     text_fn(14, kNumNum, number_routine)},
    {"strtoint", "strtoint(s)", "integer of a decimal or $hex text; fails on other text",
     text_fn(15, kStr, number_routine)},
    {"strtointdef", "strtointdef(s, default)", "integer of s, or default",
     text_fn(16, kStrNum, number_routine)},
    {"trystrtoint", "trystrtoint(s, var n)", "1 and n set when s is an integer, else 0",
     text_fn(17, kStr, number_routine, 1)},
    {"strtobool", "strtobool(s)", "1 for \"true\" or a non-zero integer, 0 for \"false\" or 0",
     text_fn(18, kStr, number_routine)},
    {"strtobooldef", "strtobooldef(s, default)", "boolean of s, or default",
     text_fn(19, kStrNum, number_routine)},
    {"trystrtobool", "trystrtobool(s, var b)", "1 and b set when s is a boolean, else 0",
     text_fn(20, kStr, number_routine, 1)},
    {"booltostr", "booltostr(b)", "\"-1\" or \"0\"", text_fn(21, kNum, number_routine)},
    {"floattostr", "floattostr(x)", "x in general format with 15 significant digits",
     text_fn(22, kNum, number_routine)},
    {"currtostr", "currtostr(x)", "x as currency (four decimals at most)",
     text_fn(23, kNum, number_routine)},
    {"formatfloat", "formatfloat(pattern, x)", "x in a 0 # . , E+ pattern (width of pattern)",
     text_fn(24, kStrNum, number_routine)},
    {"formatcurr", "formatcurr(pattern, x)", "x as currency in a pattern",
     text_fn(25, kStrNum, number_routine)},
    {"strtofloat", "strtofloat(s)", "real of s; fails on other text",
     text_fn(26, kStr, number_routine)},
    {"strtofloatdef", "strtofloatdef(s, default)", "real of s, or default",
     text_fn(27, kStrNum, number_routine)},
    {"trystrtofloat", "trystrtofloat(s, var x)", "1 and x set when s is a real, else 0",
     text_fn(28, kStr, number_routine, 1)},
    {"strtocurr", "strtocurr(s)", "s as currency (rounded to four decimals); fails on other text",
     text_fn(29, kStr, number_routine)},
    {"strtocurrdef", "strtocurrdef(s, default)", "currency of s, or default",
     text_fn(30, kStrNum, number_routine)},
    {"trystrtocurr", "trystrtocurr(s, var x)", "1 and x set when s is a currency, else 0",
     text_fn(31, kStr, number_routine, 1)},
    {"inttostrw", "inttostrw(n)", "inttostr as a wide string", text_fn(90, kNum, number_routine)},
    {"inttohexw", "inttohexw(n, digits)", "inttohex as a wide string",
     text_fn(91, kNumNum, number_routine)},
    {"booltostr2", "booltostr2(b)", "\"True\" or \"False\"", text_fn(92, kNum, number_routine)},
    {"booltostrw", "booltostrw(b)", "L\"-1\" or L\"0\"", text_fn(93, kNum, number_routine)},
    {"booltostrw2", "booltostrw2(b)", "L\"True\" or L\"False\"",
     text_fn(94, kNum, number_routine)},
    {"floattostrw", "floattostrw(x)", "floattostr as a wide string",
     text_fn(97, kNum, number_routine)},
    {"currtostrw", "currtostrw(x)", "currtostr as a wide string",
     text_fn(98, kNum, number_routine)},
    {"strw", "strw(x, var s)", "str with a wide text",
     text_fn(102, kNum, number_routine, 1, kNoResult)},
    {"strtoint64", "strtoint64(s)", "64-bit integer of s; fails on other text",
     text_fn(103, kStr, number_routine), kNoLegacy},
    {"strtoint64def", "strtoint64def(s, default)", "64-bit integer of s, or default",
     text_fn(104, kStrNum, number_routine), kNoLegacy},
    {"trystrtoint64", "trystrtoint64(s, var n)", "1 and n set when s is a 64-bit integer",
     text_fn(105, kStr, number_routine, 1), kNoLegacy},
    {"strtoint32", "strtoint32(s)", "32-bit integer of s; fails on other text or out of range",
     text_fn(106, kStr, number_routine), kNoLegacy},
    {"strtoint32def", "strtoint32def(s, default)", "32-bit integer of s, or default",
     text_fn(107, kStrNum, number_routine), kNoLegacy},
    {"trystrtoint32", "trystrtoint32(s, var n)", "1 and n set when s is a 32-bit integer",
     text_fn(108, kStr, number_routine, 1), kNoLegacy},
    {"uinttostr", "uinttostr(n)", "decimal text of n's bits read unsigned (32 or 64)",
     text_fn(123, kNum, number_routine), kNoLegacy},
    {"uinttostrw", "uinttostrw(n)", "uinttostr as a wide string",
     text_fn(124, kNum, number_routine), kNoLegacy},
};

inline constexpr auto kNumberRows = coded_rows<kNumberFunctions, ExtensionModule::CoreAux2>();

}  // namespace vkl::text
