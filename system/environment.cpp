// The environment of this process and of children, the working directory, ending a process
// and pausing.
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include <vkl/interp.h>

#include "plugin/args.h"
#include "system/exec_state.h"
#include "system/named_mutex.h"
#include "system/process.h"
#include "system/sys_right.h"

namespace vkl::system {
namespace {

using plugin::arg_at;

// Sleeps longer than this are cut into slices of it, with a look at the stop request between.
constexpr int64_t kSleepSliceMs = 1000;

// Answers an array of the texts, indexed from 0; 0 (result untouched) when out of memory.
int answer_texts(VKL_State* L, const std::vector<std::string>& texts, TObject* result) {
  TObject answer;
  vkl_put_nil(&answer);
  VKL_Table* table = VKL_NewHashEx(L, &answer, static_cast<int64_t>(texts.size()), 0);
  bool ok = table != nullptr;
  for (size_t i = 0; ok && i < texts.size(); ++i) {
    TObject* slot = VKL_HashSetInt64(L, table, static_cast<int64_t>(i));
    ok = slot && VKL_SetStringEx(L, slot, texts[i].data(), static_cast<int64_t>(texts[i].size()));
  }
  if (!ok) {
    VKL_FreeObjectContent(L, &answer);
    return 0;
  }
  VKL_FreeObjectContent(L, result);
  *result = answer;
  return 1;
}

// The only argument as a narrow string.
bool only_string(TObject* args, int nargs, std::string* out) {
  std::string_view text;
  if (nargs != 1 || !plugin::arg_string(args, nargs, 0, &text)) return false;
  *out = text;
  return true;
}

void append_entries(std::string* block, const std::vector<std::string>& entries) {
  for (const std::string& e : entries) block->append(e).push_back('\0');
}

}  // namespace

// sysexecgetenvs(): the entries set for children, or no value when they inherit ours
int sysexecgetenvs(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!has_sys_right(L) || nargs != 0) return 0;
  const std::string& block = exec_state().environment_block;
  if (block.empty()) {
    VKL_FreeObjectContent(L, result);
    return 1;
  }
  return answer_texts(L, block_entries(block), result);
}

// sysexecsetenvs(entries, mode): nil lets children inherit; an array of name=value strings,
// with this process's environment before (mode 1) or after (mode 2) them
int sysexecsetenvs(VKL_State* L, TObject* args, int nargs, TObject*) {
  int64_t mode = 0;
  if (!has_sys_right(L) || nargs != 2 || !plugin::arg_int64(args, nargs, 1, &mode)) return 0;
  const TObject* entries = arg_at(args, 0);
  std::string& block = exec_state().environment_block;
  if (entries->tag == VKL_TNIL) {
    block.clear();
    return 1;
  }
  if (!VKL_HashCheck(entries) || mode < 0 || mode > 2) return 0;
  block.clear();
  if (mode == 1) append_entries(&block, os::environment_entries());
  const bool all_texts = each_indexed_element(vkl_table(entries), [&](const TObject* element) {
    if (!vkl_is_string_tag(element->tag)) return false;
    block.append(VKL_AsString(element), static_cast<size_t>(VKL_StringLen(element)));
    block.push_back('\0');
    return true;
  });
  if (!all_texts) return 0;
  if (mode == 2) append_entries(&block, os::environment_entries());
  block.push_back('\0');
  return 1;
}

// sysgetenv(name): the variable's value ("" when it is not set)
int sysgetenv(VKL_State* L, TObject* args, int nargs, TObject* result) {
  std::string name;
  std::string value;
  if (!has_sys_right(L) || !only_string(args, nargs, &name)) return 0;
  if (!os::get_env(name, &value)) return VKL_SetString(L, result, nullptr);
  return VKL_SetStringEx(L, result, value.data(), static_cast<int64_t>(value.size()));
}

// sysgetenvs(): every name=value of this process's environment
int sysgetenvs(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (!has_sys_right(L) || nargs != 0) return 0;
  return answer_texts(L, os::environment_entries(), result);
}

// sysputenv("name=value"): 0 when set (an empty value removes the variable), -1 when not
int sysputenv(VKL_State* L, TObject* args, int nargs, TObject* result) {
  std::string assignment;
  if (!has_sys_right(L) || !only_string(args, nargs, &assignment)) return 0;
  VKL_SetInt(L, result, os::put_env(assignment) ? 0 : -1);
  return 1;
}

// sysgetcwd(): the current directory
int sysgetcwd(VKL_State* L, TObject*, int nargs, TObject* result) {
  std::string directory;
  if (!has_sys_right(L) || nargs != 0 || !os::current_directory(&directory)) return 0;
  return VKL_SetStringEx(L, result, directory.data(), static_cast<int64_t>(directory.size()));
}

// syschdir(path): 1 when the current directory changed, else 0
int syschdir(VKL_State* L, TObject* args, int nargs, TObject* result) {
  std::string path;
  if (!has_sys_right(L) || !only_string(args, nargs, &path)) return 0;
  VKL_SetInt(L, result, os::change_directory(path) ? 1 : 0);
  return 1;
}

// systerminate([code [, process]]): ends this process, or the given child, with the code
int systerminate(VKL_State* L, TObject* args, int nargs, TObject*) {
  int32_t code = 0;
  if (!has_sys_right(L) || nargs > 2 || (nargs >= 1 && !plugin::arg_int(args, nargs, 0, &code)) ||
      (nargs == 2 && !plugin::arg_is_number(args, nargs, 1)))
    return 0;
  if (nargs < 2) {
    named_mutex_let_go_all();
    os::exit_process(code);
  }
  terminate_process(VKL_AsIntPtr(arg_at(args, 1)), code);
  return 1;
}

// sleep(ms): pauses; a negative time only yields, a long one ends early on a stop request
int sleep(VKL_State* L, TObject* args, int nargs, TObject*) {
  double ms = 0;
  if (nargs != 1 || !plugin::arg_number(args, nargs, 0, &ms) || std::isnan(ms)) return 0;
  if (ms < 0) {
    os::yield_thread();
    return 1;
  }
  const auto start = std::chrono::steady_clock::now();
  const double total = ms < 9.2e15 ? ms : 9.2e15;
  while (!VKL_InterpIsStopL(L)) {
    const double spent =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    const int64_t left = std::llround(total - spent);
    if (left <= 0) break;
    os::sleep_ms(left < kSleepSliceMs ? left : kSleepSliceMs);
  }
  return 1;
}

}  // namespace vkl::system
