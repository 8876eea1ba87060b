#include "system/command_line.h"

namespace vkl::system {

void append_quoted_argument(std::string* line, std::string_view arg) {
  std::string written;
  bool quote = false;
  for (size_t i = 0; i < arg.size(); ++i) {
    const char c = arg[i];
    const bool doubled = c == '"' || (c == '\\' && i + 1 == arg.size());
    written += c;
    if (doubled) written += c;
    quote = quote || doubled || c == ' ';
  }
  if (written.empty()) return;
  if (!line->empty()) *line += ' ';
  if (quote) *line += '"';
  *line += written;
  if (quote) *line += '"';
}

namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

// The program name: up to the first blank outside quotes, quotes removed, no escapes.
size_t take_program(std::string_view line, size_t at, std::string* out) {
  bool quoted = false;
  for (; at < line.size() && (quoted || !is_blank(line[at])); ++at) {
    if (line[at] == '"')
      quoted = !quoted;
    else
      *out += line[at];
  }
  return at;
}

size_t take_argument(std::string_view line, size_t at, std::string* out) {
  bool quoted = false;
  while (at < line.size() && (quoted || !is_blank(line[at]))) {
    size_t backslashes = 0;
    while (at < line.size() && line[at] == '\\') ++backslashes, ++at;
    if (at < line.size() && line[at] == '"') {
      out->append(backslashes / 2, '\\');
      if (backslashes % 2) {
        *out += '"';
      } else if (quoted && at + 1 < line.size() && line[at + 1] == '"') {
        *out += '"';
        ++at;
      } else {
        quoted = !quoted;
      }
      ++at;
    } else {
      out->append(backslashes, '\\');
      if (at < line.size() && (quoted || !is_blank(line[at]))) *out += line[at++];
    }
  }
  return at;
}

}  // namespace

std::vector<std::string> split_command_line(std::string_view line) {
  std::vector<std::string> args;
  size_t at = 0;
  while (at < line.size()) {
    while (at < line.size() && is_blank(line[at])) ++at;
    if (at == line.size()) break;
    std::string arg;
    at = args.empty() ? take_program(line, at, &arg) : take_argument(line, at, &arg);
    args.push_back(std::move(arg));
  }
  return args;
}

}  // namespace vkl::system
