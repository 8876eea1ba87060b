// File names and multibyte characters of the system group: the plain functions follow this
// platform's rules (forward slashes), the win ones drive letters and backslashes, the posix
// ones forward slashes; positions count bytes of the host code page (units of a wide string).
#pragma once

#include <vkl/coded.h>

#include "text/coded.h"

namespace vkl::text {

int filename_routine(VKL_State* L, TObject* args, TObject* result, int code);

inline constexpr CodedFunction kFileNameFunctions[] = {
    {"changefileext", "changefileext(name, ext)", "name with its extension replaced by ext",
     text_fn(59, kStrStr, filename_routine)},
    {"extractfilepath", "extractfilepath(name)", "the directory part with its delimiter",
     text_fn(60, kStr, filename_routine)},
    {"extractfiledir", "extractfiledir(name)", "the directory part without its delimiter",
     text_fn(61, kStr, filename_routine)},
    {"extractfiledrive", "extractfiledrive(name)", "the drive part (none on this platform)",
     text_fn(62, kStr, filename_routine)},
    {"extractfilename", "extractfilename(name)", "the name after the last delimiter",
     text_fn(63, kStr, filename_routine)},
    {"extractfileext", "extractfileext(name)", "the extension with its dot",
     text_fn(64, kStr, filename_routine)},
    {"extractrelativepath", "extractrelativepath(base, dest)", "dest relative to base's directory",
     text_fn(65, kStrStr, filename_routine)},
    {"bytetype", "bytetype(s, index)", "0 single, 1 lead, 2 trail byte at index",
     text_fn(68, kStrNum, filename_routine)},
    {"bytetocharlen", "bytetocharlen(s, maxlen)", "characters within the first maxlen bytes",
     text_fn(69, kStrNum, filename_routine)},
    {"chartobytelen", "chartobytelen(s, maxlen)", "bytes of the first maxlen characters",
     text_fn(70, kStrNum, filename_routine)},
    {"bytetocharindex", "bytetocharindex(s, index)", "the character holding byte index",
     text_fn(71, kStrNum, filename_routine)},
    {"chartobyteindex", "chartobyteindex(s, index)", "the first byte of character index",
     text_fn(72, kStrNum, filename_routine)},
    {"charlength", "charlength(s, index)", "bytes of the character at byte index",
     text_fn(73, kStrNum, filename_routine)},
    {"nextcharindex", "nextcharindex(s, index)", "byte position of the next character",
     text_fn(74, kStrNum, filename_routine)},
    {"ispathdelimiter", "ispathdelimiter(s, index)", "1 when a path delimiter is at index",
     text_fn(75, kStrNum, filename_routine)},
    {"isdelimiter", "isdelimiter(delims, s, index)", "1 when one of delims is at index",
     text_fn(76, kStrStrNum, filename_routine)},
    {"includetrailingpathdelimiter", "includetrailingpathdelimiter(path)",
     "path ending in a delimiter", text_fn(77, kStr, filename_routine)},
    {"includetrailingbackslash", "includetrailingbackslash(path)",
     "path ending in a delimiter", text_fn(78, kStr, filename_routine)},
    {"excludetrailingpathdelimiter", "excludetrailingpathdelimiter(path)",
     "path without a final delimiter", text_fn(79, kStr, filename_routine)},
    {"excludetrailingbackslash", "excludetrailingbackslash(path)",
     "path without a final delimiter", text_fn(80, kStr, filename_routine)},
    {"lastdelimiter", "lastdelimiter(delims, s)", "position of the last of delims in s (0: none)",
     text_fn(81, kStrStr, filename_routine)},
    {"ansicomparefilename", "ansicomparefilename(a, b)", "-1, 0, 1 comparing file names",
     text_fn(82, kStrStr, filename_routine)},
    {"samefilename", "samefilename(a, b)", "1 when a and b name the same file",
     text_fn(83, kStrStr, filename_routine)},
    {"ansilowercasefilename", "ansilowercasefilename(name)", "name in lower case",
     text_fn(84, kStr, filename_routine)},
    {"ansiuppercasefilename", "ansiuppercasefilename(name)", "name in upper case",
     text_fn(85, kStr, filename_routine)},
    {"changefileextwin", "changefileextwin(name, ext)", "changefileext with Windows names",
     text_fn(109, kStrStr, filename_routine), kNoLegacy},
    {"extractfilepathwin", "extractfilepathwin(name)", "extractfilepath with Windows names",
     text_fn(110, kStr, filename_routine), kNoLegacy},
    {"extractfiledirwin", "extractfiledirwin(name)", "extractfiledir with Windows names",
     text_fn(111, kStr, filename_routine), kNoLegacy},
    {"extractfiledrivewin", "extractfiledrivewin(name)", "the drive: \"C:\" or \"\\\\host\\share\"",
     text_fn(112, kStr, filename_routine), kNoLegacy},
    {"extractfilenamewin", "extractfilenamewin(name)", "extractfilename with Windows names",
     text_fn(113, kStr, filename_routine), kNoLegacy},
    {"extractfileextwin", "extractfileextwin(name)", "extractfileext with Windows names",
     text_fn(114, kStr, filename_routine), kNoLegacy},
    {"extractrelativepathwin", "extractrelativepathwin(base, dest)",
     "extractrelativepath with Windows names", text_fn(115, kStrStr, filename_routine),
     kNoLegacy},
    {"changefileextposix", "changefileextposix(name, ext)", "changefileext with POSIX names",
     text_fn(116, kStrStr, filename_routine), kNoLegacy},
    {"extractfilepathposix", "extractfilepathposix(name)", "extractfilepath with POSIX names",
     text_fn(117, kStr, filename_routine), kNoLegacy},
    {"extractfiledirposix", "extractfiledirposix(name)", "extractfiledir with POSIX names",
     text_fn(118, kStr, filename_routine), kNoLegacy},
    {"extractfilenameposix", "extractfilenameposix(name)", "extractfilename with POSIX names",
     text_fn(119, kStr, filename_routine), kNoLegacy},
    {"extractfileextposix", "extractfileextposix(name)", "extractfileext with POSIX names",
     text_fn(120, kStr, filename_routine), kNoLegacy},
    {"extractrelativepathposix", "extractrelativepathposix(base, dest)",
     "extractrelativepath with POSIX names", text_fn(121, kStrStr, filename_routine),
     kNoLegacy},
};

inline constexpr auto kFileNameRows =
    coded_rows<kFileNameFunctions, ExtensionModule::CoreAux2>();

}  // namespace vkl::text
