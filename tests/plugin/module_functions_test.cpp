// vk_moduleinfo, vklfilename, vkinnercall and createobject called directly: results, rights,
// the crypto helper (the test's stand-in, modules/crypto_helper.cpp), the host's script-class
// service, and rejected calls that leave the result cell as it was.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include "cells.h"
#include "recording_host.h"

namespace plugin_test {
namespace {

int64_t file_size(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}

const TObject* entry(const TObject* table, int32_t key) {
  return table && table->tag == VKL_TTABLE ? VKL_HashGetInt(vkl_table(table), key) : nullptr;
}

TEST(ModuleInfo, RowsOfTheExecutableAndInterpreterOrOfEveryModule) {
  plugin();
  GuestState guest("plugin-test-guest");  // the two fixed rows need no rights
  Cells result(guest.get(), 1);
  ASSERT_EQ(function("vk_moduleinfo")(guest.get(), nullptr, 0, &result[0]), 1);
  ASSERT_EQ(VKL_HashCount(vkl_table(&result[0])), 2);
  Dl_info interp{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&VKL_InterpNewState), &interp), 0);
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe");
  const std::string files[] = {exe, interp.dli_fname};
  for (int i = 0; i < 2; ++i) {
    const TObject* row = entry(&result[0], i);
    ASSERT_TRUE(row && VKL_HashCount(vkl_table(row)) == 2);
    EXPECT_EQ(entry(row, 0)->tag, VKL_TREAL);
    EXPECT_GT(vkl_real(entry(row, 0)), 40000.0);  // a date after 2009
    EXPECT_EQ(entry(row, 1)->tag, VKL_TINT64);
    EXPECT_EQ(vkl_int64(entry(row, 1)), file_size(files[i])) << files[i];
  }

  Cells all(state(), 1);
  all.integer(0, 1);
  ASSERT_EQ(function("vk_moduleinfo")(state(), all.data(), 1, &result[0]), 1);
  const int64_t count = VKL_HashCount(vkl_table(&result[0]));
  ASSERT_GE(count, 4);
  bool saw_library = false;
  for (int32_t i = 0; i < count; ++i) {
    const TObject* row = entry(&result[0], i);
    ASSERT_NE(row, nullptr) << "keys run from 0 without gaps";
    const std::string path = text_of(entry(row, 0));
    EXPECT_EQ(entry(row, 1)->tag, VKL_TREAL);
    EXPECT_EQ(vkl_int64(entry(row, 2)), file_size(path)) << path;
    EXPECT_TRUE(i > 0 || path == exe) << path << " heads the list";
    saw_library |= path == PLUGIN_LIBRARY;
  }
  EXPECT_TRUE(saw_library);
}

TEST(ModuleInfo, FileNameComesFromTheInterpreter) {
  plugin();
  GuestState guest("plugin-test-guest");
  Cells result(guest.get(), 1);
  ASSERT_EQ(function("vklfilename")(guest.get(), nullptr, 0, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "");
  VKL_InterpSetFileName(guest.get(), "scripts/run.vkl");
  ASSERT_EQ(function("vklfilename")(guest.get(), nullptr, 0, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "scripts/run.vkl");
}

TEST(InnerCall, GeneratesKeysWithinBoundsOnly) {
  plugin();
  VKL_State* L = state();
  struct Case {
    int bits;
    std::string user;
    int nargs;
    bool made;
  };
  const Case cases[] = {
      {1024, "alice", 5, true},  {2048, std::string(31, 'u'), 5, true},
      {128, "b", 5, true},       {1000, "alice", 5, false},
      {0, "alice", 5, false},    {-128, "alice", 5, false},
      {2176, "alice", 5, false}, {1024, "", 5, false},
      {1024, std::string(32, 'u'), 5, false}, {1024, "alice", 4, false},
  };
  for (const Case& c : cases) {
    Cells args(L, static_cast<size_t>(c.nargs));
    args.integer(0, 9999).integer(1, c.bits).text(2, c.user);
    Cells result(L, 1);
    ASSERT_EQ(function("vkinnercall")(L, args.data(), c.nargs, &result[0]), 1);
    EXPECT_EQ(result[0].tag, VKL_TINT);
    EXPECT_EQ(vkl_int(&result[0]), c.made ? 1 : 0) << c.bits << " " << c.user;
    if (c.nargs < 5) continue;
    EXPECT_EQ(text_of(&args[3]), c.made ? "public:" + std::to_string(c.bits) + ":" + c.user : "");
    EXPECT_EQ(text_of(&args[4]), c.made ? "private:" + std::to_string(c.bits) + ":" + c.user : "");
    EXPECT_EQ(args[3].tag, c.made ? VKL_TSTRING : VKL_TNIL);
  }
}

TEST(InnerCall, KeyQueriesAndOtherSelectors) {
  plugin();
  VKL_State* L = state();
  VKL_Handler call = function("vkinnercall");
  Cells args(L, 2);
  Cells result(L, 1);
  args.integer(0, 10000).text(1, "public:1024:carol");
  ASSERT_EQ(call(L, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "carol");

  VKL_SetInt64(L, &args[0], 10001);  // an int64 selector counts as an integer
  ASSERT_EQ(call(L, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 17);  // the stand-in's key type is the key's length

  args.integer(1, 5);  // the key must be a string: the result stays 0
  ASSERT_EQ(call(L, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(result[0].tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&result[0]), 0);
}

// A script-class service for createobject: its answer is chosen by the test.
enum class ClassAnswer { Instance, Nothing, Throw };
ClassAnswer g_class_answer = ClassAnswer::Instance;
int g_class_nargs = -1;

int class_hook(VKL_State* L, TObject*, int nargs, TObject* result) {
  g_class_nargs = nargs;
  if (g_class_answer == ClassAnswer::Throw) throw std::runtime_error("constructor failed");
  if (g_class_answer == ClassAnswer::Nothing) return 0;
  VKL_SetInt(L, result, 99);
  return 1;
}

void* script_class_create(VKL_State*, TObject*, int) { return nullptr; }

TEST(CreateObject, ScriptClassesGoThroughTheHostsClassService) {
  plugin();
  VKL_Handler create = function("createobject");
  GuestState scripted("plugin-test-guest");
  VKL_State* L = scripted.get();
  VKL_InterpSetClassHook(L, class_hook);
  Cells args(L, 2);
  args.text(0, "TMyClass").integer(1, 3);
  if (!VKL_FindAnyMan("VKLObject")) {
    EXPECT_TRUE(rejects_untouched(create, L, args)) << "no script-class manager yet";
    VKL_RegisterAnyMan("VKLObject",
                       VKL_NewAnyMan("VKLObject", script_class_create, nullptr, nullptr, 0, ""));
  }
  for (ClassAnswer answer : {ClassAnswer::Nothing, ClassAnswer::Throw}) {
    g_class_answer = answer;
    EXPECT_TRUE(rejects_untouched(create, L, args));
  }
  g_class_answer = ClassAnswer::Instance;
  Cells result(L, 1);
  ASSERT_EQ(create(L, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 99);
  EXPECT_EQ(g_class_nargs, 2) << "the class service receives every argument";

  // An object in place of the class name also goes to the class service.
  const std::string name = "createobject_object_" + std::to_string(getpid());
  MutexName sys("vkl_plugin-test-guest_" + name + ".Lock");
  Cells mutex_args(L, 3);
  mutex_args.text(0, "tvk_mutex").text(1, name).integer(2, 0);
  VKL_SetUserRights("plugin-test-guest", VKL_RIGHT_HIGHLEVEL);
  ASSERT_EQ(create(L, mutex_args.data(), 3, &args[0]), 1);
  VKL_SetUserRights("plugin-test-guest", 0);
  g_class_nargs = -1;
  ASSERT_EQ(create(L, args.data(), 1, &result[0]), 1);
  EXPECT_EQ(g_class_nargs, 1);
}

TEST(ModuleFunctions, RejectedCallsLeaveTheResult) {
  plugin();
  GuestState guest("plugin-test-nobody");
  struct Case {
    const char* function;
    bool as_guest;  // a user without rights
    std::function<void(Cells&)> fill;
    size_t nargs;
  };
  const auto none = [](Cells&) {};
  const Case cases[] = {
      {"vk_moduleinfo", true, [](Cells& a) { a.integer(0, 1); }, 1},  // every module: system right
      {"vk_moduleinfo", false, none, 2},
      {"vklfilename", false, none, 1},
      {"vkinnercall", false, none, 0},
      {"vkinnercall", false, [](Cells& a) { a.text(0, "9999"); }, 1},
      {"vkinnercall", false, [](Cells& a) { vkl_put_real(&a[0], 9999.0); }, 1},
      {"createobject", false, none, 0},
      {"createobject", false, [](Cells& a) { a.integer(0, 5); }, 1},
      {"createobject", false, [](Cells& a) { a.text(0, "vklobject"); }, 1},
      {"createobject", false, [](Cells& a) { a.text(0, "VKLObject"); }, 1},
      {"vk_mutex", false, none, 0},
      {"vk_mutex", false, [](Cells& a) { a.text(0, "three"); }, 3},
      {"vk_mutex", false, [](Cells& a) { a.integer(0, 5); }, 1},
      {"vk_mutex", false, [](Cells& a) { a.text(0, std::string(257, 'n')).integer(1, 0); }, 2},
      {"vk_mutex", true, [](Cells& a) { a.text(0, "guest"); }, 1},  // high-level right needed
  };
  for (const Case& c : cases) {
    VKL_State* L = c.as_guest ? guest.get() : state();
    Cells args(L, c.nargs);
    c.fill(args);
    EXPECT_TRUE(rejects_untouched(function(c.function), L, args)) << c.function << " " << c.nargs;
  }
}

}  // namespace
}  // namespace plugin_test
