// String functions of the system group. The driver has checked the count and kinds; a routine
// fails (0, result untouched) only for an empty quote character or when memory runs out.
// Numbers read as counts are 64-bit integers; predicates answer the integers 1 and 0.
#include "text/strings.h"

#include <vkl/vk_filenames.h>
#include <vkl/vk_strings.h>

#include <string>

#include "text/text_args.h"

namespace vkl::text {
namespace {

enum StringCode {
  kPos = 0,
  kCopy = 1,
  kCompareStr = 4,
  kUpperCase = 5,
  kLowerCase = 6,
  kCompareText = 7,
  kSameText = 8,
  kTrim = 9,
  kTrimLeft = 10,
  kTrimRight = 11,
  kIsValidIdent = 12,
  kQuotedStr = 55,
  kAnsiQuotedStr = 56,
  kAnsiDequotedStr = 57,
  kAdjustLineBreaks = 58,
  kWrapText = 86,
  kAnsiPos = 87,
  kAnsiToUtf8 = 88,
  kUtf8ToAnsi = 89,
  kUtf8ToUnicode = 95,
  kUnicodeToUtf8 = 96,
  kPosExFn = 122,
};

// The first character of the quote argument; false when it is empty.
bool quote_char(const TObject* q, vkl_wchar* out) {
  if (is_wide(q)) {
    const std::u16string_view w = wide_of(q);
    if (w.empty()) return false;
    *out = w[0];
    return true;
  }
  const std::string_view n = narrow_of(q);
  if (n.empty()) return false;
  *out = static_cast<unsigned char>(n[0]);
  return true;
}

template <auto Narrow, auto Wide>
int quote_op(VKL_State* L, const TObject* s, const TObject* q, TObject* result) {
  vkl_wchar quote = 0;
  if (!quote_char(q, &quote)) return 0;
  if (is_wide(s)) return map_text<Narrow, Wide>(L, s, result, quote);
  return map_text<Narrow, Wide>(L, s, result, static_cast<char>(quote));
}

// copy(s, index, count): index below 1 counts from 1; a negative count copies nothing.
int copy(VKL_State* L, const TObject* s, int64_t index, int64_t count, TObject* result) {
  if (index < 1) index = 1;
  if (count < 0) count = 0;
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    const auto from = static_cast<size_t>(index - 1);
    const std::u16string_view part =
        from < w.size() ? w.substr(from, static_cast<size_t>(count)) : std::u16string_view();
    return VKL_SetWStringEx(L, result, part.data(), length_of(part));
  }
  const std::string_view a = narrow_of(s);
  const auto from = static_cast<size_t>(index - 1);
  const std::string_view part =
      from < a.size() ? a.substr(from, static_cast<size_t>(count)) : std::string_view();
  return VKL_SetStringEx(L, result, part.data(), length_of(part));
}

// pos / ansipos over any kinds: 0 unless both are texts.
template <auto Narrow, auto Wide>
int position(VKL_State* L, const TObject* sub, const TObject* s, TObject* result) {
  const bool texts = is_text(sub) && is_text(s);
  return set_int(L, result, texts ? on_two<Narrow, Wide>(sub, s) : 0);
}

int pos_ex(VKL_State* L, TObject* args, TObject* result) {
  const TObject* sub = coded_arg(args, 0);
  const TObject* s = coded_arg(args, 1);
  const int64_t offset = VKL_AsInt64(coded_arg(args, 2));
  const int64_t count = VKL_AsInt64(coded_arg(args, 3));
  const int cs = VKL_AsBool(coded_arg(args, 4));
  if (!is_wide(sub) && !is_wide(s)) {
    const std::string_view x = narrow_of(sub), y = narrow_of(s);
    return set_int(L, result,
                   VK_PosEx(x.data(), length_of(x), y.data(), length_of(y), offset, count, cs));
  }
  const WideText x(sub), y(s);
  return set_int(L, result, VK_PosExW(x.data(), x.size(), y.data(), y.size(), offset, count, cs));
}

// ansitoutf8: a wide argument goes to UTF-8 directly.
int ansi_to_utf8(VKL_State* L, const TObject* s, TObject* result) {
  int64_t n = 0;
  if (is_wide(s)) {
    const std::u16string_view w = wide_of(s);
    char* out = VK_unicodetoutf8(w.data(), length_of(w), &n);
    return take_text(L, result, out, n);
  }
  const std::string_view a = narrow_of(s);
  char* out = VK_AnsiToUtf8(a.data(), length_of(a), &n);
  return take_text(L, result, out, n);
}

template <auto Convert>
int from_bytes(VKL_State* L, const TObject* s, TObject* result) {
  const std::string_view a = narrow_of(s);
  int64_t n = 0;
  auto* out = Convert(a.data(), length_of(a), &n);
  return take_text(L, result, out, n);
}

int unicode_to_utf8(VKL_State* L, const TObject* s, TObject* result) {
  const WideText w(s);
  int64_t n = 0;
  char* out = VK_unicodetoutf8(w.data(), w.size(), &n);
  return take_text(L, result, out, n);
}

int run(VKL_State* L, TObject* args, TObject* result, int code) {
  const TObject* s = coded_arg(args, 0);
  switch (code) {
    case kPos:
      return position<VK_Pos, VK_PosW>(L, s, coded_arg(args, 1), result);
    case kAnsiPos:
      return position<VK_AnsiPos, VK_AnsiPosW>(L, s, coded_arg(args, 1), result);
    case kPosExFn:
      return pos_ex(L, args, result);
    case kCopy:
      return copy(L, s, VKL_AsInt64(coded_arg(args, 1)), VKL_AsInt64(coded_arg(args, 2)),
                  result);
    case kCompareStr:
      return set_int(L, result, on_two<VK_CompareStr, VK_CompareStrW>(s, coded_arg(args, 1)));
    case kCompareText:
      return set_int(L, result, on_two<VK_CompareText, VK_CompareTextW>(s, coded_arg(args, 1)));
    case kSameText:
      return set_int(L, result, on_two<VK_sametext, VK_wsametext>(s, coded_arg(args, 1)));
    case kUpperCase:
      return map_text<VK_UpperCase, VK_UpperCaseW>(L, s, result);
    case kLowerCase:
      return map_text<VK_LowerCase, VK_LowerCaseW>(L, s, result);
    case kTrim:
      return map_text<VK_Trim, VK_TrimW>(L, s, result);
    case kTrimLeft:
      return map_text<VK_TrimLeft, VK_TrimLeftW>(L, s, result);
    case kTrimRight:
      return map_text<VK_TrimRight, VK_TrimRightW>(L, s, result);
    case kIsValidIdent:
      return set_int(L, result,
                     is_wide(s) ? VK_IsValidIdentW(wide_of(s).data(), length_of(wide_of(s)))
                                : VK_IsValidIdent(narrow_of(s).data(), length_of(narrow_of(s))));
    case kQuotedStr:
      return map_text<VK_QuotedStr, VK_QuotedStrW>(L, s, result);
    case kAnsiQuotedStr:
      return quote_op<VK_AnsiQuotedStr, VK_AnsiQuotedStrW>(L, s, coded_arg(args, 1), result);
    case kAnsiDequotedStr:
      return quote_op<VK_AnsiDequotedStr, VK_AnsiDequotedStrW>(L, s, coded_arg(args, 1), result);
    case kAdjustLineBreaks:
      return map_text<VK_AdjustLineBreaks, VK_AdjustLineBreaksW>(
          L, s, result, VKL_AsInt(coded_arg(args, 1)));
    case kWrapText:
      return map_text<VK_WrapText, VK_WrapTextW>(L, s, result, VKL_AsInt64(coded_arg(args, 1)));
    case kAnsiToUtf8:
      return ansi_to_utf8(L, s, result);
    case kUtf8ToAnsi:
      return from_bytes<VK_utf8toansi>(L, s, result);
    case kUtf8ToUnicode:
      return from_bytes<VK_utf8tounicode>(L, s, result);
    case kUnicodeToUtf8:
      return unicode_to_utf8(L, s, result);
    default:
      return 0;
  }
}

// Appends the bytes of a narrow text, or a wide text converted through the host code page.
void append_narrow(std::string& whole, const TObject* piece) {
  if (!is_wide(piece)) {
    whole += narrow_of(piece);
    return;
  }
  const std::u16string_view w = wide_of(piece);
  const int64_t n = VKL_WideToMultiByte(0, w.data(), length_of(w), nullptr, 0);
  if (n <= 0) return;
  const size_t at = whole.size();
  whole.resize(at + static_cast<size_t>(n));
  VKL_WideToMultiByte(0, w.data(), length_of(w), whole.data() + at, n);
}

bool is_string(const TObject* o) { return vkl_is_string_tag(o->tag) || is_wide(o); }

int append_pieces(VKL_State* L, TObject* args, int nargs) {
  TObject* target = coded_arg(args, 0);
  const auto limit = static_cast<size_t>(VKL_GetMaxStrLen());
  if (is_wide(target)) {
    std::u16string whole(wide_of(target));
    for (int i = 1; i < nargs && whole.size() <= limit; ++i) {
      const WideText piece(coded_arg(args, i));
      whole.append(piece.data(), static_cast<size_t>(piece.size()));
    }
    return whole.size() <= limit && VKL_SetWStringEx(L, target, whole.data(), length_of(whole));
  }
  std::string whole(narrow_of(target));
  for (int i = 1; i < nargs && whole.size() <= limit; ++i) append_narrow(whole, coded_arg(args, i));
  return whole.size() <= limit && VKL_SetStringEx(L, target, whole.data(), length_of(whole));
}

}  // namespace

// appendstr(target, piece, ...): target (by reference) followed by every piece, in the width of
// target; a piece that is no string fails the call with target unchanged.
int string_appendstr(VKL_State* L, TObject* args, int nargs, TObject* result) {
  (void)result;  // a procedure: target is the answer
  if (nargs < 2) return 0;
  for (int i = 0; i < nargs; ++i)
    if (!is_string(coded_arg(args, i))) return 0;
  return unless_out_of_memory([&] { return append_pieces(L, args, nargs); });
}

int string_routine(VKL_State* L, TObject* args, TObject* result, int code) {
  return unless_out_of_memory([&] { return run(L, args, result, code); });
}

}  // namespace vkl::text
