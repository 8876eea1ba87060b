// vkl: runs scripts of the function library.
//
//   vkl [options] FILE [args...]   run a script file
//   vkl [options] -e CODE          run the code given
//   vkl [options] --test FILE...   run test scripts, ending with "N passed, N failed"
//   vkl [options] --list [PREFIX]  the registered function names
//   vkl [options] --help NAME      a function's signature and description
//   vkl [options]                  interactive reader on a terminal, else the script on stdin
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <vkl/process.h>

#include "host/vkl/engine.h"
#include "host/vkl/host.h"
#include "host/vkl/repl.h"
#include "host/vkl/text_codec.h"

namespace {

using vkl::lang::Engine;
using vkl::lang::Host;
using vkl::lang::HostOptions;

constexpr const char* kUsage =
    "usage: vkl [options] FILE [args...]\n"
    "       vkl [options] -e CODE\n"
    "       vkl [options] --test FILE...\n"
    "       vkl [options] --list [PREFIX]\n"
    "       vkl [options] --help NAME\n"
    "       vkl [options]                 (interactive, or the script on stdin)\n"
    "options:\n"
    "  --user NAME                  run as this user (default: the system user)\n"
    "  --deny sys,write,highlevel,class   take these rights away\n"
    "  --config FILE                host settings (default: $VKL_CONFIG, else vkl.ini\n"
    "                               beside the program)\n"
    "  --plugin PATH                the function library (default: libvklcplugin.so\n"
    "                               beside the program)\n"
    "  --module PATH                load an extension module into the process first\n"
    "                               (repeatable)\n";

enum class Mode { File, Code, Test, List, Help, Interactive };

struct CommandLine {
  Mode mode = Mode::Interactive;
  HostOptions host;
  std::string code;
  std::vector<std::string> files;
  std::string name;  // --list prefix, --help name
};

int usage_error(const std::string& message) {
  std::fprintf(stderr, "vkl: %s\n%s", message.c_str(), kUsage);
  return 2;
}

bool parse_rights(const std::string& list, unsigned* denied) {
  std::stringstream in(list);
  std::string item;
  while (std::getline(in, item, ',')) {
    if (item == "sys") *denied |= VKL_RIGHT_SYS;
    else if (item == "write") *denied |= VKL_RIGHT_WRITE;
    else if (item == "highlevel") *denied |= VKL_RIGHT_HIGHLEVEL;
    else if (item == "class") *denied |= VKL_RIGHT_CLASS;
    else return false;
  }
  return true;
}

// Fills `cl`; an error message when the command line is malformed.
std::optional<std::string> parse_command_line(int argc, char** argv, CommandLine* cl) {
  bool mode_set = false;
  auto set_mode = [&](Mode m) -> bool {
    if (mode_set) return false;
    cl->mode = m;
    mode_set = true;
    return true;
  };
  int i = 1;
  auto value = [&]() -> std::optional<std::string> {
    if (i + 1 >= argc) return std::nullopt;
    return std::string(argv[++i]);
  };
  for (; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") {
      ++i;
      break;
    }
    if (arg.empty() || arg[0] != '-') break;
    if (arg == "--user" || arg == "--deny" || arg == "--config" || arg == "--plugin" ||
        arg == "--module" || arg == "-e" || arg == "--help") {
      const auto v = value();
      if (!v) return arg + " needs a value";
      if (arg == "--user") cl->host.user = *v;
      else if (arg == "--deny") {
        if (!parse_rights(*v, &cl->host.denied_rights)) return "unknown right in --deny " + *v;
      } else if (arg == "--config") cl->host.config = *v;
      else if (arg == "--plugin") cl->host.plugin = *v;
      else if (arg == "--module") cl->host.modules.push_back(*v);
      else if (arg == "-e") {
        if (!set_mode(Mode::Code)) return "-e cannot be combined with " + arg;
        cl->code = *v;
      } else {
        if (!set_mode(Mode::Help)) return "--help cannot be combined with another mode";
        cl->name = *v;
      }
    } else if (arg == "--list") {
      if (!set_mode(Mode::List)) return "--list cannot be combined with another mode";
      if (i + 1 < argc && argv[i + 1][0] != '-') cl->name = argv[++i];
    } else if (arg == "--test") {
      if (!set_mode(Mode::Test)) return "--test cannot be combined with another mode";
      while (i + 1 < argc && argv[i + 1][0] != '-') cl->files.push_back(argv[++i]);
      if (cl->files.empty()) return "--test needs at least one file";
    } else {
      return "unknown option " + arg;
    }
  }
  if (i < argc) {
    if (mode_set) return "unexpected argument " + std::string(argv[i]);
    cl->mode = Mode::File;
    cl->files.assign(argv + i, argv + argc);  // the script, then its arguments
  }
  return std::nullopt;
}

std::optional<std::string> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return std::move(content).str();
}

void on_interrupt(int) { VKL_InterpStopAll(1); }

void install_interrupt_handler() {
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = on_interrupt;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
}

int report_error(const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s\n", message.c_str());
  return 1;
}

int run_source(Engine& engine, const std::string& source, const std::string& file) {
  std::string error;
  const bool ok = engine.run(source, file, &error);
  std::fflush(stdout);
  return ok ? 0 : report_error(error);
}

int run_tests(Host& host, const std::vector<std::string>& files) {
  vkl::lang::TestTally total;
  for (const std::string& file : files) {
    const auto source = read_file(file);
    if (!source) {
      std::printf("%s: cannot read the file\n", file.c_str());
      ++total.failed;
      continue;
    }
    VKL_InterpSetFileName(host.state(), file.c_str());
    Engine engine(host.state());
    const vkl::lang::TestTally t = engine.run_tests(*source, file);
    total.passed += t.passed;
    total.failed += t.failed;
    VKL_InterpStopAll(0);
  }
  std::printf("%lld passed, %lld failed\n", static_cast<long long>(total.passed),
              static_cast<long long>(total.failed));
  std::fflush(stdout);
  return total.failed ? 1 : 0;
}

int list_functions(const std::string& prefix) {
  const std::string lower = vkl::lang::ascii_lower(prefix);
  const int64_t n = VKL_FunctionCount();
  for (int64_t i = 0; i < n; ++i) {
    const char* name = VKL_FunctionName(i);
    if (name && std::strncmp(name, lower.c_str(), lower.size()) == 0) std::printf("%s\n", name);
  }
  return 0;
}

int describe_function(const Host& host, const std::string& name) {
  const std::string lower = vkl::lang::ascii_lower(name);
  if (!VKL_FindFunction(lower.c_str(), -1)) {
    std::fprintf(stderr, "vkl: unknown function %s\n", name.c_str());
    return 1;
  }
  const char* signature = nullptr;
  const char* summary = nullptr;
  if (host.describe(lower.c_str(), &signature, &summary) != 1) {
    std::printf("%s: registered, no description available\n", lower.c_str());
    return 0;
  }
  std::printf("%s\n    %s\n", signature ? signature : lower.c_str(), summary ? summary : "");
  return 0;
}

// Scripts see the program's own command line in the host code page, the executable named by
// its full path.
void publish_process_params(int argc, char** argv) {
  std::vector<std::string> texts;
  char exe[PATH_MAX];
  const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
  for (int i = 0; i < argc; ++i) {
    const bool own_path = i == 0 && n > 0;
    texts.push_back(vkl::lang::utf8_to_host(own_path ? std::string_view(exe, static_cast<size_t>(n))
                                                     : std::string_view(argv[i])));
  }
  std::vector<const char*> params;
  for (const std::string& text : texts) params.push_back(text.c_str());
  VKL_SetProcessParams(static_cast<int>(params.size()), params.data());
}

int vkl_main(int argc, char** argv) {
  if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  CommandLine cl;
  if (const auto error = parse_command_line(argc, argv, &cl)) return usage_error(*error);

  Host host;
  std::string error;
  if (!host.start(cl.host, &error)) return usage_error(error);
  publish_process_params(argc, argv);
  install_interrupt_handler();

  switch (cl.mode) {
    case Mode::List:
      return list_functions(cl.name);
    case Mode::Help:
      return describe_function(host, cl.name);
    case Mode::Test:
      return run_tests(host, cl.files);
    case Mode::Code: {
      Engine engine(host.state());
      return run_source(engine, cl.code, "-e");
    }
    case Mode::File: {
      const std::string& file = cl.files.front();
      const auto source = read_file(file);
      if (!source) return usage_error("cannot read " + file);
      VKL_InterpSetFileName(host.state(), file.c_str());
      Engine engine(host.state());
      return run_source(engine, *source, file);
    }
    case Mode::Interactive:
      break;
  }
  Engine engine(host.state());
  if (::isatty(STDIN_FILENO)) return vkl::lang::run_repl(engine);
  const std::string source((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
  return run_source(engine, source, "-");
}

// Scripts run on a thread with a large stack, so that deep recursion in scripts goes far
// before the stack gauge stops it. AddressSanitizer cannot unwind exceptions through stacks
// above 64 MiB, so its builds take a smaller one.
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kScriptStack = 48u << 20;
#else
constexpr size_t kScriptStack = 64u << 20;
#endif

struct MainCall {
  int argc;
  char** argv;
  int status;
};

void* main_thread(void* arg) {
  auto* call = static_cast<MainCall*>(arg);
  call->status = vkl_main(call->argc, call->argv);
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  MainCall call{argc, argv, 1};
  pthread_attr_t attr;
  pthread_t thread;
  bool started = false;
  if (pthread_attr_init(&attr) == 0) {
    started = pthread_attr_setstacksize(&attr, kScriptStack) == 0 &&
              pthread_create(&thread, &attr, main_thread, &call) == 0;
    pthread_attr_destroy(&attr);
  }
  if (!started) return vkl_main(argc, argv);
  pthread_join(thread, nullptr);
  return call.status;
}
