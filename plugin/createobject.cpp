// createobject rejects a call without arguments, a class that is neither a string nor an
// object, the reserved name "vklobject", and every creation that yields nothing (including a
// script class whose construction throws).
#include "plugin/createobject.h"

#include <strings.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstring>
#include <new>
#include <string>

#include "plugin/args.h"

namespace vkl::plugin {
namespace {

// The manager that stands for the host's script classes.
constexpr const char* kScriptClassManager = "VKLObject";

// The class name of a narrow or wide string cell, as narrow text (managers are found without
// regard to case).
bool class_name(const TObject* o, std::string* name) {
  if (vkl_is_string_tag(o->tag)) {
    name->assign(VKL_AsString(o), static_cast<size_t>(VKL_StringLen(o)));
  } else if (o->tag == VKL_TWSTRING) {
    const vkl_wchar* wide = VKL_AsWString(o);
    const int64_t units = VKL_WStringLen(o);
    const int64_t bytes = VKL_WideToMultiByte(0, wide, units, nullptr, 0);
    if (bytes < 0) return false;
    name->resize(static_cast<size_t>(bytes));
    VKL_WideToMultiByte(0, wide, units, name->data(), bytes);
  } else {
    return false;
  }
  return true;
}

// A script class instance made by the host from all the arguments.
int instantiate_script_class(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (!VKL_FindAnyMan(kScriptClassManager)) return 0;
  TObject instance;
  vkl_put_nil(&instance);
  int made = 0;
  try {
    made = VKL_InstantiateClass(L, args, nargs, &instance);
  } catch (...) {
    made = 0;
  }
  const bool ok = made && instance.tag != VKL_TNIL && VKL_DupObjectHashRef3(L, result, &instance);
  VKL_FreeObjectContent(L, &instance);
  return ok ? 1 : 0;
}

}  // namespace

// createobject(class, args...): an object of the named-object type `class` made from the
// remaining arguments, or, for an object or a name no type knows, a script class instance
int createobject(VKL_State* L, TObject* args, int nargs, TObject* result) {
  if (nargs < 1) return 0;
  const TObject* cls = arg_at(args, 0);
  if (cls->tag == VKL_TOBJECT) return instantiate_script_class(L, args, nargs, result);
  std::string name;
  try {
    if (!class_name(cls, &name)) return 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
  // The script-class manager's own name is reserved, in any case.
  if (name.size() == std::strlen(kScriptClassManager) &&
      strcasecmp(name.c_str(), kScriptClassManager) == 0)
    return 0;
  VKL_AnyMan* manager = VKL_FindAnyMan(name.c_str());
  if (!manager) return instantiate_script_class(L, args, nargs, result);
  return store_new_object(L, result, VKL_NewAnyEx(L, manager, args + 1, nargs - 1));
}

int store_new_object(VKL_State* L, TObject* result, VKL_Any* object) {
  if (!object) return 0;
  if (!VKL_SetTypeAny(L, result, object)) {
    VKL_FreeAny(L, object);
    return 0;
  }
  return 1;
}

}  // namespace vkl::plugin
