// The tokens of a script: the lexer reads UTF-8 source and decodes literals on the way, narrow
// strings into the host code page, wide strings into UTF-16, binaries into raw bytes.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vkl::lang {

enum class Tok {
  End,
  Ident,
  Int,     // int_value, int64_suffix (5L)
  Real,    // real_value
  String,  // text: host code page bytes
  WString, // wide
  Binary,  // text: raw bytes
  // punctuation
  Assign, LParen, RParen, LBracket, RBracket, Comma, Semicolon, Colon, Dot, At,
  Plus, Minus, Star, Slash, Eq, Ne, Lt, Gt, Le, Ge,
  // keywords
  KwAnd, KwOr, KwNot, KwDiv, KwMod, KwIf, KwThen, KwElse, KwWhile, KwDo, KwFor, KwTo,
  KwDownto, KwBegin, KwEnd, KwFunction, KwReturn, KwBreak, KwContinue, KwEcho, KwNil,
  KwArray, KwGlobal, KwInf, KwNan
};

struct Token {
  Tok kind = Tok::End;
  int line = 0;
  std::string text;  // identifier (as written), string or binary bytes
  std::u16string wide;
  int64_t int_value = 0;  // 2^63 reads as INT64_MIN; only a leading minus makes it valid
  bool int64_suffix = false;
  double real_value = 0;
};

// A malformed script. `at_end` is set when the source simply stopped too early (an open
// string, comment or block), which an interactive reader answers by reading more lines.
struct SyntaxError : std::runtime_error {
  SyntaxError(const std::string& message, int where, bool early_end)
      : std::runtime_error(message), line(where), at_end(early_end) {}
  int line;
  bool at_end;
};

std::vector<Token> tokenize(std::string_view source, int first_line = 1);

// The spelling of a token kind for messages ("':='", "end", "identifier" ...).
const char* token_name(Tok kind);

}  // namespace vkl::lang
