// Command lines as one text, the way the other platform passes them to a child: arguments are
// quoted into one line, and a line is split back into arguments by that platform's rules.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vkl::system {

// Appends one argument, quoted, to a line (separated by a blank when the line is not empty).
// A double quote, or a backslash that ends the argument, is written twice; an argument with
// either, or with a blank, is enclosed in double quotes. An empty argument adds nothing.
void append_quoted_argument(std::string* line, std::string_view arg);

// Splits a line into arguments: blanks and tabs separate; double quotes group; inside quotes
// two double quotes are one; 2n backslashes before a double quote are n backslashes (and the
// quote groups), 2n + 1 are n and a literal quote; other backslashes are literal. The first
// argument, the program, ends at the first blank outside quotes and knows no escapes.
std::vector<std::string> split_command_line(std::string_view line);

}  // namespace vkl::system
