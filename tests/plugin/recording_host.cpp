#include "recording_host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>

namespace plugin_test {
namespace {

std::mutex g_record_lock;

std::vector<HostCall>& calls() {
  static std::vector<HostCall> list;
  return list;
}

std::vector<std::string>& opens() {
  static std::vector<std::string> list;
  return list;
}

std::string& declaration() {
  static std::string text;
  return text;
}

// Calls the host makes inside a recorded call (the registry registering a table entry by
// entry, say) are its own business: only the outermost call is recorded.
thread_local int g_depth = 0;

struct Forwarding {
  Forwarding() { ++g_depth; }
  ~Forwarding() { --g_depth; }
  Forwarding(const Forwarding&) = delete;
  Forwarding& operator=(const Forwarding&) = delete;
};

void record(std::string text, VKL_State* L = nullptr) {
  if (g_depth > 0) return;
  std::lock_guard<std::mutex> guard(g_record_lock);
  calls().push_back({std::move(text), L});
}

template <class Fn>
Fn real_function(const char* name) {
  return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

std::string settings_path() {
  static const std::string path =
      testing::TempDir() + "vkl_plugin_test_" + std::to_string(getpid()) + ".ini";
  return path;
}

void write_settings_file(const std::string& text) {
  std::ofstream(settings_path(), std::ios::trunc) << text;
}

InitRecord initialise() {
  InitRecord record;
  VKL_State* L = state();
  write_settings_file(kStartupSettings);
  VKL_LoadSettings(settings_path().c_str());
  std::atexit([] { std::remove(settings_path().c_str()); });

  void* library = dlopen(PLUGIN_LIBRARY, RTLD_NOW);
  if (!library) {
    ADD_FAILURE() << "cannot load the library: " << dlerror();
    return record;
  }
  auto entry =
      reinterpret_cast<int (*)(VKL_State*, VKL_RegisterTableFn)>(dlsym(library, "PKG_Init"));
  if (!entry) {
    ADD_FAILURE() << "the library exports no PKG_Init";
    return record;
  }
  clear_host_calls();
  clear_opened_modules();
  testing::internal::CaptureStdout();
  record.result = entry(L, registerTable);
  record.output = testing::internal::GetCapturedStdout();
  record.calls = host_calls();
  record.opens = opened_modules();
  record.declaration = declaration();
  return record;
}

}  // namespace

const char* const kStartupSettings =
    "[Java Config]\nEnabled=1\n"
    "[R Config]\nEnabled=1\n"
    "[Python Config]\nEnabled=1\nversion=0\n"
    "[Matlab Config]\nEnabled=1\n"
    "[BLP Config]\nEnabled=1\n";

VKL_State* state() {
  static VKL_State* L = [] {
    VKL_State* s = VKL_InterpNewState();
    VKL_SetUserRights(VKL_GetUserNameFromL(s), VKL_RIGHT_ALL);
    VKL_SetPrivatePrefix(s, ("vkltest" + std::to_string(getpid())).c_str());
    return s;
  }();
  return L;
}

const InitRecord& plugin() {
  static const InitRecord record = initialise();
  return record;
}

void load_settings(const std::string& text) {
  write_settings_file(text);
  VKL_LoadSettings(settings_path().c_str());
}

std::vector<HostCall> host_calls() {
  std::lock_guard<std::mutex> guard(g_record_lock);
  return calls();
}

void clear_host_calls() {
  std::lock_guard<std::mutex> guard(g_record_lock);
  calls().clear();
}

std::vector<std::string> opened_modules() {
  std::lock_guard<std::mutex> guard(g_record_lock);
  return opens();
}

void clear_opened_modules() {
  std::lock_guard<std::mutex> guard(g_record_lock);
  opens().clear();
}

int count_of(const std::vector<std::string>& names, const std::string& name) {
  return static_cast<int>(std::count(names.begin(), names.end(), name));
}

std::string module_dir() {
  return PLUGIN_TEST_MODULE_DIR "/";
}

VKL_Handler function(const char* name) {
  return VKL_FindFunction(name, -1);
}

}  // namespace plugin_test

using plugin_test::Forwarding;
using plugin_test::real_function;
using plugin_test::record;

extern "C" {

VKL_API int registerTable(VKL_State* L, int count, const VKL_FunctionEntry* table) {
  record("registerTable " + std::to_string(count) + " " + (count > 0 ? table[0].name : ""), L);
  Forwarding forwarding;
  return real_function<VKL_RegisterTableFn>("registerTable")(L, count, table);
}

VKL_API int vklL_register(VKL_State* L, const char* name, VKL_Handler handler) {
  record(std::string("vklL_register ") + name, L);
  Forwarding forwarding;
  return real_function<int (*)(VKL_State*, const char*, VKL_Handler)>("vklL_register")(L, name,
                                                                                       handler);
}

VKL_API int vklL_registerEx(VKL_State* L, const char* name, VKL_Handler handler, int flags1,
                            int flags2) {
  record(std::string("vklL_registerEx ") + name + " " + std::to_string(flags1) + " " +
             std::to_string(flags2),
         L);
  Forwarding forwarding;
  return real_function<int (*)(VKL_State*, const char*, VKL_Handler, int, int)>("vklL_registerEx")(
      L, name, handler, flags1, flags2);
}

VKL_API VKL_AnyMan* VKL_NewAnyMan(const char* typeName, VKL_AnyCreateFn create, VKL_AnyFreeFn free,
                                  VKL_AnyMethodFn method, int flags, const char* decl) {
  record(std::string("VKL_NewAnyMan ") + typeName + " " + std::to_string(flags));
  if (plugin_test::g_depth == 0 && decl) plugin_test::declaration() = decl;
  Forwarding forwarding;
  return real_function<decltype(&VKL_NewAnyMan)>("VKL_NewAnyMan")(typeName, create, free, method,
                                                                  flags, decl);
}

VKL_API int VKL_RegisterAnyMan(const char* typeName, VKL_AnyMan* man) {
  record(std::string("VKL_RegisterAnyMan ") + typeName);
  Forwarding forwarding;
  return real_function<decltype(&VKL_RegisterAnyMan)>("VKL_RegisterAnyMan")(typeName, man);
}

VKL_API int AddIniNotify(VKL_IniNotifyFn notify, int arg) {
  record("AddIniNotify " + std::to_string(arg));
  Forwarding forwarding;
  return real_function<decltype(&AddIniNotify)>("AddIniNotify")(notify, arg);
}

VKL_API int VKL_RegisterImpExp(int64_t id, const VKL_ImpExpFormat* format) {
  record("VKL_RegisterImpExp " + std::to_string(id) + " " + (format ? format->name : ""));
  Forwarding forwarding;
  return real_function<decltype(&VKL_RegisterImpExp)>("VKL_RegisterImpExp")(id, format);
}

VKL_API int VKL_FileMgrGetPrivateProfileInt(const char* section, const char* key, int def) {
  record(std::string("setting ") + section + "/" + key);
  Forwarding forwarding;
  return real_function<decltype(&VKL_FileMgrGetPrivateProfileInt)>(
      "VKL_FileMgrGetPrivateProfileInt")(section, key, def);
}

// The stand-in modules live in the test's own directory, which the library takes for the
// host's module directory.
VKL_API const char* VK_ModulePath(void) {
  return PLUGIN_TEST_MODULE_DIR "/";
}

VKL_API void* dlopen(const char* file, int mode) noexcept {
  if (file) {
    const char* slash = std::strrchr(file, '/');
    std::string name = slash ? slash + 1 : file;
    if (mode & RTLD_NOLOAD) name = "noload:" + name;
    std::lock_guard<std::mutex> guard(plugin_test::g_record_lock);
    plugin_test::opens().push_back(std::move(name));
  }
  return real_function<void* (*)(const char*, int)>("dlopen")(file, mode);
}

}  // extern "C"
