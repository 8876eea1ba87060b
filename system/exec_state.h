// The per-thread execution state of the process functions: the pending pipes that the next
// started child gets, the holders' counts of every pipe, the pipes each started process was
// given, and the environment block for children. Nothing here is locked: one interpreter
// thread runs its handlers one at a time, and no thread sees another's state.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <vkl/kernel.h>

#include "system/os_process.h"

namespace vkl::system {

struct ExecState {
  os::Pipe pending_out;  // the child's standard output and error
  os::Pipe pending_in;   // the child's standard input
  // Holders of a pipe, by its read end: the pending slot and each process it was given to.
  std::map<int, unsigned> holders;
  std::map<intptr_t, os::Pipe> out_pipes;  // by process handle
  std::map<intptr_t, os::Pipe> in_pipes;
  // Children's environment: name=value entries, each ending in a zero byte, and one more zero
  // byte after the last; empty: children inherit this process's environment.
  std::string environment_block;
};

ExecState& exec_state();

// The entries of an environment block, up to its first empty one.
std::vector<std::string> block_entries(const std::string& block);

// Calls `visit` with each integer-keyed element of the table (a reference followed), in table
// order, while it returns true; false when it stopped early. Other keys are passed over.
template <typename Visit>
bool each_indexed_element(const VKL_Table* table, Visit visit) {
  const int64_t count = VKL_HashRawCount(table);
  for (int64_t i = 0; i < count; ++i) {
    const TObject* key = nullptr;
    const TObject* element = VKL_HashRawGetN(table, i, &key);
    if (element && key && vkl_is_number_tag(key->tag) && !visit(vkl_follow(element))) return false;
  }
  return true;
}

// Gives up one holder of the pipe; the last one closes both ends.
void release_pipe(ExecState& state, const os::Pipe& pipe);
// Enters a new process handle (a process descriptor) into the handle space.
bool register_process(int process);
// The exit code of an exited child (a child ended by systerminate: the code given there);
// false while it runs.
bool process_exit_code(intptr_t process, int* code);
// Ends a child with SIGKILL; its exit code becomes `code`.
bool terminate_process(intptr_t process, int code);

}  // namespace vkl::system
