// Starting programs and their pipes.
#include "system/process.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <vkl/payload.h>

#include "plugin/args.h"
#include "system/command_line.h"
#include "system/exec_state.h"
#include "system/handles.h"
#include "system/sys_right.h"

namespace vkl::system {
namespace {

using plugin::arg_at;
using Clock = std::chrono::steady_clock;

// Code page of the text a wide (UTF-16) start hands to the system.
constexpr int kUtf8 = 65001;
// Room made for a pipe's bytes at least: one pipe buffer.
constexpr int64_t kReadChunk = 65536;

// A pipe's bytes read straight into a string cell that grows as they come (a resize of a large
// buffer moves pages instead of copying them). Past the state's payload limit further bytes are
// read and dropped, so that the child is never left blocked on a full pipe.
class Capture {
 public:
  explicit Capture(VKL_State* L) : L_(L) { vkl_put_nil(&cell_); }
  ~Capture() { VKL_FreeObjectContent(L_, &cell_); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // Reads everything that waits in the pipe now.
  void drain(int fd) {
    for (;;) {
      if (capacity_ - used_ < kReadChunk && !full_) full_ = !grow();
      char scratch[4096];
      const int64_t got =
          full_ ? os::read_waiting(fd, scratch, sizeof scratch)
                : os::read_waiting(fd, data_ + used_, static_cast<size_t>(capacity_ - used_));
      if (got <= 0) return;
      if (!full_) used_ += got;
    }
  }

  // Moves the bytes read, exactly their count, into `dst`; false (dst untouched) without memory.
  bool take(TObject* dst) {
    if (cell_.tag == VKL_TNIL && !VKL_SetStringEx(L_, &cell_, nullptr, 0)) return false;
    if (used_ != capacity_) VKL_Realloc2(L_, &cell_, used_);
    VKL_FreeObjectContent(L_, dst);
    *dst = cell_;
    vkl_put_nil(&cell_);
    return true;
  }

 private:
  bool grow() {
    if (cell_.tag == VKL_TNIL && !VKL_SetStringEx(L_, &cell_, nullptr, 0)) return false;
    const int64_t limit = VKL_GetMaxStrLen();
    int64_t wanted = capacity_ * 2 > used_ + kReadChunk ? capacity_ * 2 : used_ + kReadChunk;
    if (wanted > limit) wanted = limit;
    if (wanted <= used_) return false;
    void* data = VKL_Realloc2Unfilled(L_, &cell_, wanted);
    if (!data) return false;
    data_ = static_cast<char*>(data);
    capacity_ = wanted;
    return true;
  }

  VKL_State* L_;
  TObject cell_;
  char* data_ = nullptr;
  int64_t used_ = 0;
  int64_t capacity_ = 0;
  bool full_ = false;
};

std::string to_code_page(int code_page, const vkl_wchar* s, int64_t len) {
  std::string out(static_cast<size_t>(VKL_WideToMultiByte(code_page, s, len, nullptr, 0)), '\0');
  VKL_WideToMultiByte(code_page, s, len, out.data(), static_cast<int64_t>(out.size()));
  return out;
}

std::u16string to_wide(const char* s, int64_t len) {
  std::u16string out(static_cast<size_t>(VKL_MultiByteToWide(0, s, len, nullptr, 0)), u'\0');
  VKL_MultiByteToWide(0, s, len, out.data(), static_cast<int64_t>(out.size()));
  return out;
}

// The text of a narrow or wide string, nil ("") or binary, in the width of the start: the host
// code page for a narrow start, UTF-8 for a wide one. False for other kinds.
bool text_for_call(const TObject* cell, bool wide_call, std::string* out) {
  const TObject* o = vkl_follow(cell);
  if (o->tag == VKL_TWSTRING) {
    *out = to_code_page(wide_call ? kUtf8 : 0, VKL_AsWString(o), VKL_WStringLen(o));
    return true;
  }
  std::string_view bytes;
  if (vkl_is_string_tag(o->tag))
    bytes = std::string_view(VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o)));
  else if (o->tag == VKL_TBINARY)
    bytes = std::string_view(VKL_AsString(o), static_cast<size_t>(vkl_len(o)));
  else if (o->tag != VKL_TNIL)
    return false;
  if (!wide_call) {
    *out = bytes;
  } else {
    const std::u16string wide = to_wide(bytes.data(), static_cast<int64_t>(bytes.size()));
    *out = to_code_page(kUtf8, wide.data(), static_cast<int64_t>(wide.size()));
  }
  return true;
}

// The child's arguments from a command line given as text or as an array of strings.
bool command_arguments(const TObject* cell, bool wide_call, std::vector<std::string>* argv) {
  const TObject* o = vkl_follow(cell);
  std::string line;
  if (o->tag == VKL_TTABLE) {
    const bool all_texts = each_indexed_element(vkl_table(o), [&](const TObject* element) {
      std::string text;
      if ((!vkl_is_string_tag(element->tag) && element->tag != VKL_TWSTRING) ||
          !text_for_call(element, wide_call, &text))
        return false;
      append_quoted_argument(&line, text, !wide_call);
      return true;
    });
    if (!all_texts) return false;
  } else if (!text_for_call(o, wide_call, &line)) {
    return false;
  }
  *argv = split_command_line(line, !wide_call);
  return true;
}

// The working directory: 0 for this process's, or a text.
bool directory_argument(const TObject* cell, bool wide_call, std::string* out) {
  const TObject* o = vkl_follow(cell);
  if (vkl_is_number_tag(o->tag)) return VKL_AsInt64(o) == 0;
  return text_for_call(o, wide_call, out);
}

// The "in" member as text: strings as they are, anything else in its display form.
std::string text_of(VKL_State* L, const TObject* cell) {
  std::string text;
  if (text_for_call(cell, false, &text)) return text;
  int64_t len = 0;
  char* shown = VKL_ObjToStrEx(L, cell, 0, &len);
  if (shown) text.assign(shown, static_cast<size_t>(len));
  VKL_Free(shown);
  return text;
}

struct StartOptions {
  bool wait = false;
  bool has_input = false;
  std::string input;
};

bool read_options(VKL_State* L, const TObject* cell, const ExecState& state, StartOptions* out) {
  const TObject* o = vkl_follow(cell);
  if (!VKL_HashCheck(o)) {
    out->wait = VKL_AsBool(o) != 0;
    return true;
  }
  const TObject* wait = VKL_HashGetSZString(vkl_table(o), "wait");
  const TObject* input = VKL_HashGetSZString(vkl_table(o), "in");
  out->wait = wait && VKL_AsBool(wait);
  if (!input) return true;
  if (!state.pending_in.exists()) return false;
  out->has_input = true;
  out->input = text_of(L, input);
  return true;
}

// Writes the text to the child's input on a thread of its own, which may outlive the call; it
// writes to a copy of the pipe end, so closing the pipe meanwhile cannot redirect its bytes.
void start_input_writer(int pipe_write, std::string text) {
  const int copy = os::duplicate_fd(pipe_write);
  if (copy < 0) return;
  std::thread([copy, text = std::move(text)] {
    os::quiet_broken_pipes();
    os::write_all(copy, text.data(), text.size());
    os::close_fd(copy);
  }).detach();
}

// Everything the child wrote while it ran, then everything left once it exited. Returns
// whether it exited before the deadline.
bool wait_and_capture(int process, int pipe_read, int64_t timeout_ms, Capture* out) {
  const auto deadline = timeout_ms < 0 ? Clock::time_point::max()
                                       : Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    int64_t left = -1;
    if (timeout_ms >= 0) {
      left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left < 0) left = 0;
    }
    const int state = os::wait_process_or_input(process, pipe_read, left);
    out->drain(pipe_read);
    if (state != 0) return state == 1;
    if (left == 0) return false;
  }
}

// exitInfo: the exit code, or with a capture the table {"code": code, "out": bytes}.
void set_exit_info(VKL_State* L, TObject* info, int code, Capture* captured) {
  if (!captured) {
    VKL_SetInt(L, info, code);
    return;
  }
  VKL_Table* table = VKL_NewHash(L, info);
  if (!table) return;
  if (TObject* c = VKL_HashSetSZString(L, table, "code")) VKL_SetInt(L, c, code);
  if (TObject* o = VKL_HashSetSZString(L, table, "out")) captured->take(o);
}

// Registers the pending pipes under a new process: one more holder each.
void give_pending_pipes(ExecState& state, intptr_t process) {
  if (state.pending_out.exists()) {
    state.out_pipes.emplace(process, state.pending_out);
    ++state.holders[state.pending_out.read];
  }
  if (state.pending_in.exists()) {
    state.in_pipes.emplace(process, state.pending_in);
    ++state.holders[state.pending_in.read];
  }
}

// The pipes known for a process handle, or the pending ones for 0. False when none is known.
bool pipes_of(const ExecState& state, intptr_t process, os::Pipe* out, os::Pipe* in) {
  if (process == 0) {
    *out = state.pending_out;
    *in = state.pending_in;
  } else {
    auto o = state.out_pipes.find(process);
    auto i = state.in_pipes.find(process);
    *out = o != state.out_pipes.end() ? o->second : os::Pipe{};
    *in = i != state.in_pipes.end() ? i->second : os::Pipe{};
  }
  return out->exists() || in->exists();
}

// The optional process argument at `i` (0 when absent); false when it is not a number.
bool process_argument(TObject* args, int nargs, int i, intptr_t* out) {
  *out = 0;
  if (i >= nargs) return true;
  if (!plugin::arg_is_number(args, nargs, i)) return false;
  *out = VKL_AsIntPtr(arg_at(args, i));
  return true;
}

}  // namespace

int sysexec(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs != 5 && nargs != 6) return 0;
  const TObject* options = arg_at(args, 3);
  if (!VKL_HashCheck(options) && !vkl_is_number_tag(options->tag)) return 0;
  if (!has_sys_right(L)) return 0;
  const TObject* application = arg_at(args, 0);
  const bool wide = application->tag == VKL_TWSTRING;
  if (!wide && !vkl_is_string_tag(application->tag)) return 0;

  ExecState& state = exec_state();
  StartOptions start;
  os::SpawnRequest request;
  if (!read_options(L, options, state, &start) ||
      !text_for_call(application, wide, &request.program) ||
      !command_arguments(arg_at(args, 1), wide, &request.argv) ||
      !directory_argument(arg_at(args, 2), wide, &request.directory))
    return 0;
  const int64_t timeout_ms = nargs == 6 ? VKL_AsInt64(arg_at(args, 5)) : -1;

  // A wide start does not hand the pipes over as standard handles, only the narrow one does.
  if (!wide && (state.pending_out.exists() || state.pending_in.exists())) {
    request.std_out = request.std_err =
        state.pending_out.exists() ? state.pending_out.write : os::kNoHandle;
    request.std_in = state.pending_in.exists() ? state.pending_in.read : os::kNoHandle;
  }
  std::vector<std::string> environment;
  if (!state.environment_block.empty()) {
    environment = block_entries(state.environment_block);
    request.environment = &environment;
  }

  const int process = os::spawn_process(request);
  if (process < 0 || !register_process(process)) {
    if (process >= 0) os::release_process(process);
    VKL_SetInt(L, result, 0);
    return 1;
  }
  if (start.has_input) start_input_writer(state.pending_in.write, std::move(start.input));
  give_pending_pipes(state, process);

  TObject* exit_info = arg_at(args, 4);
  if (!start.wait) {
    VKL_SetInt(L, exit_info, 0);
  } else if (state.pending_out.exists()) {
    Capture captured(L);
    int code = -1;
    if (!wait_and_capture(process, state.pending_out.read, timeout_ms, &captured) ||
        !process_exit_code(process, &code))
      code = -1;
    set_exit_info(L, exit_info, code, &captured);
  } else {
    bool failed = false;
    int code = -1;
    if (!os::wait_process(process, timeout_ms, &failed) || !process_exit_code(process, &code))
      code = -1;
    set_exit_info(L, exit_info, code, nullptr);
  }
  VKL_SetIntPtr(L, result, process);
  return 1;
}

int sysexecnewpipe(VKL_State* L, TObject* args, int nargs, TObject* result) {
  int64_t mode = 0;
  if (!has_sys_right(L) || nargs > 1 || (nargs == 1 && !plugin::arg_int64(args, nargs, 0, &mode)) ||
      mode < 0 || mode > 3)
    return 0;
  ExecState& state = exec_state();
  for (os::Pipe* pending : {&state.pending_out, &state.pending_in}) {
    if (pending->exists()) release_pipe(state, *pending);
    *pending = {};
  }
  const bool want_out = mode != 2;
  const bool want_in = mode != 1;
  os::Pipe out;
  os::Pipe in;
  if (want_out && !os::make_output_pipe(&out)) {
    VKL_SetInt(L, result, 0);
    return 1;
  }
  if (want_in && !os::make_pipe(&in)) {
    os::close_pipe(out);
    VKL_SetInt(L, result, 0);
    return 1;
  }
  for (const os::Pipe& made : {out, in}) {
    if (made.exists()) state.holders[made.read] = 1;
  }
  state.pending_out = out;
  state.pending_in = in;
  VKL_SetInt(L, result, 1);
  return 1;
}

int sysexecdeletepipe(VKL_State* L, TObject* args, int nargs, TObject* result) {
  intptr_t process = 0;
  if (!has_sys_right(L) || nargs > 1 || !process_argument(args, nargs, 0, &process)) return 0;
  ExecState& state = exec_state();
  bool had = false;
  if (process == 0) {
    for (os::Pipe* pending : {&state.pending_out, &state.pending_in}) {
      if (!pending->exists()) continue;
      had = true;
      for (auto* registry : {&state.out_pipes, &state.in_pipes})
        std::erase_if(*registry, [&](const auto& entry) { return entry.second == *pending; });
      state.holders.erase(pending->read);
      os::close_pipe(*pending);
      *pending = {};
    }
  } else {
    for (auto* registry : {&state.out_pipes, &state.in_pipes}) {
      auto found = registry->find(process);
      if (found == registry->end()) continue;
      had = true;
      const os::Pipe pipe = found->second;
      registry->erase(found);
      release_pipe(state, pipe);
    }
  }
  VKL_SetInt(L, result, had ? 1 : 0);
  return 1;
}

int sysexecreadpipe(VKL_State* L, TObject* args, int nargs, TObject* result) {
  intptr_t process = 0;
  os::Pipe out;
  os::Pipe in;
  if (!has_sys_right(L) || nargs > 1 || !process_argument(args, nargs, 0, &process) ||
      !pipes_of(exec_state(), process, &out, &in))
    return 0;
  Capture bytes(L);
  if (out.exists()) bytes.drain(out.read);
  return bytes.take(result) ? 1 : 0;
}

int sysexecwritepipe(VKL_State* L, TObject* args, int nargs, TObject* result) {
  intptr_t process = 0;
  os::Pipe out;
  os::Pipe in;
  if (!has_sys_right(L) || nargs < 1 || nargs > 2 ||
      (nargs == 2 && !process_argument(args, nargs, 0, &process)))
    return 0;
  const TObject* text = arg_at(args, nargs - 1);
  std::string_view bytes;
  if (vkl_is_string_tag(text->tag))
    bytes = std::string_view(VKL_AsString(text), static_cast<size_t>(VKL_StringLen(text)));
  else if (text->tag == VKL_TWSTRING)
    bytes = std::string_view(reinterpret_cast<const char*>(VKL_AsWString(text)),
                             static_cast<size_t>(VKL_WStringLen(text)) * sizeof(vkl_wchar));
  else
    return 0;
  if (!pipes_of(exec_state(), process, &out, &in) || !in.exists()) return 0;
  const int64_t written = os::write_all(in.write, bytes.data(), bytes.size());
  VKL_SetIntAuto(L, result, written > 0 ? written : -1);
  return 1;
}

}  // namespace vkl::system
