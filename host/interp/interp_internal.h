// Services shared by the files of the interpreter library: the interpreter's data kept in a
// kernel state, and case folding of names.
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vkl::interp {

// A hash that lets string-keyed maps be searched with a string_view, building no string.
struct NameHash {
  using is_transparent = void;
  size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
};
template <typename Value>
using NameMap = std::unordered_map<std::string, Value, NameHash, std::equal_to<>>;

// One system parameter: its name (compared exactly) and a value cell owned by the state.
struct SysParam {
  std::string name;
  TObject value;
};

// What an interpreter state carries beside the kernel's own data. The magic number tells our
// record apart from any other user data a plain kernel state might hold.
struct InterpData {
  static constexpr uint64_t kMagic = 0x564b4c496e747270ull;  // "VKLIntrp"
  uint64_t magic = kMagic;
  std::string user;
  std::string orig_user;
  std::optional<std::string> private_prefix;  // none: "vkl_" followed by the user
  // A few dozen parameters at most: a vector in insertion order keeps GetSysParams stable and
  // is faster to scan than a map at this size.
  std::vector<SysParam> params;
  std::vector<SysParam> saved_params;
  std::atomic<int> stop{0};
  VKL_CallHook call_hook = nullptr;
  VKL_ClassHook class_hook = nullptr;
  void* host_data = nullptr;
  std::string file_name;
  std::string sql_error;  // the last database error message of the state's run
};

// The interpreter data of a state, or null for a null state or a plain kernel state.
InterpData* interp_data(VKL_State* L);

// An argument list that may be passed on: no cells, or a positive count of them.
inline bool valid_args(const TObject* args, int nargs) { return nargs == 0 || (nargs > 0 && args); }

// ASCII letters folded to lower case. The bytes of a multi-byte character of the host code
// page are copied as they are, so that no trail byte is altered.
void fold_case_into(std::string_view in, char* out);
std::string fold_case(std::string_view in);

}  // namespace vkl::interp
