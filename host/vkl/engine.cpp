#include "host/vkl/engine.h"

#include <vkl/echo.h>

#include <new>

#include "host/vkl/operators.h"
#include "host/vkl/text_codec.h"

namespace vkl::lang {
namespace {

// Stack kept free below a script call for the handlers it may reach.
constexpr int64_t kStackReserve = 512 * 1024;
// Call depth limit where the stack cannot be measured.
constexpr int kMaxDepthUnmeasured = 10000;

// The data of a function value: a script function of one engine, or a registered handler.
struct FunctionValue {
  const Engine* engine;
  const Function* function;
  VKL_Handler handler;
  std::string name;
};

void release_function_value(VKL_State*, void* data) {
  delete static_cast<FunctionValue*>(data);
}

const VKL_BoxType kFunctionValueType{"function", release_function_value, nullptr};

// The function value a cell holds (reference followed), or null when it holds none of ours.
const FunctionValue* function_value_of(const TObject* o) {
  const TObject* f = vkl_follow(o);
  if (f->tag != VKL_TFUNCTION) return nullptr;
  const auto* box = static_cast<const VKL_Box*>(vkl_ptr(f));
  return box && box->type == &kFunctionValueType ? static_cast<const FunctionValue*>(box->data)
                                                 : nullptr;
}

std::string location(const Frame& F, int line) {
  return (F.file ? *F.file : std::string("?")) + ":" + std::to_string(line) + ": ";
}

// A frame whose return cell is released on every way out.
struct OwnedFrame : Frame {
  explicit OwnedFrame(VKL_State* L) : state(L) {}
  ~OwnedFrame() { release_cell(state, &ret); }
  OwnedFrame(const OwnedFrame&) = delete;
  OwnedFrame& operator=(const OwnedFrame&) = delete;
  VKL_State* state;
};

class DepthCount {
 public:
  explicit DepthCount(int& depth) : depth_(depth) { ++depth_; }
  ~DepthCount() { --depth_; }
  DepthCount(const DepthCount&) = delete;
  DepthCount& operator=(const DepthCount&) = delete;

 private:
  int& depth_;
};

}  // namespace

Engine::Engine(VKL_State* L, std::FILE* out) : L_(L), out_(out) {
  VKL_InterpSetHostData(L_, this);
  VKL_InterpSetCallHook(L_, &Engine::call_hook);
}

Engine::~Engine() {
  for (TObject& g : globals_) release_cell(L_, &g);
  if (VKL_InterpGetHostData(L_) == this) {
    VKL_InterpSetHostData(L_, nullptr);
    VKL_InterpSetCallHook(L_, nullptr);
  }
}

const std::string* Engine::intern_file(const std::string& file) {
  for (const auto& f : files_)
    if (*f == file) return f.get();
  files_.push_back(std::make_unique<std::string>(file));
  return files_.back().get();
}

Slot Engine::global_slot(const std::string& lower) {
  const auto [it, inserted] = global_index_.emplace(lower, static_cast<int>(globals_.size()));
  if (inserted) {
    TObject nil;
    vkl_put_nil(&nil);
    globals_.push_back(nil);
  }
  return Slot{true, it->second};
}

bool Engine::find_global(const std::string& lower, Slot* slot) const {
  const auto it = global_index_.find(lower);
  if (it == global_index_.end()) return false;
  *slot = Slot{true, it->second};
  return true;
}

const TObject* Engine::global(const std::string& lower) const {
  const auto it = global_index_.find(lower);
  return it == global_index_.end() ? nullptr : &globals_[static_cast<size_t>(it->second)];
}

const Function* Engine::find_function(const std::string& lower) const {
  const auto it = functions_.find(lower);
  return it == functions_.end() ? nullptr : it->second;
}

void Engine::fail(const Frame& F, int line, const std::string& message) const {
  throw ScriptError(location(F, line) + message, false);
}

void Engine::stopped(const Frame& F, int line) const {
  throw ScriptError(location(F, line) + "stopped", true);
}

void Engine::check_depth(const Frame& F, int line) const {
  const int64_t avail = VKL_StackAvail();
  if (avail != 0 ? avail < kStackReserve : depth_ >= kMaxDepthUnmeasured)
    fail(F, line, "recursion too deep");
}

void Engine::run_body(const Function& fn, TObject* locals, TObject* out) {
  DepthCount depth(depth_);
  OwnedFrame frame(L_);
  frame.locals = locals;
  frame.file = fn.file;
  fn.body->exec(*this, frame);
  move_cell(L_, out, &frame.ret);
}

void Engine::enter(const Function& fn, int nargs, const Frame& caller, int line) const {
  check_stop(caller, line);
  check_depth(caller, line);
  if (nargs > fn.nparams)
    fail(caller, line, fn.name + ": too many arguments (" + std::to_string(nargs) + " for " +
                           std::to_string(fn.nparams) + ")");
}

void Engine::call_function(const Function& fn, const Args& args, Frame& caller, TObject* out,
                           int line) {
  enter(fn, args.size(), caller, line);
  CellBlock locals(L_, fn.nslots);
  for (int i = 0; i < args.size(); ++i) args.exprs[static_cast<size_t>(i)]->eval(*this, caller, &locals[i]);
  run_body(fn, locals.data(), out);
}

void Engine::call_handler(VKL_Handler handler, const std::string& name, TObject* args,
                          int nargs, TObject* out, const Frame& caller, int line) {
  const CallSite site(*this, caller, line);
  const int ok = handler(L_, args, nargs, out);
  rethrow_callback_error(ok);
  if (!ok) fail(caller, line, name + ": call rejected");
}

void Engine::call_value(const TObject* function, TObject* args, int nargs, TObject* out,
                        const Frame& caller, int line) {
  const FunctionValue* value = function_value_of(function);
  if (!value) fail(caller, line, "cannot call " + kind_name(vkl_follow(function)) + " value");
  if (value->handler) {
    call_handler(value->handler, value->name, args, nargs, out, caller, line);
    return;
  }
  if (value->engine != this) fail(caller, line, value->name + ": function of another run");
  const Function& fn = *value->function;
  enter(fn, nargs, caller, line);
  CellBlock locals(L_, fn.nslots);
  for (int i = 0; i < nargs; ++i)
    if (!copy_cell(L_, &locals[i], &args[i])) fail(caller, line, "out of memory");
  run_body(fn, locals.data(), out);
}

void Engine::make_function_value(TObject* out, const Function* fn, VKL_Handler handler,
                                 const std::string& name) {
  auto* value = new FunctionValue{this, fn, handler, name};
  if (!VKL_SetBox(L_, out, VKL_TFUNCTION, &kFunctionValueType, value)) {
    delete value;
    throw std::bad_alloc();
  }
}

int Engine::call_hook(VKL_State* L, const TObject* function, TObject* args, int nargs,
                      TObject* result) {
  auto* E = static_cast<Engine*>(VKL_InterpGetHostData(L));
  if (!E) return 0;
  TempCell out(L);
  // Errors of the call itself are placed at the function value's own declaration, or for a
  // handler's function value at the handler call that called it back.
  Frame at;
  at.file = E->site_file_;
  int line = E->site_line_;
  if (const FunctionValue* value = function_value_of(function); value && value->function) {
    at.file = value->function->file;
    line = value->function->line;
  }
  try {
    E->call_value(function, args, nargs, out.get(), at, line);
  } catch (const ScriptError& e) {
    E->callback_error_ = e;
    return 0;
  } catch (const std::exception& e) {
    E->callback_error_ = ScriptError(location(at, line) + e.what(), false);
    return 0;
  }
  move_cell(L, result, out.get());
  return 1;
}

std::string Engine::text_form(const TObject* o, int mode) const {
  int64_t len = 0;
  char* text = VKL_ObjToStrEx(L_, o, mode, &len);
  if (!text) return "<" + kind_name(vkl_follow(o)) + ">";
  std::string utf8 = host_to_utf8({text, static_cast<size_t>(len)});
  VKL_Free(text);
  return utf8;
}

std::string Engine::display_text(const TObject* o) const {
  o = vkl_follow(o);
  // A wide string is shown from its UTF-16, which the host code page may not cover.
  if (o->tag == VKL_TWSTRING)
    return wide_to_utf8({VKL_AsWString(o), static_cast<size_t>(VKL_WStringLen(o))});
  return text_form(o, 0);
}

void Engine::write_line(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fputc('\n', out_);
}

void Engine::echo_line(const std::string& text) {
  if (VKL_isEchoRedirect(L_)) {
    const std::string captured = utf8_to_host(text) + '\n';
    if (VKL_EchoWrite(L_, captured.data(), static_cast<int64_t>(captured.size()))) return;
  }
  write_line(text);
}

void Engine::report(const Frame& F, int line, const std::string& message) {
  write_line(location(F, line) + message);
}

std::unique_ptr<Chunk> Engine::compile(std::string_view source, const std::string& file,
                                       const ParseOptions& options) {
  if (source.starts_with("\xEF\xBB\xBF")) source.remove_prefix(3);  // UTF-8 byte order mark
  return parse(*this, source, intern_file(file), options);
}

void Engine::declare(Chunk& chunk) {
  for (auto& fn : chunk.functions) {
    functions_[ascii_lower(fn->name)] = fn.get();
    all_functions_.push_back(std::move(fn));
  }
  chunk.functions.clear();
  ++generation_;
}

namespace {

std::string syntax_message(const std::string& file, const SyntaxError& e) {
  return file + ":" + std::to_string(e.line) + ": syntax error: " + e.what();
}

}  // namespace

std::optional<ScriptError> Engine::run_statement(const Stmt& s, Frame& top, Flow* flow) {
  try {
    *flow = s.exec(*this, top);
  } catch (const ScriptError& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return ScriptError(location(top, s.line) + "out of memory", false);
  }
  return std::nullopt;
}

bool Engine::execute(const Chunk& chunk, std::string* error) {
  OwnedFrame top(L_);
  top.file = chunk.file;
  for (const StmtPtr& s : chunk.statements) {
    Flow flow = Flow::Next;
    if (auto e = run_statement(*s, top, &flow)) {
      *error = e->what();
      return false;
    }
    if (flow == Flow::Return) break;
  }
  return true;
}

bool Engine::run(std::string_view source, const std::string& file, std::string* error) {
  std::unique_ptr<Chunk> chunk;
  try {
    chunk = compile(source, file, ParseOptions{});
  } catch (const SyntaxError& e) {
    *error = syntax_message(file, e);
    return false;
  }
  declare(*chunk);
  return execute(*chunk, error);
}

TestTally Engine::run_tests(std::string_view source, const std::string& file) {
  const TestTally before = tally_;
  std::unique_ptr<Chunk> chunk;
  try {
    chunk = compile(source, file, ParseOptions{true, false});
  } catch (const SyntaxError& e) {
    ++tally_.failed;
    write_line(syntax_message(file, e));
    return {tally_.passed - before.passed, tally_.failed - before.failed};
  }
  declare(*chunk);
  OwnedFrame top(L_);
  top.file = chunk->file;
  for (const StmtPtr& s : chunk->statements) {
    Flow flow = Flow::Next;
    if (auto e = run_statement(*s, top, &flow)) {
      ++tally_.failed;
      write_line(e->what());
      if (e->stopped) break;
    } else if (flow == Flow::Return) {
      break;
    }
  }
  return {tally_.passed - before.passed, tally_.failed - before.failed};
}

PieceResult Engine::run_piece(std::string_view source, const std::string& file,
                              std::string* error) {
  std::unique_ptr<Chunk> chunk;
  try {
    chunk = compile(source, file, ParseOptions{false, true});
  } catch (const SyntaxError& e) {
    if (e.at_end) return PieceResult::Incomplete;
    *error = syntax_message(file, e);
    return PieceResult::Error;
  }
  declare(*chunk);
  return execute(*chunk, error) ? PieceResult::Ok : PieceResult::Error;
}

}  // namespace vkl::lang
