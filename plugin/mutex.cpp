// The tvk_mutex object. Its system name is the state's private prefix, "_", the script's name
// (at most 256 bytes) and ".Lock", with every "/", ":" and "\" made "_", so that two objects
// of one name under one prefix share the system mutex. An object counts its own successful
// waits: only the first wait and the last release reach the system.
#include "plugin/mutex.h"

#include <strings.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "plugin/args.h"
#include "plugin/createobject.h"
#include "plugin/module_functions.h"
#include "system/handles.h"
#include "system/named_mutex.h"
#include "system/runtime.h"

namespace vkl::plugin {
namespace {

constexpr size_t kNameBufferSize = 512;
constexpr size_t kMaxScriptName = 256;
constexpr int kPrefixSecurityLevel = 1;

constexpr const char* kDeclaration =
    "type TVK_MutexInfo = FackClass\r\n"
    "public\r\n"
    "  function Wait(ms:Integer):Integer;\r\n"
    "  function Release():Boolean;\r\n"
    ";  function getHandle():NativeInt;\r\n"
    ";  function create(name:String;autoWait:Boolean);\r\n"
    "end;\r\n";

struct MutexRecord {
  intptr_t handle = 0;      // 0 when the system mutex could not be made
  uint32_t lock_count = 0;  // successful waits not yet released on this object
};

// Appends to a zero-terminated buffer; false (buffer unchanged) when it would not fit.
bool append(char* buffer, std::string_view text) {
  const size_t used = std::strlen(buffer);
  if (used + text.size() >= kNameBufferSize) return false;
  std::memcpy(buffer + used, text.data(), text.size());
  buffer[used + text.size()] = '\0';
  return true;
}

// The state's private prefix (selector 17) copied into the zeroed buffer.
bool read_prefix(VKL_State* L, char* buffer) {
  TObject prefix;
  vkl_put_nil(&prefix);
  const bool ok = rwPrivateValue(L, VKL_PV_PRIVATE_PREFIX, VKL_GetGlobalNilObj(), &prefix) &&
                  vkl_is_string_tag(prefix.tag) &&
                  append(buffer, std::string_view(VKL_AsString(&prefix),
                                                  static_cast<size_t>(VKL_StringLen(&prefix))));
  VKL_FreeObjectContent(L, &prefix);
  return ok;
}

// create(name [, autoWait]): the record, or null when nothing may be created
void* create_mutex(VKL_State* L, TObject* args, int nargs) {
  std::string_view script_name;
  if (nargs < 1 || nargs > 2 || !arg_string(args, nargs, 0, &script_name)) return nullptr;
  const bool auto_wait = nargs < 2 || VKL_AsBool(arg_at(args, 1));
  if (script_name.size() > kMaxScriptName) return nullptr;
  char name[kNameBufferSize] = {};
  if (!read_prefix(L, name)) return nullptr;
  if (!VKL_CheckHighLevelSecurity(L, name, kPrefixSecurityLevel)) return nullptr;
  if (!append(name, "_") || !append(name, script_name)) return nullptr;
  for (char* c = name; *c; ++c)
    if (*c == '/' || *c == ':' || *c == '\\') *c = '_';
  if (!append(name, ".Lock")) return nullptr;

  auto* record = new (std::nothrow) MutexRecord;
  if (!record) return nullptr;
  record->handle = system::named_mutex_open(name);
  if (auto_wait && record->handle &&
      system::named_mutex_wait(record->handle, -1) == system::kWaitAcquired)
    record->lock_count = 1;
  return record;
}

// Whether the object's handle is in the handle space now. Its number cannot belong to
// anything else there: the object keeps the handle open, so the number is not reused.
bool handed_out(const MutexRecord* record) {
  return system::handle_kind(record->handle) != nullptr;
}

// Releases a held mutex once, whatever the count, and closes it, in the handle space too: the
// number getHandle gave out dies with the object.
void free_mutex(VKL_State*, void* data) {
  auto* record = static_cast<MutexRecord*>(data);
  if (record->handle) {
    if (record->lock_count != 0) system::named_mutex_release(record->handle);
    if (handed_out(record)) system::close_handle(record->handle);
    system::named_mutex_close(record->handle);
  }
  delete record;
}

// getHandle(): the object's handle, entered in the handle space (sharing the handle, which
// sysclosehandle may then close without closing the object's); 0 without a system mutex
int get_handle_method(VKL_State* L, MutexRecord* record, TObject* result) {
  intptr_t handle = record->handle;
  if (handle && !handed_out(record)) {
    system::named_mutex_share(handle);
    if (!system::register_mutex_handle(handle)) {
      system::named_mutex_close(handle);
      handle = 0;
    }
  }
  VKL_SetIntPtr(L, result, handle);
  return 1;
}

// Wait(ms): 0 acquired, 128 abandoned, 258 timed out, -1 failed; a held object only counts
int wait_method(VKL_State* L, MutexRecord* record, TObject* args, int nargs, TObject* result) {
  int32_t ms = 0;
  if (!arg_int(args, nargs, 0, &ms)) return 0;
  int code = system::kWaitAcquired;
  if (record->lock_count != 0) {
    ++record->lock_count;
  } else if (!record->handle) {
    code = system::kWaitFailed;
  } else {
    code = system::named_mutex_wait(record->handle, ms);
    if (code == system::kWaitAcquired) record->lock_count = 1;
  }
  VKL_SetInt(L, result, code);
  return 1;
}

// Release(): 1 when a hold was given up (the last one must succeed in the system), else 0
int release_method(VKL_State* L, MutexRecord* record, TObject* result) {
  int released = 0;
  if (record->handle && record->lock_count > 0) {
    --record->lock_count;
    released = record->lock_count == 0 ? system::named_mutex_release(record->handle) : 1;
  }
  VKL_SetInt(L, result, released);
  return 1;
}

int mutex_method(VKL_State* L, void* data, const char* method, TObject* args, int nargs,
                 TObject* result) {
  auto* record = static_cast<MutexRecord*>(data);
  if (strcasecmp(method, "Wait") == 0 && nargs == 1)
    return wait_method(L, record, args, nargs, result);
  if (strcasecmp(method, "Release") == 0 && nargs == 0) return release_method(L, record, result);
  if (strcasecmp(method, "getHandle") == 0 && nargs == 0)
    return get_handle_method(L, record, result);
  return -1;
}

}  // namespace

void register_mutex_manager() {
  VKL_AnyMan* manager =
      VKL_NewAnyMan(kMutexTypeName, create_mutex, free_mutex, mutex_method, 0, kDeclaration);
  if (manager) VKL_RegisterAnyMan(kMutexTypeName, manager);
}

// vk_mutex(name [, autoWait]): a tvk_mutex object, held at once unless autoWait is false; the
// type's creation checks the arguments
int vk_mutex(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return store_new_object(L, result, VKL_NewAny(L, kMutexTypeName, args, nargs));
}

}  // namespace vkl::plugin
