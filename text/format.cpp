// Formatting functions: buffer management around the kernel's formatter, the width, the line
// end and the write forms.
//
// Failure policy: fewer than two arguments, a format that is not a string, a formatter error
// or a text that no string can hold reject the call (0): the result is untouched and nothing
// is written.
#include "text/format.h"

#include <vkl/format_buf.h>
#include <vkl/format_settings.h>
#include <vkl/kernel.h>
#include <vkl/request_output.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "plugin/args.h"

namespace vkl::text {
namespace {

constexpr int64_t kExtraRoom = 1024;
constexpr int64_t kStackChars = 2048;

int64_t run_formatter(char* buf, int64_t chars, std::string_view fmt, const TObject* values,
                      int count, const VKL_FormatSettings* fs) {
  return FormatBufA(buf, chars, fmt.data(), static_cast<int64_t>(fmt.size()), values, count, fs);
}
int64_t run_formatter(vkl_wchar* buf, int64_t chars, std::u16string_view fmt,
                      const TObject* values, int count, const VKL_FormatSettings* fs) {
  return FormatBufW(buf, chars * 2, fmt.data(), static_cast<int64_t>(fmt.size()), values, count,
                    fs);
}

int set_text(VKL_State* L, TObject* o, const char* s, int64_t n) {
  return VKL_SetStringEx(L, o, s, n);
}
int set_text(VKL_State* L, TObject* o, const vkl_wchar* s, int64_t n) {
  return VKL_SetWStringEx(L, o, s, n);
}

// Formats into a buffer that starts at the format's length plus kExtraRoom characters and
// doubles while the text does not fit, then returns the text (with CR LF for a line form) or
// sends it. A buffer of up to kStackChars characters lives on the stack.
template <class Ch>
int format_in_width(VKL_State* L, std::basic_string_view<Ch> fmt, TObject* values, int count,
                    TObject* result, unsigned flags) {
  const VKL_FormatSettings* fs = VKL_GetGFormat(L);
  const int64_t max_chars = VKL_GetMaxStrLen();
  int64_t capacity = static_cast<int64_t>(fmt.size()) + kExtraRoom;
  Ch on_stack[kStackChars + 2];
  std::unique_ptr<Ch[]> on_heap;
  Ch* buf = on_stack;
  int64_t len;
  for (;;) {
    if (!VKL_CheckMoreMem(L, (capacity + 2) * static_cast<int64_t>(sizeof(Ch)))) return 0;
    if (capacity > kStackChars) {
      on_heap.reset(new (std::nothrow) Ch[static_cast<size_t>(capacity) + 2]);
      if (!on_heap) return 0;
      buf = on_heap.get();
    }
    len = run_formatter(buf, capacity, fmt, values, count, fs);
    if (len >= 0) break;
    if (len != VKL_FORMAT_SHORT || capacity > max_chars) return 0;
    capacity *= 2;
  }
  if (flags & kFormatLine) {
    buf[len++] = Ch('\r');
    buf[len++] = Ch('\n');
  }
  if (len > max_chars) return 0;
  if (!(flags & kFormatWrite)) return set_text(L, result, buf, len);
  const int64_t sent = VKL_CGIWrite(L, buf, len * static_cast<int64_t>(sizeof(Ch)));
  VKL_CGIWrite(L, nullptr, 0);
  VKL_SetIntAuto(L, result, sent < 0 ? 0 : sent);
  return 1;
}

}  // namespace

int format_text(VKL_State* L, TObject* args, int nargs, TObject* result, unsigned flags) {
  if (nargs < 2) return 0;
  const TObject* fmt = plugin::arg_at(args, 0);
  TObject* values = args + 1;
  const int count = nargs - 1;
  if (vkl_is_string_tag(fmt->tag)) {
    const std::string_view text(VKL_AsString(fmt), static_cast<size_t>(VKL_StringLen(fmt)));
    return format_in_width(L, text, values, count, result, flags);
  }
  if (fmt->tag != VKL_TWSTRING) return 0;
  const std::u16string_view wide(VKL_AsWString(fmt), static_cast<size_t>(VKL_WStringLen(fmt)));
  if (!(flags & kFormatAnsi)) return format_in_width(L, wide, values, count, result, flags);
  const auto wide_len = static_cast<int64_t>(wide.size());
  const int64_t need = VKL_WideToMultiByte(0, wide.data(), wide_len, nullptr, 0);
  if (need < 0) return 0;
  std::string narrow;
  try {
    narrow.resize(static_cast<size_t>(need));
  } catch (const std::bad_alloc&) {
    return 0;
  }
  VKL_WideToMultiByte(0, wide.data(), wide_len, narrow.data(), need);
  return format_in_width(L, std::string_view(narrow), values, count, result, flags);
}

}  // namespace vkl::text
