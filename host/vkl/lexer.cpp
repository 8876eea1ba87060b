#include "host/vkl/lexer.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "host/vkl/text_codec.h"

namespace vkl::lang {
namespace {

struct Keyword {
  std::string_view word;
  Tok kind;
};

constexpr Keyword kKeywords[] = {
    {"and", Tok::KwAnd},       {"or", Tok::KwOr},         {"not", Tok::KwNot},
    {"div", Tok::KwDiv},       {"mod", Tok::KwMod},       {"if", Tok::KwIf},
    {"then", Tok::KwThen},     {"else", Tok::KwElse},     {"while", Tok::KwWhile},
    {"do", Tok::KwDo},         {"for", Tok::KwFor},       {"to", Tok::KwTo},
    {"downto", Tok::KwDownto}, {"begin", Tok::KwBegin},   {"end", Tok::KwEnd},
    {"function", Tok::KwFunction}, {"return", Tok::KwReturn}, {"break", Tok::KwBreak},
    {"continue", Tok::KwContinue}, {"echo", Tok::KwEcho}, {"nil", Tok::KwNil},
    {"array", Tok::KwArray},   {"global", Tok::KwGlobal}, {"inf", Tok::KwInf},
    {"nan", Tok::KwNan},
};

bool is_ident_start(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_ident_char(char c) { return is_ident_start(c) || is_digit(c); }

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// What a string literal decodes to.
enum class Width { Narrow, Wide, Bytes };

class Lexer {
 public:
  Lexer(std::string_view src, int line) : src_(src), line_(line) {}

  std::vector<Token> run() {
    std::vector<Token> out;
    for (;;) {
      skip_space();
      Token t;
      t.line = line_;
      if (pos_ >= src_.size()) {
        out.push_back(std::move(t));
        return out;
      }
      read_token(t);
      out.push_back(std::move(t));
    }
  }

 private:
  [[noreturn]] void fail(const std::string& msg, bool at_end = false) const {
    throw SyntaxError(msg, line_, at_end);
  }

  char peek(size_t ahead = 0) const {
    return pos_ + ahead < src_.size() ? src_[pos_ + ahead] : '\0';
  }

  void skip_space() {
    while (pos_ < src_.size()) {
      const char c = src_[pos_];
      if (c == '\n') {
        ++line_, ++pos_;
      } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
        ++pos_;
      } else if (c == '/' && peek(1) == '/') {
        while (pos_ < src_.size() && src_[pos_] != '\n') ++pos_;
      } else if (c == '{') {
        const int start = line_;
        ++pos_;
        while (pos_ < src_.size() && src_[pos_] != '}') {
          if (src_[pos_] == '\n') ++line_;
          ++pos_;
        }
        if (pos_ >= src_.size())
          throw SyntaxError("comment opened on line " + std::to_string(start) + " is not closed",
                            line_, true);
        ++pos_;
      } else {
        return;
      }
    }
  }

  void read_token(Token& t) {
    const char c = src_[pos_];
    if ((c == 'L' || c == 'l') && (peek(1) == '"' || peek(1) == '\'')) {
      ++pos_;
      read_string(t, Width::Wide);
    } else if ((c == 'b' || c == 'B') && (peek(1) == '"' || peek(1) == '\'')) {
      ++pos_;
      read_string(t, Width::Bytes);
    } else if (is_ident_start(c)) {
      read_word(t);
    } else if (is_digit(c)) {
      read_number(t);
    } else if (c == '"' || c == '\'') {
      read_string(t, Width::Narrow);
    } else {
      read_punct(t);
    }
  }

  void read_word(Token& t) {
    const size_t start = pos_;
    while (pos_ < src_.size() && is_ident_char(src_[pos_])) ++pos_;
    t.kind = Tok::Ident;
    t.text = std::string(src_.substr(start, pos_ - start));
    const std::string lower = ascii_lower(t.text);
    for (const Keyword& k : kKeywords) {
      if (lower == k.word) {
        t.kind = k.kind;
        return;
      }
    }
  }

  void read_number(Token& t) {
    const size_t start = pos_;
    bool real = false;
    while (is_digit(peek())) ++pos_;
    if (peek() == '.' && is_digit(peek(1))) {
      real = true;
      ++pos_;
      while (is_digit(peek())) ++pos_;
    }
    if (peek() == 'e' || peek() == 'E') {
      size_t at = 1;
      if (peek(at) == '+' || peek(at) == '-') ++at;
      if (is_digit(peek(at))) {
        real = true;
        pos_ += at;
        while (is_digit(peek())) ++pos_;
      }
    }
    const std::string digits(src_.substr(start, pos_ - start));
    const bool int64_suffix = !real && (peek() == 'L' || peek() == 'l') && !is_ident_char(peek(1));
    if (is_ident_start(peek()) && !int64_suffix) fail("malformed number '" + digits + peek() + "'");
    if (!real) {
      errno = 0;
      const unsigned long long v = std::strtoull(digits.c_str(), nullptr, 10);
      // Integers beyond 64 bits are read as reals, like any other inexact number.
      if (errno != ERANGE && v <= static_cast<unsigned long long>(
                                       std::numeric_limits<int64_t>::max()) + 1) {
        t.kind = Tok::Int;
        t.int_value = static_cast<int64_t>(v);
        if (int64_suffix) {
          ++pos_;
          t.int64_suffix = true;
        }
        return;
      }
    }
    t.kind = Tok::Real;
    t.real_value = std::strtod(digits.c_str(), nullptr);
  }

  // Source text between escapes is UTF-8: converted to the host code page for narrow strings
  // and to UTF-16 for wide ones, kept as it is for binaries.
  void flush_run(Token& t, Width width, size_t from, size_t to) {
    if (to <= from) return;
    const std::string_view run = src_.substr(from, to - from);
    if (width == Width::Narrow) t.text += utf8_to_host(run);
    else if (width == Width::Wide) t.wide += utf8_to_wide(run);
    else t.text += run;
  }

  void read_string(Token& t, Width width) {
    const char quote = src_[pos_++];
    const int start_line = line_;
    t.kind = width == Width::Narrow ? Tok::String
             : width == Width::Wide ? Tok::WString
                                    : Tok::Binary;
    size_t run = pos_;
    for (;;) {
      if (pos_ >= src_.size())
        throw SyntaxError("string opened on line " + std::to_string(start_line) +
                              " is not closed",
                          line_, true);
      const char c = src_[pos_];
      if (c == quote) {
        flush_run(t, width, run, pos_);
        ++pos_;
        return;
      }
      if (c == '\n') ++line_;
      if (c != '\\') {
        ++pos_;
        continue;
      }
      flush_run(t, width, run, pos_);
      ++pos_;
      read_escape(t, width);
      run = pos_;
    }
  }

  void read_escape(Token& t, Width width) {
    const char e = peek();
    ++pos_;
    char byte = 0;
    switch (e) {
      case '\\': byte = '\\'; break;
      case '"': byte = '"'; break;
      case '\'': byte = '\''; break;
      case 'n': byte = '\n'; break;
      case 'r': byte = '\r'; break;
      case 't': byte = '\t'; break;
      case '0': byte = '\0'; break;
      case 'x': {
        const int hi = hex_value(peek()), lo = hex_value(peek(1));
        if (hi < 0 || lo < 0) fail("\\x needs two hexadecimal digits");
        pos_ += 2;
        byte = static_cast<char>(hi * 16 + lo);
        break;
      }
      case 'u': {
        unsigned unit = 0;
        for (int i = 0; i < 4; ++i) {
          const int h = hex_value(peek(static_cast<size_t>(i)));
          if (h < 0) fail("\\u needs four hexadecimal digits");
          unit = unit * 16 + static_cast<unsigned>(h);
        }
        pos_ += 4;
        put_unit(t, width, static_cast<char16_t>(unit));
        return;
      }
      default:
        if (pos_ > src_.size()) fail("string is not closed", true);
        fail(std::string("unknown escape \\") + e);
    }
    if (width == Width::Wide) t.wide += static_cast<char16_t>(static_cast<unsigned char>(byte));
    else t.text += byte;
  }

  // A \u escape: one UTF-16 unit in a wide string; in narrow text the character (a surrogate
  // pair written as two escapes is joined first) in the host code page or as UTF-8 bytes.
  void put_unit(Token& t, Width width, char16_t unit) {
    if (width == Width::Wide) {
      t.wide += unit;
      return;
    }
    char32_t cp = unit;
    if (unit >= 0xD800 && unit <= 0xDBFF && peek() == '\\' && peek(1) == 'u') {
      unsigned low = 0;
      bool ok = true;
      for (int i = 0; i < 4 && ok; ++i) {
        const int h = hex_value(peek(static_cast<size_t>(i) + 2));
        ok = h >= 0;
        low = low * 16 + static_cast<unsigned>(h);
      }
      if (ok && low >= 0xDC00 && low <= 0xDFFF) {
        pos_ += 6;
        cp = 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (low - 0xDC00);
      }
    }
    std::string utf8;
    append_utf8(utf8, cp);
    t.text += width == Width::Narrow ? utf8_to_host(utf8) : utf8;
  }

  void read_punct(Token& t) {
    const char c = src_[pos_++];
    switch (c) {
      case ':':
        if (peek() == '=') {
          ++pos_;
          t.kind = Tok::Assign;
        } else {
          t.kind = Tok::Colon;
        }
        return;
      case '<':
        if (peek() == '>') ++pos_, t.kind = Tok::Ne;
        else if (peek() == '=') ++pos_, t.kind = Tok::Le;
        else t.kind = Tok::Lt;
        return;
      case '>':
        if (peek() == '=') ++pos_, t.kind = Tok::Ge;
        else t.kind = Tok::Gt;
        return;
      case '(': t.kind = Tok::LParen; return;
      case ')': t.kind = Tok::RParen; return;
      case '[': t.kind = Tok::LBracket; return;
      case ']': t.kind = Tok::RBracket; return;
      case ',': t.kind = Tok::Comma; return;
      case ';': t.kind = Tok::Semicolon; return;
      case '.': t.kind = Tok::Dot; return;
      case '@': t.kind = Tok::At; return;
      case '+': t.kind = Tok::Plus; return;
      case '-': t.kind = Tok::Minus; return;
      case '*': t.kind = Tok::Star; return;
      case '/': t.kind = Tok::Slash; return;
      case '=': t.kind = Tok::Eq; return;
      default:
        break;
    }
    if (static_cast<unsigned char>(c) >= 0x80) fail("unexpected non-ASCII character");
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      char code[8];
      std::snprintf(code, sizeof code, "0x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      fail(std::string("unexpected control character ") + code);
    }
    fail(std::string("unexpected character '") + c + "'");
  }

  std::string_view src_;
  size_t pos_ = 0;
  int line_;
};

}  // namespace

std::vector<Token> tokenize(std::string_view source, int first_line) {
  return Lexer(source, first_line).run();
}

const char* token_name(Tok kind) {
  switch (kind) {
    case Tok::End: return "end of input";
    case Tok::Ident: return "a name";
    case Tok::Int: case Tok::Real: return "a number";
    case Tok::String: case Tok::WString: case Tok::Binary: return "a string";
    case Tok::Assign: return "':='";
    case Tok::LParen: return "'('";
    case Tok::RParen: return "')'";
    case Tok::LBracket: return "'['";
    case Tok::RBracket: return "']'";
    case Tok::Comma: return "','";
    case Tok::Semicolon: return "';'";
    case Tok::Colon: return "':'";
    case Tok::Dot: return "'.'";
    case Tok::At: return "'@'";
    case Tok::Plus: return "'+'";
    case Tok::Minus: return "'-'";
    case Tok::Star: return "'*'";
    case Tok::Slash: return "'/'";
    case Tok::Eq: return "'='";
    case Tok::Ne: return "'<>'";
    case Tok::Lt: return "'<'";
    case Tok::Gt: return "'>'";
    case Tok::Le: return "'<='";
    case Tok::Ge: return "'>='";
    case Tok::KwAnd: return "and";
    case Tok::KwOr: return "or";
    case Tok::KwNot: return "not";
    case Tok::KwDiv: return "div";
    case Tok::KwMod: return "mod";
    case Tok::KwIf: return "if";
    case Tok::KwThen: return "then";
    case Tok::KwElse: return "else";
    case Tok::KwWhile: return "while";
    case Tok::KwDo: return "do";
    case Tok::KwFor: return "for";
    case Tok::KwTo: return "to";
    case Tok::KwDownto: return "downto";
    case Tok::KwBegin: return "begin";
    case Tok::KwEnd: return "end";
    case Tok::KwFunction: return "function";
    case Tok::KwReturn: return "return";
    case Tok::KwBreak: return "break";
    case Tok::KwContinue: return "continue";
    case Tok::KwEcho: return "echo";
    case Tok::KwNil: return "nil";
    case Tok::KwArray: return "array";
    case Tok::KwGlobal: return "global";
    case Tok::KwInf: return "inf";
    case Tok::KwNan: return "nan";
  }
  return "?";
}

}  // namespace vkl::lang
