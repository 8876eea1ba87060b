// The operating-system calls behind processes, pipes, the environment and the working
// directory, each a small function so that another platform replaces this file alone. Calls
// that fail record errno as the last error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vkl::system::os {

// The two ends of an anonymous pipe; -1 when absent. The ends are closed on exec: a child gets
// only the ends it is given as standard handles.
struct Pipe {
  int read = -1;
  int write = -1;
  bool exists() const { return read >= 0; }
  bool operator==(const Pipe&) const = default;
};

bool make_pipe(Pipe* out);
// A pipe whose read end never blocks: a read of an empty pipe finds nothing instead of
// waiting. Only the read end, which stays with this process, is non-blocking.
bool make_output_pipe(Pipe* out);
void close_fd(int fd);
void close_pipe(const Pipe& pipe);
// A second descriptor of the same pipe end, or -1.
int duplicate_fd(int fd);

// Reads what waits in a pipe end made by make_output_pipe, at most `size` bytes; never blocks.
// The bytes read; 0 when nothing waits (or the writers are gone), -1 on an error.
int64_t read_waiting(int fd, char* buffer, size_t size);
// Writes all bytes (blocking while the pipe is full); the bytes written.
// A write to a pipe nobody reads fails with EPIPE instead of a signal on a thread that called
// quiet_broken_pipes() first.
int64_t write_all(int fd, const char* data, size_t size);
void quiet_broken_pipes();

// A standard handle the child does not get: it reads end-of-file and its writes go nowhere.
inline constexpr int kNoHandle = -2;

struct SpawnRequest {
  std::string program;            // empty: the first argument searched on the PATH
  std::vector<std::string> argv;  // the child's arguments, argv[0] included
  std::string directory;          // empty: this process's
  const std::vector<std::string>* environment = nullptr;  // null: this process's
  int std_in = -1;                                        // -1: inherited, or kNoHandle
  int std_out = -1;
  int std_err = -1;
};

// Starts a child; its process descriptor, or -1.
int spawn_process(const SpawnRequest& request);
// Waits until the child exits or `ms` passes (negative: without limit): true when it exited;
// false on time-out or error (*failed tells which).
bool wait_process(int process, int64_t ms, bool* failed);
// Sleeps until the child exits or `pipe_read` has bytes, at most `ms` (negative: no limit).
// 1 exited, 0 bytes waiting or time-out, -1 error.
int wait_process_or_input(int process, int pipe_read, int64_t ms);
// The child's exit status once it has exited (a killed child: 128 + the signal); false while it
// runs or when it cannot be asked. The child stays waitable.
bool exit_status(int process, int* code);
bool kill_process(int process);
// Closes the process descriptor and reaps the child, now or, while it still runs, once it
// exits, so that no zombie stays behind.
void release_process(int process);

// The process environment.
std::vector<std::string> environment_entries();
bool get_env(const std::string& name, std::string* value);
// name=value sets, name= removes; false for a text without '=' or with an empty name.
bool put_env(const std::string& assignment);

bool change_directory(const std::string& path);
bool current_directory(std::string* out);

void sleep_ms(int64_t ms);
void yield_thread();
// Ends this process with the code after flushing its buffered output.
[[noreturn]] void exit_process(int code);

}  // namespace vkl::system::os
