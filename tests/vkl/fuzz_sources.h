// Script sources for the fuzz tests: random bytes, token soups, hand-picked hostile inputs,
// mutations of real scripts, and small generated programs that run. All of it deterministic
// for a given generator state.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace vkl_fuzz {

using Rng = std::mt19937_64;

std::string random_bytes(Rng& rng);
// Keywords, operators, literals, names and brackets strung together with little regard for
// the grammar.
std::string token_soup(Rng& rng);

struct NamedSource {
  std::string name;
  std::string source;
};
// Deep nesting, huge names and literals, numbers at and beyond their limits, unclosed strings
// and comments, bytes that are not UTF-8.
std::vector<NamedSource> hostile_inputs();

// One to four edits of tokens or lines: delete, duplicate, swap, insert.
std::string mutate(const std::string& source, Rng& rng);

// A program of functions and statements over values of every kind; it runs, with errors
// here and there, and its loops are bounded. Each top-level statement that runs through calls
// t_count() once at its end.
struct Program {
  std::string source;
  int statements = 0;
};
Program random_program(Rng& rng);

}  // namespace vkl_fuzz
