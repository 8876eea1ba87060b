// Services shared by the files of the interpreter library: the interpreter's data kept in a
// kernel state, and case folding of names.
#pragma once

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <atomic>
#include <cstdint>
#include <functional>
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
  std::string private_prefix;  // used only when has_private_prefix
  bool has_private_prefix = false;
  std::string default_prefix;  // "vkl_" + user, rebuilt when the user changes
  // A few dozen parameters at most: a vector in insertion order keeps GetSysParams stable and
  // is faster to scan than a map at this size.
  std::vector<SysParam> params;
  std::vector<SysParam> saved_params;
  std::atomic<int> stop{0};
  VKL_CallHook call_hook = nullptr;
  VKL_ClassHook class_hook = nullptr;
  void* host_data = nullptr;
  std::string file_name;
};

// The interpreter data of a state, or null for a null state or a plain kernel state.
InterpData* interp_data(VKL_State* L);

// Releases the value cells of a parameter list and empties it.
void clear_params(VKL_State* L, std::vector<SysParam>& params);

// ASCII letters folded to lower case. In a double-byte host code page the byte after a lead
// byte is part of the same character and is left alone, so that no trail byte is altered.
void fold_case_into(std::string_view in, char* out);
std::string fold_case(std::string_view in);

}  // namespace vkl::interp
