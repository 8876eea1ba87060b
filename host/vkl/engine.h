// The script engine: runs scripts on one interpreter state. It owns the globals and the
// functions the scripts declare, installs itself as the state's host data and the hook through
// which raw_call2 calls function values, and reports runtime errors as "FILE:LINE: message".
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/vkl/ast.h"
#include "host/vkl/cells.h"
#include "host/vkl/parser.h"

namespace vkl::lang {

// A runtime error; `stopped` when the run was asked to stop, which no test helper catches.
struct ScriptError : std::runtime_error {
  ScriptError(const std::string& message, bool stop)
      : std::runtime_error(message), stopped(stop) {}
  bool stopped;
};

struct TestTally {
  int64_t passed = 0;
  int64_t failed = 0;
};

enum class PieceResult { Ok, Incomplete, Error };

class Engine {
 public:
  // `out` receives echo output and, in test runs, the test report.
  explicit Engine(VKL_State* L, std::FILE* out = stdout);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Parses and runs a whole script; false with the message in `error` on a syntax or runtime
  // error.
  bool run(std::string_view source, const std::string& file, std::string* error);
  // Runs a test script: each failing check is reported, a runtime error fails its top-level
  // statement and the run goes on with the next one.
  TestTally run_tests(std::string_view source, const std::string& file);
  // Runs one piece of interactive input, showing the value of each expression statement.
  // Incomplete: the input stops inside a statement and more lines are needed.
  PieceResult run_piece(std::string_view source, const std::string& file, std::string* error);

  VKL_State* state() const { return L_; }
  std::FILE* out() const { return out_; }
  // The cell of a global variable (lower-case name), or null when no script named it.
  const TObject* global(const std::string& lower) const;

  // ---- used by the parser and the evaluator ----

  Slot global_slot(const std::string& lower);
  bool find_global(const std::string& lower, Slot* slot) const;
  TObject* cell(Frame& F, const Slot& s) {
    return s.global ? &globals_[static_cast<size_t>(s.index)] : &F.locals[s.index];
  }
  // Changes whenever the script functions change, so call nodes re-resolve their names.
  uint64_t generation() const { return generation_; }
  const Function* find_function(const std::string& lower) const;

  [[noreturn]] void fail(const Frame& F, int line, const std::string& message) const;
  void check_stop(const Frame& F, int line) const {
    if (VKL_InterpIsStopL(L_)) stopped(F, line);
  }
  [[noreturn]] void stopped(const Frame& F, int line) const;

  // Calls a script function with arguments evaluated in the caller's frame.
  void call_function(const Function& fn, const Args& args, Frame& caller, TObject* out, int line);
  // Calls a function value with ready argument cells (copied, never changed); `caller` and
  // `line` name the calling place for errors. Throws ScriptError.
  void call_value(const TObject* function, TObject* args, int nargs, TObject* out,
                  const Frame& caller, int line);
  // Calls a registered handler; its rejection is an error naming the function.
  void call_handler(VKL_Handler handler, const std::string& name, TObject* args, int nargs,
                    TObject* out, const Frame& caller, int line);
  // A function value (kind 12) of a script function or of a registered handler.
  void make_function_value(TObject* out, const Function* fn, VKL_Handler handler,
                           const std::string& name);

  // The place of the handler call running now: errors of function values that the handler
  // calls back, and that have no script place of their own, are reported there.
  class CallSite {
   public:
    CallSite(Engine& E, const Frame& F, int line)
        : E_(E), file_(E.site_file_), line_(E.site_line_) {
      E.site_file_ = F.file;
      E.site_line_ = line;
    }
    ~CallSite() {
      E_.site_file_ = file_;
      E_.site_line_ = line_;
    }
    CallSite(const CallSite&) = delete;
    CallSite& operator=(const CallSite&) = delete;

   private:
    Engine& E_;
    const std::string* file_;
    int line_;
  };

  // After a handler call that returned `ok`: the error a function value raised inside it
  // (through raw_call2) is thrown when the call failed or the run was asked to stop.
  void rethrow_callback_error(int ok) {
    std::optional<ScriptError> e = std::move(callback_error_);
    callback_error_.reset();
    if (e && (ok != 1 || e->stopped)) throw *e;
  }

  // Text forms in UTF-8: the display form (echo) and the literal form.
  std::string display_text(const TObject* o) const;
  std::string literal_text(const TObject* o) const { return text_form(o, 1); }

  void count_check(bool passed) { passed ? ++tally_.passed : ++tally_.failed; }
  // Writes a line to the output: echo, shown values and test reports.
  void write_line(const std::string& text);
  // An echo line: into the state's echo capture while one runs, else to the output.
  void echo_line(const std::string& text);
  void report(const Frame& F, int line, const std::string& message);

 private:
  static int call_hook(VKL_State* L, const TObject* function, TObject* args, int nargs,
                       TObject* result);
  std::string text_form(const TObject* o, int mode) const;
  std::unique_ptr<Chunk> compile(std::string_view source, const std::string& file,
                                 const ParseOptions& options);
  void declare(Chunk& chunk);
  // Runs one top-level statement; the error it raised, if any.
  std::optional<ScriptError> run_statement(const Stmt& s, Frame& top, Flow* flow);
  // Runs top-level statements up to the first error.
  bool execute(const Chunk& chunk, std::string* error);
  // The checks before a script function runs with `nargs` arguments.
  void enter(const Function& fn, int nargs, const Frame& caller, int line) const;
  void run_body(const Function& fn, TObject* locals, TObject* out);
  void check_depth(const Frame& F, int line) const;
  const std::string* intern_file(const std::string& file);

  VKL_State* L_;
  std::FILE* out_;
  std::vector<TObject> globals_;
  std::unordered_map<std::string, int> global_index_;
  std::unordered_map<std::string, const Function*> functions_;
  std::vector<std::unique_ptr<Function>> all_functions_;
  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::vector<std::unique_ptr<std::string>> files_;
  uint64_t generation_ = 1;
  int depth_ = 0;
  std::optional<ScriptError> callback_error_;
  const std::string* site_file_ = nullptr;
  int site_line_ = 0;
  TestTally tally_;
};

// The truth of an expression's value (VKL_AsBool): conditions, and, or, not.
bool truth(Engine& E, Frame& F, const Expr& e);

// A cell released on every way out of a scope.
class TempCell {
 public:
  explicit TempCell(VKL_State* L) : L_(L) { vkl_put_nil(&cell_); }
  ~TempCell() { release_cell(L_, &cell_); }
  TempCell(const TempCell&) = delete;
  TempCell& operator=(const TempCell&) = delete;
  TObject* get() { return &cell_; }

 private:
  VKL_State* L_;
  TObject cell_;
};

}  // namespace vkl::lang
