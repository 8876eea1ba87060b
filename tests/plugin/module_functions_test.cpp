// vk_moduleinfo, vklfilename, vkinnercall and createobject called directly: results, rights,
// and rejected calls that leave the result cell as it was.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vkl/kernel.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <utility>

#include "cells.h"
#include "mutex_name.h"
#include "recording_host.h"

namespace plugin_test {
namespace {

int64_t file_size(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}

std::string exe_path() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf);
  return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
}

std::string text_of(const TObject* o) {
  return std::string(VKL_AsString(o), VKL_StringLen(o));
}

TEST(ModuleInfo, WithoutArgumentGivesExecutableAndInterpreterRows) {
  plugin();
  GuestState guest;  // needs no rights
  Cells result(guest.get(), 1);
  VKL_Handler info = function("vk_moduleinfo");
  ASSERT_EQ(info(guest.get(), nullptr, 0, &result[0]), 1);
  ASSERT_EQ(result[0].tag, VKL_TTABLE);
  VKL_Table* rows = vkl_table(&result[0]);
  ASSERT_EQ(VKL_HashCount(rows), 2);

  Dl_info interp{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&VKL_InterpNewState), &interp), 0);
  const std::string files[] = {exe_path(), interp.dli_fname};
  for (int i = 0; i < 2; ++i) {
    const TObject* row = VKL_HashGetInt(rows, i);
    ASSERT_TRUE(row && row->tag == VKL_TTABLE);
    EXPECT_EQ(VKL_HashCount(vkl_table(row)), 2);
    const TObject* time = VKL_HashGetInt(vkl_table(row), 0);
    const TObject* size = VKL_HashGetInt(vkl_table(row), 1);
    ASSERT_TRUE(time && size);
    EXPECT_EQ(time->tag, VKL_TREAL);
    EXPECT_GT(vkl_real(time), 40000.0);  // a date after 2009
    EXPECT_EQ(size->tag, VKL_TINT64);
    EXPECT_EQ(vkl_int64(size), file_size(files[i])) << files[i];
  }
}

TEST(ModuleInfo, AllModulesNeedTheSystemRight) {
  plugin();
  VKL_Handler info = function("vk_moduleinfo");
  GuestState guest;
  Cells arg(guest.get(), 1);
  arg.integer(0, 1);
  SentinelResult rejected(guest.get());
  EXPECT_EQ(info(guest.get(), arg.data(), 1, rejected.get()), 0);
  EXPECT_TRUE(rejected.untouched());

  Cells two(state(), 2);
  EXPECT_EQ(info(state(), two.data(), 2, rejected.get()), 0);
  EXPECT_TRUE(rejected.untouched());

  Cells result(state(), 1);
  ASSERT_EQ(info(state(), arg.data(), 1, &result[0]), 1);
  VKL_Table* rows = vkl_table(&result[0]);
  ASSERT_GE(VKL_HashCount(rows), 4);
  bool saw_library = false;
  for (int64_t i = 0; i < VKL_HashCount(rows); ++i) {
    const TObject* row = VKL_HashGetInt(rows, static_cast<int32_t>(i));
    ASSERT_TRUE(row && row->tag == VKL_TTABLE) << "keys run from 0 without gaps";
    const std::string path = text_of(VKL_HashGetInt(vkl_table(row), 0));
    EXPECT_EQ(vkl_int64(VKL_HashGetInt(vkl_table(row), 2)), file_size(path)) << path;
    EXPECT_EQ(VKL_HashGetInt(vkl_table(row), 1)->tag, VKL_TREAL);
    if (i == 0) {
      EXPECT_EQ(path, exe_path());
    }
    saw_library |= path == PLUGIN_LIBRARY;
  }
  EXPECT_TRUE(saw_library);
}

TEST(ModuleInfo, FileNameComesFromTheInterpreter) {
  plugin();
  VKL_Handler filename = function("vklfilename");
  GuestState guest;
  Cells result(guest.get(), 1);
  ASSERT_EQ(filename(guest.get(), nullptr, 0, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "");
  VKL_InterpSetFileName(guest.get(), "scripts/run.vkl");
  ASSERT_EQ(filename(guest.get(), nullptr, 0, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "scripts/run.vkl");

  Cells arg(guest.get(), 1);
  SentinelResult rejected(guest.get());
  EXPECT_EQ(filename(guest.get(), arg.data(), 1, rejected.get()), 0);
  EXPECT_TRUE(rejected.untouched());
}

// The crypto helper here is the test's stand-in (see modules/crypto_helper.cpp).
class InnerCall : public testing::Test {
 protected:
  void SetUp() override {
    plugin();
    call_ = function("vkinnercall");
    ASSERT_NE(call_, nullptr);
  }
  // vkinnercall(9999, bits, user, public, private) into `args`; returns the result integer.
  int generate(Cells& args, int bits, const std::string& user) {
    args.integer(0, 9999);
    args.integer(1, bits);
    args.text(2, user);
    Cells result(L_, 1);
    EXPECT_EQ(call_(L_, args.data(), args.count(), &result[0]), 1);
    EXPECT_EQ(result[0].tag, VKL_TINT);
    return vkl_int(&result[0]);
  }

  VKL_State* L_ = state();
  VKL_Handler call_ = nullptr;
};

TEST_F(InnerCall, GeneratesKeysWithinBoundsOnly) {
  Cells args(L_, 5);
  ASSERT_EQ(generate(args, 1024, "alice"), 1);
  EXPECT_EQ(text_of(&args[3]), "public:1024:alice");
  EXPECT_EQ(text_of(&args[4]), "private:1024:alice");
  EXPECT_EQ(generate(args, 2048, std::string(31, 'u')), 1);
  EXPECT_EQ(generate(args, 128, "b"), 1);

  const std::pair<int, std::string> out_of_bounds[] = {
      {1000, "alice"}, {0, "alice"}, {-128, "alice"},
      {2176, "alice"}, {1024, ""},   {1024, std::string(32, 'u')}};
  for (const auto& [bits, user] : out_of_bounds) {
    Cells fresh(L_, 5);
    EXPECT_EQ(generate(fresh, bits, user), 0) << bits << " " << user;
    EXPECT_EQ(fresh[3].tag, VKL_TNIL);
    EXPECT_EQ(fresh[4].tag, VKL_TNIL);
  }
  Cells four(L_, 4);
  EXPECT_EQ(generate(four, 1024, "alice"), 0);
}

TEST_F(InnerCall, KeyQueriesAndOtherSelectors) {
  Cells args(L_, 2);
  Cells result(L_, 1);
  args.integer(0, 10000);
  args.text(1, "public:1024:carol");
  ASSERT_EQ(call_(L_, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(text_of(&result[0]), "carol");

  VKL_SetInt64(L_, &args[0], 10001);  // an int64 selector counts as an integer
  ASSERT_EQ(call_(L_, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 17);  // the stand-in's key type is the key's length

  args.integer(1, 5);  // the key must be a string: the result stays 0
  ASSERT_EQ(call_(L_, args.data(), 2, &result[0]), 1);
  EXPECT_EQ(result[0].tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&result[0]), 0);

  args.integer(0, 42);
  ASSERT_EQ(call_(L_, args.data(), 1, &result[0]), 1);
  EXPECT_EQ(vkl_int(&result[0]), 0);
}

TEST_F(InnerCall, CallWithoutIntegerSelectorIsRejected) {
  SentinelResult result(L_);
  EXPECT_EQ(call_(L_, nullptr, 0, result.get()), 0);
  Cells args(L_, 1);
  args.text(0, "9999");
  EXPECT_EQ(call_(L_, args.data(), 1, result.get()), 0);
  VKL_SetReal(L_, &args[0], 9999.0);
  EXPECT_EQ(call_(L_, args.data(), 1, result.get()), 0);
  EXPECT_TRUE(result.untouched());
}

// A script-class service for createobject's tests: its answer is chosen per test.
enum class ClassAnswer { Instance, Nothing, Throw };
ClassAnswer g_class_answer = ClassAnswer::Instance;
int g_class_nargs = -1;

int class_hook(VKL_State* L, TObject*, int nargs, TObject* result) {
  g_class_nargs = nargs;
  switch (g_class_answer) {
    case ClassAnswer::Instance:
      VKL_SetInt(L, result, 99);
      return 1;
    case ClassAnswer::Nothing:
      return 0;
    case ClassAnswer::Throw:
      throw std::runtime_error("constructor failed");
  }
  return 0;
}

void* script_class_create(VKL_State*, TObject*, int) {
  return nullptr;
}

TEST(CreateObject, RejectsMalformedCallsAndTheReservedName) {
  plugin();
  VKL_State* L = state();
  VKL_Handler create = function("createobject");
  SentinelResult result(L);
  EXPECT_EQ(create(L, nullptr, 0, result.get()), 0);
  Cells args(L, 1);
  args.integer(0, 5);
  EXPECT_EQ(create(L, args.data(), 1, result.get()), 0);
  for (const char* reserved : {"vklobject", "VKLObject"}) {
    args.text(0, reserved);
    EXPECT_EQ(create(L, args.data(), 1, result.get()), 0) << reserved;
  }
  EXPECT_TRUE(result.untouched());
}

TEST(CreateObject, ScriptClassesGoThroughTheHostsClassService) {
  plugin();
  VKL_Handler create = function("createobject");
  GuestState scripted;
  VKL_State* L = scripted.get();
  VKL_InterpSetClassHook(L, class_hook);
  Cells args(L, 2);
  args.text(0, "TMyClass");
  args.integer(1, 3);
  SentinelResult rejected(L);

  if (!VKL_FindAnyMan("VKLObject")) {
    EXPECT_EQ(create(L, args.data(), 2, rejected.get()), 0) << "no script-class manager yet";
    VKL_RegisterAnyMan("VKLObject",
                       VKL_NewAnyMan("VKLObject", script_class_create, nullptr, nullptr, 0, ""));
  }
  for (ClassAnswer answer : {ClassAnswer::Nothing, ClassAnswer::Throw}) {
    g_class_answer = answer;
    EXPECT_EQ(create(L, args.data(), 2, rejected.get()), 0);
    EXPECT_TRUE(rejected.untouched());
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
  mutex_args.text(0, "tvk_mutex");
  mutex_args.text(1, name);
  mutex_args.integer(2, 0);
  VKL_SetUserRights("plugin-test-guest", VKL_RIGHT_HIGHLEVEL);
  ASSERT_EQ(create(L, mutex_args.data(), 3, &args[0]), 1);
  VKL_SetUserRights("plugin-test-guest", 0);
  g_class_nargs = -1;
  ASSERT_EQ(create(L, args.data(), 1, &result[0]), 1);
  EXPECT_EQ(g_class_nargs, 1);
}

}  // namespace
}  // namespace plugin_test
