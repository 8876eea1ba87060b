// Linux: pipe2, posix_spawn with file actions for the standard handles, process descriptors
// (pidfd) waited with poll and asked with waitid, FIONREAD to see what waits in a pipe.
#include "system/os_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <thread>

#include "system/last_error.h"

extern char** environ;

namespace vkl::system::os {
namespace {

// poll takes an int of milliseconds; longer waits go round again.
constexpr int64_t kLongestPoll = INT_MAX;

int poll_timeout(int64_t ms) {
  return ms < 0 ? -1 : static_cast<int>(ms < kLongestPoll ? ms : kLongestPoll);
}

// Polls until an event or the time passes; restarts after signals. The poll's result.
int poll_for(pollfd* fds, nfds_t count, int64_t ms) {
  const bool unlimited = ms < 0;
  timespec start{};
  clock_gettime(CLOCK_MONOTONIC, &start);
  for (;;) {
    int64_t left = ms;
    if (!unlimited) {
      timespec now{};
      clock_gettime(CLOCK_MONOTONIC, &now);
      const int64_t spent =
          (now.tv_sec - start.tv_sec) * 1000 + (now.tv_nsec - start.tv_nsec) / 1000000;
      left = ms > spent ? ms - spent : 0;
    }
    const int ready = poll(fds, count, poll_timeout(left));
    if (ready > 0 || (ready == 0 && (unlimited || left <= kLongestPoll))) return ready;
    if (ready < 0 && errno != EINTR) return fail_with_errno(-1);
  }
}

int open_process(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

int signal_process(int process, int signal) {
  return static_cast<int>(syscall(SYS_pidfd_send_signal, process, signal, nullptr, 0));
}

siginfo_t probe_exit(int process, int options) {
  siginfo_t info{};
  if (waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(process), &info, options) != 0) {
    set_last_error(errno);
    info.si_pid = -1;
  }
  return info;
}

}  // namespace

bool make_pipe(Pipe* out) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return fail_with_errno(false);
  *out = {ends[0], ends[1]};
  return true;
}

bool make_output_pipe(Pipe* out) {
  if (!make_pipe(out)) return false;
  const int flags = fcntl(out->read, F_GETFL);
  if (flags >= 0 && fcntl(out->read, F_SETFL, flags | O_NONBLOCK) == 0) return true;
  set_last_error(errno);
  close_pipe(*out);
  *out = {};
  return false;
}

void close_fd(int fd) {
  if (fd >= 0) close(fd);
}

void close_pipe(const Pipe& pipe) {
  close_fd(pipe.read);
  close_fd(pipe.write);
}

int duplicate_fd(int fd) {
  const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  return copy >= 0 ? copy : fail_with_errno(-1);
}

int64_t read_waiting(int fd, char* buffer, size_t size) {
  ssize_t got;
  do got = read(fd, buffer, size);
  while (got < 0 && errno == EINTR);
  if (got >= 0) return got;
  return errno == EAGAIN ? 0 : fail_with_errno(int64_t{-1});
}

int64_t write_all(int fd, const char* data, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t wrote = write(fd, data + done, size - done);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      set_last_error(errno);
      break;
    }
    done += static_cast<size_t>(wrote);
  }
  return static_cast<int64_t>(done);
}

void quiet_broken_pipes() {
  sigset_t pipe_signal;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
}

int spawn_process(const SpawnRequest& request) {
  if (request.argv.empty() && request.program.empty()) {
    set_last_error(ENOENT);
    return -1;
  }
  std::vector<char*> argv;
  for (const std::string& a : request.argv) argv.push_back(const_cast<char*>(a.c_str()));
  if (argv.empty()) argv.push_back(const_cast<char*>(request.program.c_str()));
  argv.push_back(nullptr);
  std::vector<char*> envp;
  if (request.environment) {
    for (const std::string& e : *request.environment) envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const int targets[] = {request.std_in, request.std_out, request.std_err};
  for (int target = 0; target < 3; ++target)
    if (targets[target] >= 0)
      posix_spawn_file_actions_adddup2(&actions, targets[target], target);
    else if (targets[target] == kNoHandle)
      posix_spawn_file_actions_addopen(&actions, target, "/dev/null", O_RDWR, 0);
  if (!request.directory.empty())
    posix_spawn_file_actions_addchdir_np(&actions, request.directory.c_str());

  pid_t pid = 0;
  char** env = request.environment ? envp.data() : environ;
  const int failed =
      request.program.empty()
          ? posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), env)
          : posix_spawn(&pid, request.program.c_str(), &actions, nullptr, argv.data(), env);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    set_last_error(failed);
    return -1;
  }
  const int process = open_process(pid);
  if (process < 0) {
    set_last_error(errno);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
  }
  fcntl(process, F_SETFD, FD_CLOEXEC);
  return process;
}

bool wait_process(int process, int64_t ms, bool* failed) {
  pollfd fd{process, POLLIN, 0};
  const int ready = poll_for(&fd, 1, ms);
  *failed = ready < 0 || (ready > 0 && !(fd.revents & POLLIN));
  if (ready > 0 && !(fd.revents & POLLIN)) set_last_error(EBADF);
  return ready > 0 && !*failed;
}

int wait_process_or_input(int process, int pipe_read, int64_t ms) {
  pollfd fds[2] = {{process, POLLIN, 0}, {pipe_read, POLLIN, 0}};
  const int ready = poll_for(fds, 2, ms);
  if (ready < 0) return -1;
  if (fds[0].revents & POLLIN) return 1;
  if (fds[0].revents & (POLLNVAL | POLLERR)) {
    set_last_error(EBADF);
    return -1;
  }
  return 0;
}

bool exit_status(int process, int* code) {
  const siginfo_t info = probe_exit(process, WEXITED | WNOHANG | WNOWAIT);
  if (info.si_pid <= 0) return false;
  *code = info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
  return true;
}

bool kill_process(int process) {
  return signal_process(process, SIGKILL) == 0 || fail_with_errno(false);
}

void release_process(int process) {
  if (probe_exit(process, WEXITED | WNOHANG).si_pid != 0) {
    close(process);
    return;
  }
  std::thread([process] {
    probe_exit(process, WEXITED);
    close(process);
  }).detach();
}

std::vector<std::string> environment_entries() {
  std::vector<std::string> entries;
  for (char** e = environ; e && *e; ++e) entries.emplace_back(*e);
  return entries;
}

bool get_env(const std::string& name, std::string* value) {
  const char* found = name.find('\0') == std::string::npos ? getenv(name.c_str()) : nullptr;
  if (!found) return false;
  *value = found;
  return true;
}

bool put_env(const std::string& assignment) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos || equals == 0 || assignment.find('\0') != std::string::npos) {
    set_last_error(EINVAL);
    return false;
  }
  const std::string name = assignment.substr(0, equals);
  const int status = equals + 1 == assignment.size()
                         ? unsetenv(name.c_str())
                         : setenv(name.c_str(), assignment.c_str() + equals + 1, 1);
  return status == 0 || fail_with_errno(false);
}

bool change_directory(const std::string& path) {
  return chdir(path.c_str()) == 0 || fail_with_errno(false);
}

bool current_directory(std::string* out) {
  char buffer[4096];
  if (!getcwd(buffer, sizeof buffer)) return fail_with_errno(false);
  *out = buffer;
  return true;
}

void sleep_ms(int64_t ms) {
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

void yield_thread() {
  sched_yield();
}

void exit_process(int code) {
  std::cout.flush();
  std::cerr.flush();
  fflush(nullptr);
  _exit(code);
}

}  // namespace vkl::system::os
