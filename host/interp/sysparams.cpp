// Private values and system parameters of a state. Parameters are deep copies owned by the
// state: a script that changes a table after writing or reading it changes only its own copy.
#include <algorithm>
#include <cstring>

#include <vkl/random.h>

#include "interp_internal.h"

namespace {

using vkl::interp::InterpData;
using vkl::interp::SysParam;

// The name of a parameter cell: a non-empty narrow string.
bool param_name(const TObject* name, std::string_view* out) {
  if (!name || !VKL_StringCheck(name)) return false;
  const TObject* s = vkl_follow(name);
  const int32_t len = VKL_StringLen(s);
  if (len <= 0) return false;
  *out = std::string_view(VKL_AsString(s), static_cast<size_t>(len));
  return true;
}

SysParam* find_param(std::vector<SysParam>& params, std::string_view name) {
  auto it = std::find_if(params.begin(), params.end(),
                         [&](const SysParam& p) { return p.name == name; });
  return it == params.end() ? nullptr : &*it;
}

void clear_params(VKL_State* L, std::vector<SysParam>& params) {
  for (SysParam& p : params) VKL_FreeObjectContent(L, &p.value);
  params.clear();
}

// Appends a parameter holding a deep copy of `value`; false (nothing appended) when out of
// memory.
bool append_copy(VKL_State* L, std::vector<SysParam>& params, std::string_view name,
                 const TObject* value) {
  SysParam copy{std::string(name), {}};
  vkl_put_nil(&copy.value);
  if (!VKL_DupObject(L, &copy.value, value)) return false;
  params.push_back(std::move(copy));
  return true;
}

// A reference is followed: the parameter keeps the value, never a link to a script variable.
// Writing a number to "randseed" also seeds the calling thread's random generator.
int write_param(VKL_State* L, InterpData* d, std::string_view name, const TObject* value) {
  value = vkl_follow(value);
  if (name == "randseed" && VKL_NumberCheck(value))
    RandSeed(static_cast<uint64_t>(VKL_AsInt64(value)));
  if (SysParam* p = find_param(d->params, name)) return VKL_DupObject(L, &p->value, value);
  return append_copy(L, d->params, name, value) ? 1 : 0;
}

int read_param(VKL_State* L, InterpData* d, std::string_view name, TObject* value) {
  const SysParam* p = find_param(d->params, name);
  if (!p) {
    VKL_SetNil(L, value);
    return 1;
  }
  return VKL_DupObject(L, value, &p->value);
}

// `to` becomes a deep copy of `from`; on failure `to` is left empty.
bool copy_params(VKL_State* L, const std::vector<SysParam>& from, std::vector<SysParam>& to) {
  clear_params(L, to);
  to.reserve(from.size());
  for (const SysParam& p : from) {
    if (!append_copy(L, to, p.name, &p.value)) {
      clear_params(L, to);
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" {

int rwPrivateValue(VKL_State* L, int selector, const TObject* name, TObject* value) {
  InterpData* d = vkl::interp::interp_data(L);
  if (!d || !value) return 0;
  if (selector == VKL_PV_PRIVATE_PREFIX) {
    const std::string prefix = d->private_prefix ? *d->private_prefix : "vkl_" + d->user;
    return VKL_SetStringEx(L, value, prefix.data(), static_cast<int64_t>(prefix.size()));
  }
  if (selector != VKL_PV_WRITE_SYSPARAM && selector != VKL_PV_READ_SYSPARAM) return 0;
  std::string_view key;
  if (!param_name(name, &key)) return 0;
  return selector == VKL_PV_WRITE_SYSPARAM ? write_param(L, d, key, value)
                                           : read_param(L, d, key, value);
}

int VKL_GetSysParams(VKL_State* L, TObject* result) {
  InterpData* d = vkl::interp::interp_data(L);
  if (!d || !result) return 0;
  TObject table;
  vkl_put_nil(&table);
  VKL_Table* t = VKL_NewHashEx(L, &table, 0, static_cast<int64_t>(d->params.size()));
  if (!t) return 0;
  for (const SysParam& p : d->params) {
    TObject* slot = VKL_HashSetString(L, t, p.name.data(), static_cast<int64_t>(p.name.size()));
    if (!slot || !VKL_DupObject(L, slot, &p.value)) {
      VKL_FreeObjectContent(L, &table);
      return 0;
    }
  }
  VKL_FreeObjectContent(L, result);
  std::memcpy(result, &table, sizeof table);
  return 1;
}

int VKL_SetSysParams(VKL_State* L, TObject* result) {
  InterpData* d = vkl::interp::interp_data(L);
  if (!d) return 0;
  if (!copy_params(L, d->params, d->saved_params)) return 0;
  if (result) VKL_SetInt(L, result, static_cast<int32_t>(d->saved_params.size()));
  return 1;
}

void VKL_FreeSysParams(VKL_State* L) {
  InterpData* d = vkl::interp::interp_data(L);
  if (!d) return;
  clear_params(L, d->params);
  clear_params(L, d->saved_params);
}

void VKL_ResetSysParams(VKL_State* L) {
  InterpData* d = vkl::interp::interp_data(L);
  if (!d) return;
  copy_params(L, d->saved_params, d->params);
}

}  // extern "C"
