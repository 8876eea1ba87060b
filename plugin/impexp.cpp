// The "vkl string" format. Saving writes the value's literal text and succeeds only when every
// byte reached the file; loading parses the whole file (an unreadable or empty file is an
// empty text) and succeeds when the text is one literal.
#include "plugin/impexp.h"

#include <vkl/kernel.h>

#include <cstring>
#include <exception>
#include <memory>
#include <string>

namespace vkl::plugin {
namespace {

// Created (or truncated) for reading and writing.
constexpr int kCreateMode = 0xFF00;
// Read only, others still allowed to read and write (share mode "deny none").
constexpr int kReadSharedMode = 0x0040;

struct StreamCloser {
  void operator()(VKL_Stream* s) const { VKL_StreamFree(s); }
};
using StreamPtr = std::unique_ptr<VKL_Stream, StreamCloser>;

struct TextFree {
  void operator()(char* text) const { VKL_Free(text); }
};

// The text is made first, then the file: a value without a text form leaves the file alone.
template <class Open>
int save_text(VKL_State* L, const TObject* value, Open open) {
  const std::unique_ptr<char, TextFree> text(VKL_ObjToStr(L, value, 1));
  if (!text) return 0;
  const StreamPtr stream(open());
  if (!stream) return 0;
  const auto len = static_cast<int64_t>(std::strlen(text.get()));
  return VKL_StreamWrite(stream.get(), text.get(), len) == len ? 1 : 0;
}

// The whole content of a file; empty when it cannot be opened or read.
template <class Open>
int load_text(VKL_State* L, TObject* target, Open open) {
  try {
    std::string text;
    if (const StreamPtr stream{open()}) {
      const int64_t size = VKL_StreamGetSize(stream.get());
      if (size > 0) {
        text.resize(static_cast<size_t>(size));
        const int64_t got = VKL_StreamRead(stream.get(), text.data(), size);
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
      }
    }
    return VKL_StrToObj(L, text.c_str(), target);
  } catch (const std::exception&) {
    return 0;
  }
}

int save(VKL_State* L, const TObject* value, const char* fileName) {
  return save_text(L, value, [&] { return VKL_StreamFileCreate(fileName, kCreateMode); });
}

int save_wide(VKL_State* L, const TObject* value, const vkl_wchar* fileName) {
  return save_text(L, value, [&] { return VKL_StreamFileCreateW(fileName, kCreateMode); });
}

int load(VKL_State* L, TObject* target, const char* fileName) {
  return load_text(L, target, [&] { return VKL_StreamFileCreate(fileName, kReadSharedMode); });
}

int load_wide(VKL_State* L, TObject* target, const vkl_wchar* fileName) {
  return load_text(L, target, [&] { return VKL_StreamFileCreateW(fileName, kReadSharedMode); });
}

const VKL_ImpExpFormat kVklStringFormat = {kVklStringFormatId, "vkl string", save,
                                           save_wide,          load,         load_wide};

}  // namespace

const VKL_ImpExpFormat* vkl_string_format() {
  return &kVklStringFormat;
}

}  // namespace vkl::plugin
