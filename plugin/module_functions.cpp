// Module information. Malformed calls (argument count) and a
// caller without system rights asking for every module are rejected; a module file whose time
// and size cannot be read still gives its row (zeros) among the two fixed rows, and is left
// out of the full list.
#include "plugin/module_functions.h"

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <new>
#include <string>
#include <vector>

#include "plugin/args.h"
#include "plugin/loaded_modules.h"

namespace vkl::plugin {
namespace {

// The full module list is cut at this many modules, and each path at this many bytes.
constexpr size_t kMaxModules = 1024;
constexpr size_t kMaxModulePath = 1023;

// A table cell built aside and moved into the result once complete, so that a call failing
// half-way leaves the result as it was.
class PendingTable {
 public:
  explicit PendingTable(VKL_State* L) : L_(L) { vkl_put_nil(&cell_); }
  ~PendingTable() { VKL_FreeObjectContent(L_, &cell_); }
  PendingTable(const PendingTable&) = delete;
  PendingTable& operator=(const PendingTable&) = delete;

  VKL_Table* create() { return VKL_NewHash(L_, &cell_); }
  bool move_to(TObject* result) {
    if (!VKL_DupObjectHashRef3(L_, result, &cell_)) return false;
    VKL_FreeObjectContent(L_, &cell_);
    return true;
  }

 private:
  VKL_State* L_;
  TObject cell_;
};

// A new table under `key` of `rows`, or null.
VKL_Table* add_row(VKL_State* L, VKL_Table* rows, int32_t key) {
  TObject* cell = VKL_HashSetInt(L, rows, key);
  return cell ? VKL_NewHash(L, cell) : nullptr;
}

// The file's time and size under keys `first` and `first` + 1 of a row.
bool put_time_size(VKL_State* L, VKL_Table* row, int32_t first, double time, int64_t size) {
  TObject* time_cell = VKL_HashSetInt(L, row, first);
  if (!time_cell) return false;
  VKL_SetReal(L, time_cell, time);
  TObject* size_cell = VKL_HashSetInt(L, row, first + 1);
  if (!size_cell) return false;
  VKL_SetInt64(L, size_cell, size);
  return true;
}

// {0: time, 1: size} of one file (zeros when it cannot be read).
bool add_time_size_row(VKL_State* L, VKL_Table* rows, int32_t key, const std::string& path) {
  double time = 0;
  int64_t size = 0;
  VKL_GetFileTimeSize(path.c_str(), &time, &size);
  VKL_Table* row = add_row(L, rows, key);
  return row && put_time_size(L, row, 0, time, size);
}

// {0: path, 1: time, 2: size} of one module; skipped (true) when its file cannot be read.
bool add_module_row(VKL_State* L, VKL_Table* rows, int32_t* next_key, std::string path) {
  if (path.size() > kMaxModulePath) path.resize(kMaxModulePath);
  double time = 0;
  int64_t size = 0;
  if (!VKL_GetFileTimeSize(path.c_str(), &time, &size)) return true;
  VKL_Table* row = add_row(L, rows, *next_key);
  TObject* path_cell = row ? VKL_HashSetInt(L, row, 0) : nullptr;
  const auto path_len = static_cast<int64_t>(path.size());
  if (!path_cell || !VKL_SetStringEx(L, path_cell, path.data(), path_len) ||
      !put_time_size(L, row, 1, time, size))
    return false;
  ++*next_key;
  return true;
}

int host_modules_info(VKL_State* L, TObject* result) {
  const std::string interpreter = module_path_of(reinterpret_cast<const void*>(&VKL_InterpService));
  PendingTable table(L);
  VKL_Table* rows = table.create();
  if (!rows || !add_time_size_row(L, rows, 0, executable_path()) ||
      !add_time_size_row(L, rows, 1, interpreter))
    return 0;
  return table.move_to(result) ? 1 : 0;
}

int all_modules_info(VKL_State* L, TObject* result) {
  const std::vector<std::string> paths = loaded_module_paths(kMaxModules);
  if (paths.empty()) return 0;
  PendingTable table(L);
  VKL_Table* rows = table.create();
  if (!rows) return 0;
  int32_t next_key = 0;
  for (const std::string& path : paths)
    if (!add_module_row(L, rows, &next_key, path)) return 0;
  return table.move_to(result) ? 1 : 0;
}

}  // namespace

// vk_moduleinfo([all]): {time, size} rows of the executable and the interpreter module; with a
// true `all` (system right needed), {path, time, size} rows of every module of the process
int vk_moduleinfo(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs > 1) return 0;
  const bool all = nargs == 1 && VKL_AsBool(arg_at(args, 0));
  if (all && !VKL_CheckSysRight(VKL_GetOrigUserID(L))) return 0;
  try {
    return all ? all_modules_info(L, result) : host_modules_info(L, result);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// vklfilename(): the file the interpreter runs ("" when none)
int vklfilename(VKL_State* L, TObject*, int nargs, TObject* result) {
  if (nargs != 0) return 0;
  const auto* name = reinterpret_cast<const char*>(VKL_InterpService(L, VKL_SVC_FILENAME, nullptr));
  return VKL_SetString(L, result, name ? name : "") ? 1 : 0;
}

}  // namespace vkl::plugin
