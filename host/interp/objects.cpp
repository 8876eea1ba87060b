// Named objects: managers (create, free and method callbacks of one library type) and their
// objects. In a cell an object is a kind-7 box whose data is the VKL_Any record; the box's
// release runs the manager's free callback once, when the last copy of the cell goes.
#include <memory>
#include <mutex>
#include <new>

#include "interp_internal.h"

struct VKL_AnyMan {
  std::string type_name;
  VKL_AnyCreateFn create;
  VKL_AnyFreeFn free;
  VKL_AnyMethodFn method;
  int flags;
  std::string declaration;
};

struct VKL_Any {
  VKL_AnyMan* man;
  void* data;
};

namespace {

// Managers live as long as the process; the list owns every one made, registered or not.
class Managers {
 public:
  VKL_AnyMan* make(VKL_AnyMan man) {
    std::lock_guard lock(mutex_);
    owned_.push_back(std::make_unique<VKL_AnyMan>(std::move(man)));
    return owned_.back().get();
  }

  int add(std::string_view type_name, VKL_AnyMan* man) {
    std::string key = vkl::interp::fold_case(type_name);
    std::lock_guard lock(mutex_);
    return by_name_.emplace(std::move(key), man).second ? 1 : 0;
  }

  VKL_AnyMan* find(std::string_view type_name) const {
    const std::string key = vkl::interp::fold_case(type_name);
    std::lock_guard lock(mutex_);
    auto it = by_name_.find(key);
    return it == by_name_.end() ? nullptr : it->second;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<VKL_AnyMan>> owned_;
  vkl::interp::NameMap<VKL_AnyMan*> by_name_;
};

Managers& managers() {
  static Managers instance;
  return instance;
}

// The free callback may run inside the kernel's release of a cell, where no exception may
// pass: one that escapes is dropped.
void run_free(VKL_State* L, const VKL_AnyMan* man, void* data) {
  if (!man->free) return;
  try {
    man->free(L, data);
  } catch (...) {
  }
}

void free_any(VKL_State* L, VKL_Any* obj) {
  run_free(L, obj->man, obj->data);
  delete obj;
}

void release_any_box(VKL_State* L, void* data) { free_any(L, static_cast<VKL_Any*>(data)); }

const VKL_BoxType kAnyBox = {"named object", release_any_box, nullptr};

bool same_name(std::string_view a, std::string_view b) {
  return a.size() == b.size() && vkl::interp::fold_case(a) == vkl::interp::fold_case(b);
}

}  // namespace

extern "C" {

VKL_AnyMan* VKL_NewAnyMan(const char* typeName, VKL_AnyCreateFn create, VKL_AnyFreeFn free,
                          VKL_AnyMethodFn method, int flags, const char* declaration) {
  if (!typeName || !*typeName || !create) return nullptr;
  return managers().make(
      {typeName, create, free, method, flags, declaration ? declaration : ""});
}

int VKL_RegisterAnyMan(const char* typeName, VKL_AnyMan* man) {
  if (!typeName || !*typeName || !man) return 0;
  return managers().add(typeName, man);
}

VKL_AnyMan* VKL_FindAnyMan(const char* typeName) {
  return typeName ? managers().find(typeName) : nullptr;
}

const char* VKL_AnyManTypeName(const VKL_AnyMan* man) { return man ? man->type_name.c_str() : ""; }

const char* VKL_AnyManDeclaration(const VKL_AnyMan* man) {
  return man ? man->declaration.c_str() : "";
}

VKL_Any* VKL_NewAny(VKL_State* L, const char* typeName, TObject* args, int nargs) {
  return VKL_NewAnyEx(L, VKL_FindAnyMan(typeName), args, nargs);
}

VKL_Any* VKL_NewAnyEx(VKL_State* L, VKL_AnyMan* man, TObject* args, int nargs) {
  if (!man || !vkl::interp::valid_args(args, nargs)) return nullptr;
  void* data = nullptr;
  try {
    data = man->create(L, args, nargs);
  } catch (...) {
    return nullptr;
  }
  if (!data) return nullptr;
  auto* obj = new (std::nothrow) VKL_Any{man, data};
  if (!obj) run_free(L, man, data);
  return obj;
}

void VKL_FreeAny(VKL_State* L, VKL_Any* obj) {
  if (obj) free_any(L, obj);
}

int VKL_SetTypeAny(VKL_State* L, TObject* o, VKL_Any* obj) {
  if (!o || !obj) return 0;
  return VKL_SetBox(L, o, VKL_TOBJECT, &kAnyBox, obj);
}

void* VKL_GetDataFromAny(const VKL_Any* obj) { return obj ? obj->data : nullptr; }

VKL_Any* VKL_AnyFromObj(const TObject* o) {
  if (!o) return nullptr;
  const TObject* cell = vkl_follow(o);
  if (cell->tag != VKL_TOBJECT) return nullptr;
  const auto* box = static_cast<const VKL_Box*>(vkl_ptr(cell));
  return box && box->type == &kAnyBox ? static_cast<VKL_Any*>(box->data) : nullptr;
}

void* VKL_FindAnyByName(const TObject* o, const char* typeName) {
  const VKL_Any* obj = VKL_AnyFromObj(o);
  if (!obj || !typeName || !same_name(obj->man->type_name, typeName)) return nullptr;
  return obj->data;
}

int VKL_CallAnyMethod(VKL_State* L, const TObject* o, const char* method, TObject* args,
                      int nargs, TObject* result) {
  const VKL_Any* obj = VKL_AnyFromObj(o);
  if (!obj || !obj->man->method || !method) return -1;
  if (!vkl::interp::valid_args(args, nargs) || !result) return 0;
  try {
    return obj->man->method(L, obj->data, method, args, nargs, result);
  } catch (...) {
    return 0;
  }
}

}  // extern "C"
