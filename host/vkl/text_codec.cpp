#include "host/vkl/text_codec.h"

#include <vkl/kernel.h>

namespace vkl::lang {
namespace {

constexpr int kUtf8 = 65001;
constexpr int kHostCodePage = 0;

std::u16string to_wide(int codePage, std::string_view text) {
  const auto len = static_cast<int64_t>(text.size());
  const int64_t units = VKL_MultiByteToWide(codePage, text.data(), len, nullptr, 0);
  if (units <= 0) return {};
  std::u16string wide(static_cast<size_t>(units), u'\0');
  const int64_t got = VKL_MultiByteToWide(codePage, text.data(), len, wide.data(), units);
  wide.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return wide;
}

std::string from_wide(int codePage, std::u16string_view wide) {
  const auto len = static_cast<int64_t>(wide.size());
  const int64_t bytes = VKL_WideToMultiByte(codePage, wide.data(), len, nullptr, 0);
  if (bytes <= 0) return {};
  std::string out(static_cast<size_t>(bytes), '\0');
  const int64_t got = VKL_WideToMultiByte(codePage, wide.data(), len, out.data(), bytes);
  out.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return out;
}

// ASCII reads the same in UTF-8 and in every host code page.
bool is_ascii(std::string_view text) {
  for (const char c : text)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

}  // namespace

std::string utf8_to_host(std::string_view utf8) {
  if (is_ascii(utf8)) return std::string(utf8);
  return from_wide(kHostCodePage, to_wide(kUtf8, utf8));
}

std::string host_to_utf8(std::string_view host) {
  if (is_ascii(host)) return std::string(host);
  return from_wide(kUtf8, to_wide(kHostCodePage, host));
}

std::u16string utf8_to_wide(std::string_view utf8) { return to_wide(kUtf8, utf8); }

std::u16string host_to_wide(std::string_view host) { return to_wide(kHostCodePage, host); }

std::string wide_to_utf8(std::u16string_view wide) { return from_wide(kUtf8, wide); }

std::string ascii_lower(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

void append_utf8(std::string& out, char32_t cp) {
  if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xFFFD;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

}  // namespace vkl::lang
