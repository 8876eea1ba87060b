#include "recording_host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <utility>

namespace plugin_test {
namespace {

std::mutex g_lock;
Records g_records;

// Calls the host makes inside a recorded call (the registry registering a table entry by
// entry, say) are its own business: only the outermost call is recorded.
thread_local int g_depth = 0;

const std::string& settings_path() {
  static const std::string path =
      testing::TempDir() + "vkl_plugin_test_" + std::to_string(getpid()) + ".ini";
  return path;
}

void record(std::string text, VKL_State* L) {
  if (g_depth > 0) return;
  std::lock_guard<std::mutex> guard(g_lock);
  g_records.calls.push_back({std::move(text), L});
}

// Passes a recorded call on to the host's own function of that name.
template <class Fn, class... Args>
auto forward(Fn*, const char* name, Args... args) {
  ++g_depth;
  auto result = reinterpret_cast<Fn*>(dlsym(RTLD_NEXT, name))(args...);
  --g_depth;
  return result;
}

Records initialise() {
  VKL_State* L = state();
  load_settings(
      "[Java Config]\nEnabled=1\n[R Config]\nEnabled=1\n[Python Config]\nEnabled=1\nversion=0\n"
      "[Matlab Config]\nEnabled=1\n[BLP Config]\nEnabled=1\n");
  std::atexit([] { std::remove(settings_path().c_str()); });
  void* library = dlopen(PLUGIN_LIBRARY, RTLD_NOW);
  auto entry = library ? reinterpret_cast<int (*)(VKL_State*, VKL_RegisterTableFn)>(
                             dlsym(library, "PKG_Init"))
                       : nullptr;
  if (!entry) {
    ADD_FAILURE() << "no PKG_Init in the library: " << dlerror();
    return {};
  }
  take_records();
  testing::internal::CaptureStdout();
  EXPECT_EQ(entry(L, registerTable), 1);
  const std::string output = testing::internal::GetCapturedStdout();
  Records init = take_records();
  init.output = output;
  return init;
}

}  // namespace

Records take_records() {
  std::lock_guard<std::mutex> guard(g_lock);
  return std::exchange(g_records, {});
}

VKL_State* state() {
  static VKL_State* L = [] {
    VKL_State* s = VKL_InterpNewState();
    VKL_SetUserRights(VKL_GetUserNameFromL(s), VKL_RIGHT_ALL);
    VKL_SetPrivatePrefix(s, private_prefix().c_str());
    return s;
  }();
  return L;
}

const std::string& private_prefix() {
  static const std::string prefix = "vkltest" + std::to_string(getpid());
  return prefix;
}

const Records& plugin() {
  static const Records init = initialise();
  return init;
}

void load_settings(const std::string& text) {
  std::ofstream(settings_path(), std::ios::trunc) << text;
  VKL_LoadSettings(settings_path().c_str());
}

}  // namespace plugin_test

using plugin_test::forward;
using plugin_test::record;
using std::to_string;

extern "C" {

VKL_API int registerTable(VKL_State* L, int count, const VKL_FunctionEntry* table) {
  record("registerTable " + to_string(count) + " " + (count > 0 ? table[0].name : ""), L);
  return forward(registerTable, "registerTable", L, count, table);
}

VKL_API int vklL_register(VKL_State* L, const char* name, VKL_Handler handler) {
  record(std::string("vklL_register ") + name, L);
  return forward(vklL_register, "vklL_register", L, name, handler);
}

VKL_API int vklL_registerEx(VKL_State* L, const char* name, VKL_Handler handler, int flags1,
                            int flags2) {
  record(std::string("vklL_registerEx ") + name + " " + to_string(flags1) + " " + to_string(flags2),
         L);
  return forward(vklL_registerEx, "vklL_registerEx", L, name, handler, flags1, flags2);
}

VKL_API VKL_AnyMan* VKL_NewAnyMan(const char* typeName, VKL_AnyCreateFn create, VKL_AnyFreeFn free,
                                  VKL_AnyMethodFn method, int flags, const char* decl) {
  record(std::string("VKL_NewAnyMan ") + typeName + " " + to_string(flags), nullptr);
  return forward(VKL_NewAnyMan, "VKL_NewAnyMan", typeName, create, free, method, flags, decl);
}

VKL_API int VKL_RegisterAnyMan(const char* typeName, VKL_AnyMan* man) {
  record(std::string("VKL_RegisterAnyMan ") + typeName, nullptr);
  return forward(VKL_RegisterAnyMan, "VKL_RegisterAnyMan", typeName, man);
}

VKL_API int AddIniNotify(VKL_IniNotifyFn notify, int arg) {
  record("AddIniNotify " + to_string(arg), nullptr);
  return forward(AddIniNotify, "AddIniNotify", notify, arg);
}

VKL_API int VKL_RegisterImpExp(int64_t id, const VKL_ImpExpFormat* format) {
  record("VKL_RegisterImpExp " + to_string(id) + " " + (format ? format->name : ""), nullptr);
  return forward(VKL_RegisterImpExp, "VKL_RegisterImpExp", id, format);
}

VKL_API int VKL_FileMgrGetPrivateProfileInt(const char* section, const char* key, int def) {
  record(std::string("setting ") + section + "/" + key, nullptr);
  return forward(VKL_FileMgrGetPrivateProfileInt, "VKL_FileMgrGetPrivateProfileInt", section,
                 key, def);
}

// The stand-in modules live in the test's own directory, which the library takes for the
// host's module directory.
VKL_API const char* VK_ModulePath(void) {
  return PLUGIN_TEST_MODULE_DIR "/";
}

VKL_API void* dlopen(const char* file, int mode) noexcept {
  if (file) {
    const char* slash = std::strrchr(file, '/');
    const std::string name = std::string(mode & RTLD_NOLOAD ? "noload:" : "") +
                             (slash ? slash + 1 : file);
    std::lock_guard<std::mutex> guard(plugin_test::g_lock);
    plugin_test::g_records.opens.push_back(name);
  }
  return reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"))(file, mode);
}

}  // extern "C"
