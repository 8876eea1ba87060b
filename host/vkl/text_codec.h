// Conversions between the script source's UTF-8, the host code page of narrow strings and the
// UTF-16 of wide strings, all through the kernel's code-page routines.
#pragma once

#include <vkl/object.h>

#include <string>
#include <string_view>

namespace vkl::lang {

// UTF-8 to the host code page; characters the code page lacks become its substitute.
std::string utf8_to_host(std::string_view utf8);
// Host code page to UTF-8, for printing narrow strings.
std::string host_to_utf8(std::string_view host);
std::u16string utf8_to_wide(std::string_view utf8);
std::u16string host_to_wide(std::string_view host);
std::string wide_to_utf8(std::u16string_view wide);

// ASCII letters lowered; names of variables and functions ignore case.
std::string ascii_lower(std::string_view s);

// The UTF-8 form of a code point (a lone surrogate is written as U+FFFD).
void append_utf8(std::string& out, char32_t cp);

}  // namespace vkl::lang
