#include "host/vkl/repl.h"

#include <editline/readline.h>
#include <langinfo.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <string>

namespace vkl::lang {
namespace {

std::string history_path() {
  const char* home = std::getenv("HOME");
  return home && *home ? std::string(home) + "/.vkl_history" : std::string();
}

// Line editing reads characters by the locale: script source is UTF-8 whatever the
// environment says.
void use_utf8_input() {
  const char* set = std::setlocale(LC_CTYPE, "");
  if (!set || std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

int run_repl(Engine& engine) {
  use_utf8_input();
  const std::string history = history_path();
  using_history();
  if (!history.empty()) read_history(history.c_str());
  std::printf("vkl: statements end with ';'; Ctrl-D leaves\n");
  std::string pending;
  for (;;) {
    char* line = readline(pending.empty() ? "vkl> " : "...> ");
    if (!line) break;
    const std::string text = line;
    std::free(line);
    if (pending.empty() && text.find_first_not_of(" \t") == std::string::npos) continue;
    pending += text;
    pending += '\n';
    VKL_InterpStopAll(0);
    std::string error;
    const PieceResult r = engine.run_piece(pending, "<stdin>", &error);
    if (r == PieceResult::Incomplete) continue;
    add_history(pending.substr(0, pending.size() - 1).c_str());
    pending.clear();
    std::fflush(engine.out());
    if (r == PieceResult::Error) std::fprintf(stderr, "%s\n", error.c_str());
  }
  std::printf("\n");
  if (!history.empty()) write_history(history.c_str());
  return 0;
}

}  // namespace vkl::lang
