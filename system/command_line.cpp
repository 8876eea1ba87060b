#include "system/command_line.h"

#include <vkl/kernel.h>

namespace vkl::system {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

// The index after the character at `i`.
size_t next_char(std::string_view s, size_t i, bool double_byte) {
  if (!double_byte) return i + 1;
  const int64_t next =
      VKL_NextCharIndex(s.data(), static_cast<int64_t>(s.size()), static_cast<int64_t>(i));
  return next > static_cast<int64_t>(i) ? static_cast<size_t>(next) : i + 1;
}

// One argument from `at` to the first blank outside quotes, by the rules in the header;
// `program` takes no backslash escapes outside quotes. The index after it.
size_t take_argument(std::string_view line, size_t at, bool double_byte, bool program,
                     std::string* out) {
  bool quoted = false;
  while (at < line.size() && (quoted || !is_blank(line[at]))) {
    size_t backslashes = 0;
    while (at < line.size() && line[at] == '\\') ++backslashes, ++at;
    if (at == line.size() || line[at] != '"') {
      out->append(backslashes, '\\');
      if (at == line.size() || (!quoted && is_blank(line[at]))) break;
      const size_t next = next_char(line, at, double_byte);
      out->append(line.substr(at, next - at));
      at = next;
    } else if (quoted && at + 1 < line.size() && line[at + 1] == '"') {
      out->append(backslashes, '\\');
      *out += '"';
      at += 2;
    } else if (quoted) {
      out->append(backslashes > 0 ? backslashes - 1 : 0, '\\');
      quoted = false;
      ++at;
    } else if (program) {
      out->append(backslashes, '\\');
      quoted = true;
      ++at;
    } else {
      out->append(backslashes / 2, '\\');
      if (backslashes % 2)
        *out += '"';
      else
        quoted = true;
      ++at;
    }
  }
  return at;
}

}  // namespace

void append_quoted_argument(std::string* line, std::string_view arg, bool double_byte) {
  std::string written;
  bool quote = false;
  for (size_t i = 0, next = 0; i < arg.size(); i = next) {
    next = next_char(arg, i, double_byte);
    const std::string_view c = arg.substr(i, next - i);
    const bool doubled = c == "\"" || (c == "\\" && next == arg.size());
    written += c;
    if (doubled) written += c;
    quote = quote || doubled || c == " " || c == "\t";
  }
  if (written.empty()) return;
  if (!line->empty()) *line += ' ';
  if (quote) *line += '"';
  *line += written;
  if (quote) *line += '"';
}

std::vector<std::string> split_command_line(std::string_view line, bool double_byte) {
  std::vector<std::string> args;
  size_t at = 0;
  while (at < line.size()) {
    while (at < line.size() && is_blank(line[at])) ++at;
    if (at == line.size()) break;
    std::string arg;
    at = take_argument(line, at, double_byte, args.empty(), &arg);
    args.push_back(std::move(arg));
  }
  return args;
}

}  // namespace vkl::system
