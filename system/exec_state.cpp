#include "system/exec_state.h"

#include <mutex>

#include "system/handles.h"
#include "system/wait_codes.h"

namespace vkl::system {
namespace {

thread_local ExecState t_state;

// Exit codes given to systerminate, kept until the handle is closed.
std::mutex g_codes_lock;
std::map<intptr_t, int> g_termination_codes;

int wait_process(intptr_t handle, int64_t ms) {
  bool failed = false;
  if (os::wait_process(static_cast<int>(handle), ms, &failed)) return kWaitAcquired;
  return failed ? kWaitFailed : kWaitTimedOut;
}

int process_poll_fd(intptr_t handle) {
  return static_cast<int>(handle);
}

// Closing a process handle also gives up the pipes this thread registered under it.
bool close_process(intptr_t handle) {
  {
    std::lock_guard<std::mutex> hold(g_codes_lock);
    g_termination_codes.erase(handle);
  }
  os::release_process(static_cast<int>(handle));
  ExecState& state = t_state;
  for (auto* registry : {&state.out_pipes, &state.in_pipes}) {
    auto found = registry->find(handle);
    if (found == registry->end()) continue;
    const os::Pipe pipe = found->second;
    registry->erase(found);
    release_pipe(state, pipe);
  }
  return true;
}

constexpr HandleKind kProcessKind = {"process", wait_process, nullptr, process_poll_fd,
                                     close_process};

}  // namespace

ExecState& exec_state() {
  return t_state;
}

std::vector<std::string> block_entries(const std::string& block) {
  std::vector<std::string> entries;
  for (size_t at = 0; at < block.size();) {
    const size_t end = block.find('\0', at);
    if (end == at || end == std::string::npos) break;
    entries.push_back(block.substr(at, end - at));
    at = end + 1;
  }
  return entries;
}

void release_pipe(ExecState& state, const os::Pipe& pipe) {
  auto found = state.holders.find(pipe.read);
  if (found != state.holders.end() && found->second >= 2) {
    --found->second;
    return;
  }
  os::close_pipe(pipe);
  if (found != state.holders.end()) state.holders.erase(found);
}

bool register_process(int process) {
  return register_handle(process, &kProcessKind);
}

bool process_exit_code(intptr_t process, int* code) {
  if (!os::exit_status(static_cast<int>(process), code)) return false;
  std::lock_guard<std::mutex> hold(g_codes_lock);
  auto given = g_termination_codes.find(process);
  if (given != g_termination_codes.end()) *code = given->second;
  return true;
}

bool terminate_process(intptr_t process, int code) {
  if (handle_kind(process) != &kProcessKind) return false;
  int ignored = 0;
  if (os::exit_status(static_cast<int>(process), &ignored)) return false;
  {
    std::lock_guard<std::mutex> hold(g_codes_lock);
    g_termination_codes[process] = code;
  }
  return os::kill_process(static_cast<int>(process));
}

}  // namespace vkl::system
