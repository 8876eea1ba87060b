// The host process's parameters and command line, and the system's error messages.
#include <vkl/process.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct ProcessParams {
  std::vector<std::string> params;  // [0] the executable's path
  std::string command_line;
};

std::mutex g_params_lock;
ProcessParams g_params;

// One command-line word quoted so that the Windows splitting rules give it back: inside quotes
// a run of backslashes is doubled when a quote (or the closing quote) follows it.
void append_quoted(std::string& line, const std::string& word) {
  if (!word.empty() && word.find_first_of(" \t\n\v\"") == std::string::npos) {
    line += word;
    return;
  }
  line += '"';
  size_t backslashes = 0;
  for (char c : word) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    line.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
    backslashes = 0;
    line += c;
  }
  line.append(backslashes * 2, '\\');
  line += '"';
}

}  // namespace

extern "C" {

void VKL_SetProcessParams(int argc, const char* const* argv) {
  ProcessParams fresh;
  for (int i = 0; i < argc && argv; ++i) {
    fresh.params.emplace_back(argv[i] ? argv[i] : "");
    if (i) fresh.command_line += ' ';
    append_quoted(fresh.command_line, fresh.params.back());
  }
  std::lock_guard<std::mutex> guard(g_params_lock);
  g_params = std::move(fresh);
}

int VKL_ParamCount(void) {
  std::lock_guard<std::mutex> guard(g_params_lock);
  return g_params.params.empty() ? 0 : static_cast<int>(g_params.params.size() - 1);
}

int VKL_SysParamCount(void) { return VKL_ParamCount(); }

const char* VKL_ParamStr(int i) {
  std::lock_guard<std::mutex> guard(g_params_lock);
  if (i < 0 || static_cast<size_t>(i) >= g_params.params.size()) return "";
  return g_params.params[static_cast<size_t>(i)].c_str();
}

const char* VKL_CmdLine(void) {
  std::lock_guard<std::mutex> guard(g_params_lock);
  return g_params.command_line.c_str();
}

int VKL_SysErrorMessage(int code, char* buffer, int size) {
  if (!buffer || size < 1) return 0;
  char scratch[256];
  // The GNU strerror_r gives back either its own static text or the scratch buffer.
  const char* text = strerror_r(code, scratch, sizeof scratch);
  const size_t n = std::min(std::strlen(text), static_cast<size_t>(size) - 1);
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
  return 1;
}

}  // extern "C"
