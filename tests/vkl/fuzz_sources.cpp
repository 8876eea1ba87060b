#include "fuzz_sources.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vkl_fuzz {
namespace {

// A uniformly chosen integer in [lo, hi].
int64_t pick(Rng& rng, int64_t lo, int64_t hi) {
  return std::uniform_int_distribution<int64_t>(lo, hi)(rng);
}

constexpr const char* kVocabulary[] = {
    // keywords
    "and", "or", "not", "div", "mod", "if", "then", "else", "while", "do", "for", "to", "downto",
    "begin", "end", "function", "return", "break", "continue", "echo", "nil", "array", "global",
    "inf", "nan", "BEGIN", "End",
    // operators and brackets, balanced or not
    ":=", "(", ")", "[", "]", ",", ";", ":", ".", "@", "+", "-", "*", "/", "=", "<>", "<", ">",
    "<=", ">=", "((", "))", "[[", "]]",
    // literals
    "0", "1", "-1", "42", "2147483647", "2147483648", "-2147483648", "4294967296",
    "9223372036854775807", "9223372036854775808", "-9223372036854775808", "18446744073709551616",
    "5L", "0L", "9223372036854775808L", "1.5", "1e308", "1e309", "-1e309", "4.9e-324", "1e-400",
    "0.0", "1e", "1.e5", "\"abc\"", "''", "'x'", "\"\\n\\t\\0\"", "L\"w\"", "L'宽'", "b\"\\x00\"",
    "\"\\u4E2D\"", "\"\\uD800\"", "\"\\uD83D\\uDE00\"", "\"日线\"", "\"\\x\"", "\"\\q\"",
    // names: variables, script functions, test handlers, unknown ones
    "x", "y", "t", "f", "g", "i", "s", "t_count", "t_label", "t_divmod", "t_callback",
    "t_reject", "t_adjacent", "t_counter", "t_tolerant", "Add", "check", "checkfail",
    "checknear", "nosuch", "_", "X1",
    // fragments that open something
    "\"open", "'open", "{ open", "//", "{}", "\n", "\\",
    // whole small statements
    "x := 1;", "t := array(1, \"k\": 2);", "function f(a); begin return a; end;",
    "function g(); begin return g(); end;", "while 1 do ;", "for i := 1 to 3 do",
    "t[x] := y;", "x.Add(1)", "f(x, x, x)", "@f", "@nosuch",
};

bool is_word(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.';
}
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The pieces a mutation works on: the lines of a script, or its lexemes as far as mutation
// needs them (a run of white space, a word or number, a string, one other character).
std::vector<std::string> split(const std::string& s, bool by_line) {
  std::vector<std::string> out;
  for (size_t i = 0, j; i < s.size(); i = j) {
    const char c = s[i];
    j = i + 1;
    if (by_line) {
      j = std::min(s.find('\n', i), s.size() - 1) + 1;
    } else if (is_word(c) || is_space(c)) {
      while (j < s.size() && is_word(s[j]) == is_word(c) && is_space(s[j]) == is_space(c)) ++j;
    } else if (c == '"' || c == '\'') {
      while (j < s.size() && s[j] != c) j += s[j] == '\\' ? 2 : 1;
      j = std::min(j + 1, s.size());
    }
    out.push_back(s.substr(i, j - i));
  }
  return out;
}

template <typename T, size_t N>
const T& one_of(Rng& rng, const T (&v)[N]) {
  return v[static_cast<size_t>(pick(rng, 0, N - 1))];
}

// Deletes, duplicates, swaps or inserts pieces (lines or lexemes).
void edit(std::vector<std::string>& pieces, Rng& rng) {
  const auto n = static_cast<int64_t>(pieces.size());
  const auto a = static_cast<size_t>(pick(rng, 0, std::max<int64_t>(n - 1, 0)));
  const auto b = static_cast<size_t>(pick(rng, 0, std::max<int64_t>(n - 1, 0)));
  const auto at = pieces.begin() + static_cast<ptrdiff_t>(a);
  switch (n == 0 ? 3 : pick(rng, 0, 3)) {
    case 0: pieces.erase(at); break;
    case 1: pieces.insert(at, pieces[b]); break;
    case 2: std::swap(pieces[a], pieces[b]); break;
    default: pieces.insert(at, std::string(" ") + one_of(rng, kVocabulary) + " "); break;
  }
}

std::string repeated(const std::string& piece, size_t n) {
  std::string s;
  s.reserve(piece.size() * n);
  for (size_t i = 0; i < n; ++i) s += piece;
  return s;
}

// "p0, p1, ..., p<n-1>".
std::string names(const std::string& prefix, int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += (i ? ", " : "") + prefix + std::to_string(i);
  return s;
}

// Builds one generated program; `in_function` places the statements in a function body so
// that they work on locals.
class ProgramWriter {
 public:
  explicit ProgramWriter(Rng& rng) : rng_(rng) {}

  Program program() {
    Program p;
    p.source = prelude();
    const bool in_function = pick(rng_, 0, 1) == 0;
    std::string body = values();
    p.statements = static_cast<int>(pick(rng_, 3, 25));
    for (int i = 0; i < p.statements; ++i) {
      const std::string s = pick(rng_, 0, 1) ? typed_statement() : statement(0);
      body += "begin " + s + " t_count(); end;\n";
    }
    if (in_function) p.source += "function main();\nbegin\n" + body + "end;\nmain();\n";
    else p.source += body;
    return p;
  }

 private:
  static std::string prelude() {
    return "function many(" + names("p", 300) + "); begin return p0 + p299; end;\n" +
           "function fib(n); begin if n < 2 then return n; return fib(n - 1) + fib(n - 2); end;\n"
           "function id(x); begin return x; end;\n"
           "function apply(f, x); begin return f(x); end;\n"
           "function deep(n); begin if n <= 0 then return 0; return deep(n - 1) + 1; end;\n"
           "function same(a, b, c); begin return array(a, b, c); end;\n";
  }

  // Every kind of value, in the variables v0 .. v9.
  static std::string values() {
    return "v0 := 7; v1 := 2.5; v2 := 5000000000; v3 := \"abc\"; v4 := L\"宽\";"
           " v5 := b\"\\x00\\xff\"; v6 := nil; v7 := array(1, \"k\": 2, 3: array(4));"
           " v8 := @fib; v9 := t_counter(3);\n"
           "n0 := 3; n1 := 0.5; n2 := 4000000000; s0 := \"ab\"; s1 := L\"cd\"; tb := array();\n";
  }

  // ---- statements that mostly run: numbers n0 .. n2, texts s0 and s1, the table tb ----

  std::string number(int depth) {
    static const char* const kLeaves[] = {"n0", "n1", "n2", "3", "-2", "0.5", "4000000000",
                                          "9223372036854775807", "1e300"};
    static const char* const kOps[] = {" + ", " - ", " * ", " / ", " div ", " mod ", " < ",
                                       " = ", " >= "};
    if (depth > 3 || pick(rng_, 0, 2) == 0) return one_of(rng_, kLeaves);
    switch (pick(rng_, 0, 3)) {
      case 0: return "-" + number(depth + 1);
      case 1: return "fib(" + std::to_string(pick(rng_, 0, 10)) + ")";
      default: return "(" + number(depth + 1) + one_of(rng_, kOps) + number(depth + 1) + ")";
    }
  }

  std::string text(int depth) {
    static const char* const kLeaves[] = {"s0", "s1", "\"x\"", "L\"宽\"", "''"};
    if (depth > 2 || pick(rng_, 0, 1) == 0) return one_of(rng_, kLeaves);
    return text(depth + 1) + " + " + text(depth + 1);
  }

  std::string typed_statement() {
    const std::string n = "n" + std::to_string(pick(rng_, 0, 2));
    switch (pick(rng_, 0, 7)) {
      case 0: return n + " := " + number(0) + ";";
      case 1: return "s" + std::to_string(pick(rng_, 0, 1)) + " := " + text(0) + ";";
      case 2: return "tb[" + std::to_string(pick(rng_, 0, 5)) + "] := " + text(1) + ";";
      case 3: return "if " + number(1) + " then " + n + " := " + number(1) + "; else tb[\"k\"] := " +
                     number(1) + ";";
      case 4:
        return "for i := 0 to " + std::to_string(pick(rng_, 0, 6)) + " do begin " + n + " := " + n +
               " + i; if " + n + " > 100 then break; end;";
      case 5: return "echo " + number(0) + ", " + text(0) + ", tb;";
      case 6: return "check(" + number(1) + " < " + number(1) + ", 0 + " + number(1) + ");";
      default: return n + " := apply(@id, " + number(1) + ");";
    }
  }

  std::string var() { return "v" + std::to_string(pick(rng_, 0, 9)); }

  std::string literal() {
    static const char* const kLiterals[] = {
        "0", "1", "-7", "2147483647", "-2147483648", "9223372036854775807", "5L", "2.5", "-0.0",
        "1e308", "inf", "nan", "\"\"", "\"abc\"", "'10'", "L\"\"", "L\"w\"", "b\"\"", "b\"\\x01\"",
        "nil", "array()", "array(1, 2)", "array(\"k\": \"v\")", "@fib", "@id", "@same",
        "@nosuch", "t_counter(1)"};
    return one_of(rng_, kLiterals);
  }

  std::string args(int64_t n, int depth) {
    std::string s;
    for (int64_t i = 0; i < n; ++i) s += (i ? ", " : "") + expression(depth + 1);
    return s;
  }

  std::string expression(int depth) {
    if (depth > 3) return pick(rng_, 0, 1) ? var() : literal();
    static const char* const kOps[] = {" + ", " - ", " * ", " / ", " div ", " mod ", " = ",
                                       " <> ", " < ", " > ", " <= ", " >= ", " and ", " or "};
    const int d = depth + 1;
    switch (pick(rng_, 0, 14)) {
      case 0: case 1: return var();
      case 2: return literal();
      case 3: case 4: return expression(d) + one_of(rng_, kOps) + expression(d);
      case 5: return (pick(rng_, 0, 1) ? "-" : "not ") + expression(d);
      case 6: return var() + "[" + expression(d) + "]";
      case 7: return "(" + expression(d) + ")";
      case 8: return "array(" + expression(d) + ", " + expression(d) + ": " + expression(d) + ")";
      case 9: return "fib(" + std::to_string(pick(rng_, -2, 12)) + ")";
      case 10: return "apply(" + expression(d) + ", " + expression(d) + ")";
      case 11: return var() + "(" + args(pick(rng_, 0, 3), d) + ")";
      case 12: return var() + ".Add(" + expression(d) + ")";
      case 13: return "t_callback(" + args(pick(rng_, 1, 3), d) + ")";
      default: return "same(" + var() + ", " + var() + ", " + var() + ")";
    }
  }

  std::string many_arguments(const char* callee) {
    std::string s = std::string(callee) + "(";
    const int64_t n = pick(rng_, 0, 300);
    for (int64_t i = 0; i < n; ++i) s += (i ? ", " : "") + (pick(rng_, 0, 3) ? var() : literal());
    return s + ");";
  }

  std::string statement(int depth) {
    const int d = depth + 1;
    const int64_t choice = depth > 2 ? pick(rng_, 0, 5) : pick(rng_, 0, 22);
    switch (choice) {
      case 0: case 1: return var() + " := " + expression(0) + ";";
      case 2: return var() + "[" + expression(1) + "] := " + expression(1) + ";";
      case 3: return var() + "[" + expression(2) + "][" + expression(2) + "] := " + expression(2) + ";";
      case 4: return "echo " + expression(0) + ", " + expression(1) + ";";
      case 5: return expression(0) + ";";
      case 6: return "if " + expression(1) + " then " + statement(d) + " else " + statement(d);
      case 7:
        return "for i := " + std::to_string(pick(rng_, -3, 3)) + " to " +
               std::to_string(pick(rng_, -3, 8)) + " do begin " + loop_body(d) + " end;";
      case 8: {
        // One counter per nesting level, so an inner loop never resets an outer one.
        const std::string c = "c" + std::to_string(depth);
        return "begin " + c + " := 0; while " + c + " < " + std::to_string(pick(rng_, 0, 6)) +
               " do begin " + c + " := " + c + " + 1; " + loop_body(d) + " end; end;";
      }
      case 9: return "for i := " + expression(1) + " downto " + expression(1) + " do break;";
      case 10: return pick(rng_, 0, 60) ? "t_label(" + var() + ", " + var() + ");"
                                        : "continue;";  // outside a loop: refused
      case 11: {
        const std::string v = var();
        return "t_divmod(" + expression(1) + ", " + expression(1) + ", " + v + ", " + v + ");";
      }
      case 12: case 13: case 14: {
        static const char* const kCallees[] = {"many", "t_adjacent", "id"};
        return many_arguments(one_of(rng_, kCallees));
      }
      case 15: return "x := deep(" + std::to_string(pick(rng_, 0, 300)) + ");";
      case 16: return "check(" + expression(1) + ", " + expression(1) + ");";
      case 17: return "checkfail(" + expression(1) + ");";
      case 18: return pick(rng_, 0, 3) ? "x := @" + var() + ";" : "return " + expression(1) + ";";
      case 19: return "t_callback(@t_callback, @" + std::string(pick(rng_, 0, 1) ? "id" : "t_reject") +
                      ", " + var() + ");";
      case 20: return var() + " := same(" + var() + ", " + var() + ", " + var() + ");";
      case 21: return "checkfail(" + var() + "." + (pick(rng_, 0, 1) ? "Add" : "Nope") + "(" +
                      args(pick(rng_, 0, 2), 2) + "));";
      default: return var() + " := t_tolerant(" + expression(1) + ");";
    }
  }

  std::string loop_body(int depth) {
    std::string s = statement(depth);
    if (pick(rng_, 0, 3) == 0) s += pick(rng_, 0, 1) ? " continue;" : " break;";
    return s;
  }

  Rng& rng_;
};

}  // namespace

std::string random_bytes(Rng& rng) {
  std::string s(static_cast<size_t>(pick(rng, 0, 120)), '\0');
  // Half of the inputs keep to the characters scripts are made of, so they get past the
  // first token more often.
  const bool script_like = pick(rng, 0, 1) == 0;
  static const std::string alphabet = "abcdefnilort_LbxX0123456789.eE+-*/=<>:;,()[]{}@\"'\\ \n";
  for (char& c : s) {
    c = script_like ? alphabet[static_cast<size_t>(pick(rng, 0, alphabet.size() - 1))]
                    : static_cast<char>(pick(rng, 0, 255));
  }
  return s;
}

std::string token_soup(Rng& rng) {
  std::string s;
  const int64_t n = pick(rng, 1, 60);
  for (int64_t i = 0; i < n; ++i) {
    s += one_of(rng, kVocabulary);
    s += pick(rng, 0, 4) == 0 ? "\n" : " ";
  }
  return s;
}

std::vector<NamedSource> hostile_inputs() {
  constexpr size_t kDeep = 100000;
  const std::string long_name(1 << 20, 'n');
  std::vector<NamedSource> v = {
      {"empty", ""},
      {"byte order mark only", "\xEF\xBB\xBF"},
      {"nul bytes", std::string("x := 1;\0\0 y := \"a\0b\";", 22)},
      {"nul in a name", std::string("x\0y := 1;", 9)},
      {"invalid utf-8 in a string", "s := \"\xFF\xFE\xC3\x28\xE2\x82\";"},
      {"invalid utf-8 in a wide string", "s := L\"\xF0\x28\x8C\xBC\xED\xA0\x80\";"},
      {"invalid utf-8 in a comment", "// \xC0\xAF\n{ \xFF }\nx := 1;"},
      {"invalid utf-8 outside strings", "x := \xFF;"},
      {"lone surrogate escapes", "s := \"\\uD800\\uDFFF\\uDC00\\uD800\"; w := L\"\\uD800\";"},
      {"escape at the end", "s := \"abc\\"},
      {"hex escape at the end", "s := \"\\x4"},
      {"unicode escape at the end", "s := \"\\u4E"},
      {"unclosed string", "s := 'abc\n\n"},
      {"unclosed comment", "x := 1; { never closed"},
      {"unclosed block", "begin x := 1;"},
      {"unclosed array", "t := array(1, 2"},
      {"unclosed index", "t := x[1"},
      {"long name", long_name + " := 1; echo " + long_name + "; " + long_name + "();"},
      {"long string literal", "s := \"" + std::string(1 << 20, 's') + "\"; echo length(s);"},
      {"long number", "x := " + std::string(5000, '9') + "; y := 0." + std::string(5000, '1') + ";"},
      {"long exponent", "x := 1e" + std::string(400, '9') + "; y := 1e-" + std::string(400, '9') + ";"},
      {"int64 limits",
       "a := 9223372036854775807; b := -9223372036854775808; c := 9223372036854775808;"
       "d := -9223372036854775809; e := 18446744073709551615; f := 18446744073709551616;"
       "g := a + 1; h := b - 1; i := b * -1; j := b div -1; k := b mod -1; l := -b;"
       "m := 9223372036854775808L; n := -9223372036854775808L; o := 99999999999999999999L;"},
      {"double limits",
       "a := 1.7976931348623157e308; b := a * 10; c := 4.9e-324 / 2; d := 0.0 / 0.0;"
       "e := -inf; f := inf - inf; g := nan div 1; h := inf div 1; i := 1e308 mod 0.0;"
       "for j := nan to 1 do ; for j := inf to inf do break;"},
      {"for bounds at the limits",
       "n := 0; for i := 9223372036854775806 to 9223372036854775807 do n := n + 1;"
       "for i := -9223372036854775807 - 1 downto -9223372036854775807 - 1 do n := n + 1;"
       "for i := 1e300 to -1e300 do n := n + 1;"},
      {"open parentheses", "x := " + repeated("(", kDeep)},
      {"parameter named twice", "function f(a, b, a); begin end;"},
      {"many parameters", "function f(" + names("a", 20000) + "); begin return a19999; end; f(1);"},
      {"many globals", "function f(); begin global " + repeated("g, ", kDeep) + "g; end;"},
      {"deep recursion in a deep expression",
       "function f(n); begin return f(n + 1)" + repeated(" + 1", 990) + "; end; f(0);"},
      {"deep recursion through function values",
       "function f(g); begin return t_callback(g, g); end; f(@f);"},
      {"deep recursion with many arguments",
       "function f(" + names("n", 301) + "); begin return f(n0" + repeated(", n0", 300) +
           "); end; f(1);"},
      {"endless recursion loop", "function f(); begin while 1 do f(); end; f();"},
      {"runaway table", "t := array(); i := 0; while 1 do begin t[i] := \"xxxxxxxx\"; i := i + 1; end;"},
      {"parentheses", "x := " + repeated("(", kDeep) + "1" + repeated(")", kDeep) + ";"},
      {"begin blocks", repeated("begin ", kDeep) + repeated("end ", kDeep)},
      {"array literals", "t := " + repeated("array(", kDeep) + repeated(")", kDeep) + ";"},
      {"call chain", "x := " + repeated("f(", kDeep) + repeated(")", kDeep) + ";"},
      {"if chain", repeated("if 1 then ", kDeep) + "x := 1;"},
      {"else-if chain", "x := 0;" + repeated("if x then x := 1 else ", kDeep) + "x := 2;"},
      {"while chain", repeated("while 0 do ", kDeep) + ";"},
      {"not chain", "x := " + repeated("not ", kDeep) + "1;"},
      {"minus chain", "x := " + repeated("- ", kDeep) + "1;"},
      {"index chain", "x := t" + repeated("[1]", kDeep) + ";"},
      {"index assignment chain", "t" + repeated("[1]", kDeep) + " := 1;"},
      {"method chain", "x := t" + repeated(".m()", kDeep) + ";"},
      {"sum chain", "x := 1" + repeated(" + 1", kDeep) + ";"},
      {"and chain", "x := 1" + repeated(" and 1", kDeep) + ";"},
      {"many statements", repeated("x := x;", kDeep)},
      {"many arguments", "x := f(" + repeated("1, ", kDeep) + "1);"},
      {"many table entries", "t := array(" + repeated("1, ", kDeep) + "1);"},
  };
  return v;
}

std::string mutate(const std::string& source, Rng& rng) {
  std::string s = source;
  for (int64_t edits = pick(rng, 1, 4); edits > 0; --edits) {
    std::vector<std::string> pieces = split(s, pick(rng, 0, 2) == 0);
    edit(pieces, rng);
    s.clear();
    for (const std::string& p : pieces) s += p;
  }
  return s;
}

Program random_program(Rng& rng) { return ProgramWriter(rng).program(); }

}  // namespace vkl_fuzz
