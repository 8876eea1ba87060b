// File-name and multibyte-character functions of the system group. The driver has checked the
// count and kinds; a routine fails (0, result untouched) only when memory runs out. Positions
// are read as 64-bit integers; predicates answer 1 and 0.
#include "text/filenames.h"

#include <vkl/vk_filenames.h>
#include <vkl/vk_strings.h>


#include "text/text_args.h"

namespace vkl::text {
namespace {

// A kernel answer about the text `s` at a position.
template <auto Narrow, auto Wide>
int at_index(VKL_State* L, const TObject* s, const TObject* index, TObject* result) {
  const int64_t i = VKL_AsInt64(index);
  if (is_wide(s)) return set_int(L, result, Wide(wide_of(s).data(), length_of(wide_of(s)), i));
  return set_int(L, result, Narrow(narrow_of(s).data(), length_of(narrow_of(s)), i));
}

int same_file_name(const TObject* a, const TObject* b) {
  return on_two<VK_AnsiCompareStr, VK_AnsiCompareStrW>(a, b) == 0;
}

int run(VKL_State* L, TObject* args, TObject* result, int code) {
  const TObject* s = coded_arg(args, 0);
  switch (code) {
    case 59: return map_two<VK_ChangeFileExt, VK_ChangeFileExtW>(L, s, coded_arg(args, 1), result);
    case 60: return map_text<VK_ExtractFilePath, VK_ExtractFilePathW>(L, s, result);
    case 61: return map_text<VK_ExtractFileDir, VK_ExtractFileDirW>(L, s, result);
    case 62: return map_text<VK_ExtractFileDrive, VK_ExtractFileDriveW>(L, s, result);
    case 63: return map_text<VK_ExtractFileName, VK_ExtractFileNameW>(L, s, result);
    case 64: return map_text<VK_ExtractFileExt, VK_ExtractFileExtW>(L, s, result);
    case 65:
      return map_two<VK_ExtractRelativePath, VK_ExtractRelativePathW>(L, s, coded_arg(args, 1),
                                                                       result);
    case 68: return at_index<VK_ByteType, VK_ByteTypeW>(L, s, coded_arg(args, 1), result);
    case 69: return at_index<VK_ByteToCharLen, VK_ByteToCharLenW>(L, s, coded_arg(args, 1), result);
    case 70: return at_index<VK_CharToByteLen, VK_CharToByteLenW>(L, s, coded_arg(args, 1), result);
    case 71:
      return at_index<VK_ByteToCharIndex, VK_ByteToCharIndexW>(L, s, coded_arg(args, 1), result);
    case 72:
      return at_index<VK_CharToByteIndex, VK_CharToByteIndexW>(L, s, coded_arg(args, 1), result);
    case 73: return at_index<VK_CharLength, VK_CharLengthW>(L, s, coded_arg(args, 1), result);
    case 74: return at_index<VK_NextCharIndex, VK_NextCharIndexW>(L, s, coded_arg(args, 1), result);
    case 75:
      return at_index<VK_IsPathDelimiter, VK_IsPathDelimiterW>(L, s, coded_arg(args, 1), result);
    case 76:
      return set_int(L, result, on_two<VK_IsDelimiter, VK_IsDelimiterW>(
                                    s, coded_arg(args, 1), VKL_AsInt64(coded_arg(args, 2))));
    case 77:
    case 78:
      return map_text<VK_IncludeTrailingPathDelimiter, VK_IncludeTrailingPathDelimiterW>(L, s,
                                                                                        result);
    case 79:
    case 80:
      return map_text<VK_ExcludeTrailingPathDelimiter, VK_ExcludeTrailingPathDelimiterW>(L, s,
                                                                                        result);
    case 81:
      return set_int(L, result, on_two<VK_LastDelimiter, VK_LastDelimiterW>(s, coded_arg(args, 1)));
    case 82:
      return set_int(L, result,
                     on_two<VK_AnsiCompareStr, VK_AnsiCompareStrW>(s, coded_arg(args, 1)));
    case 83: return set_int(L, result, same_file_name(s, coded_arg(args, 1)));
    case 84: return map_text<VK_AnsiLowerCase, VK_AnsiLowerCaseW>(L, s, result);
    case 85: return map_text<VK_AnsiUpperCase, VK_AnsiUpperCaseW>(L, s, result);
    case 109:
      return map_two<VK_ChangeFileExtWin, VK_ChangeFileExtWinW>(L, s, coded_arg(args, 1), result);
    case 110: return map_text<VK_ExtractFilePathWin, VK_ExtractFilePathWinW>(L, s, result);
    case 111: return map_text<VK_ExtractFileDirWin, VK_ExtractFileDirWinW>(L, s, result);
    case 112: return map_text<VK_ExtractFileDriveWin, VK_ExtractFileDriveWinW>(L, s, result);
    case 113: return map_text<VK_ExtractFileNameWin, VK_ExtractFileNameWinW>(L, s, result);
    case 114: return map_text<VK_ExtractFileExtWin, VK_ExtractFileExtWinW>(L, s, result);
    case 115:
      return map_two<VK_ExtractRelativePathWin, VK_ExtractRelativePathWinW>(
          L, s, coded_arg(args, 1), result);
    case 116:
      return map_two<VK_ChangeFileExtPosix, VK_ChangeFileExtPosixW>(L, s, coded_arg(args, 1),
                                                                    result);
    case 117: return map_text<VK_ExtractFilePathPosix, VK_ExtractFilePathPosixW>(L, s, result);
    case 118: return map_text<VK_ExtractFileDirPosix, VK_ExtractFileDirPosixW>(L, s, result);
    case 119: return map_text<VK_ExtractFileNamePosix, VK_ExtractFileNamePosixW>(L, s, result);
    case 120: return map_text<VK_ExtractFileExtPosix, VK_ExtractFileExtPosixW>(L, s, result);
    case 121:
      return map_two<VK_ExtractRelativePathPosix, VK_ExtractRelativePathPosixW>(
          L, s, coded_arg(args, 1), result);
    default:
      return 0;
  }
}

}  // namespace

int filename_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  return unless_out_of_memory([&] { return run(L, args, result, code); });
}

}  // namespace vkl::text
