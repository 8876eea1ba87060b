// The parser: tokens to a syntax tree, with every variable resolved to a slot. Inside a
// function every name is a local unless a `global` statement names it; top-level names are
// globals of the engine.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/vkl/ast.h"
#include "host/vkl/lexer.h"

namespace vkl::lang {

struct ParseOptions {
  bool test_builtins = false;  // check, checknear, checkfail
  bool print_values = false;   // expression statements show their value
};

// One parsed source: its top-level statements and the functions it declares.
struct Chunk {
  const std::string* file = nullptr;
  std::vector<StmtPtr> statements;
  std::vector<std::unique_ptr<Function>> functions;
};

// Throws SyntaxError. New global names get their slots in `E` as they are met.
std::unique_ptr<Chunk> parse(Engine& E, std::string_view source, const std::string* file,
                             const ParseOptions& options);

}  // namespace vkl::lang
