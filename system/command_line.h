// Command lines as one text, the way the other platform passes them to a child: arguments are
// quoted into one line, and a line is split back into arguments by that platform's rules,
// adjusted so that splitting a line of quoted arguments gives back exactly those arguments
// (an empty argument adds nothing to a line, so it cannot come back).
//
// Both walk characters: with `double_byte`, a double-byte character of the host code page is
// one character, so that its trail byte is never taken for a backslash.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vkl::system {

// Appends one argument, quoted, to a line (separated by a blank when the line is not empty).
// A double quote, or a backslash that ends the argument, is written twice; an argument with
// either, or with a blank or a tab, is enclosed in double quotes. An empty argument adds
// nothing.
void append_quoted_argument(std::string* line, std::string_view arg, bool double_byte);

// Splits a line into arguments: blanks and tabs separate; double quotes group. Inside quotes,
// two double quotes are one, the backslashes before the closing quote stand for one fewer (the
// quoting doubled the last), and other backslashes are literal. Outside quotes, 2n backslashes
// before a double quote are n (and the quote groups), 2n + 1 are n and a literal quote, other
// backslashes are literal; the first argument, the program, knows no such escapes there.
std::vector<std::string> split_command_line(std::string_view line, bool double_byte);

}  // namespace vkl::system
