// The named mutex: the system layer (re-entrance, time-outs, abandonment, other processes) and
// the tvk_mutex object scripts use (lock counting, methods, system names, rights).
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cells.h"
#include "recording_host.h"
#include "system/named_mutex.h"

namespace plugin_test {
namespace {

using namespace vkl::system;

std::string unique(const std::string& name) { return name + "_" + std::to_string(getpid()); }

// What another thread gets when it waits `ms` for the mutex (it gives the mutex back).
int wait_from_other_thread(const std::string& name, int64_t ms) {
  int code = kWaitFailed;
  std::thread([&] {
    const intptr_t h = named_mutex_open(name);
    code = named_mutex_wait(h, ms);
    if (code == kWaitAcquired || code == kWaitAbandoned) named_mutex_release(h);
    named_mutex_close(h);
  }).join();
  return code;
}

// A thread that takes the mutex and ends without giving it back.
void die_holding(const std::string& name, int times) {
  std::thread([&] {
    const intptr_t h = named_mutex_open(name);
    for (int i = 0; i < times; ++i) EXPECT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
    named_mutex_close(h);
  }).join();
}

TEST(NamedMutex, ObjectNamesAreAcceptedBySharedMemory) {
  EXPECT_EQ(named_mutex_object_name("a_b.Lock"), "/a_b.Lock");
  EXPECT_EQ(named_mutex_object_name("a/b"), "/a_b");
  EXPECT_EQ(named_mutex_object_name(""), "/_");
  EXPECT_EQ(named_mutex_object_name(".."), "/.._");
  const std::string long_a(600, 'a');
  const std::string name_a = named_mutex_object_name(long_a);
  EXPECT_LE(name_a.size(), 255u);
  EXPECT_NE(name_a, named_mutex_object_name(std::string(599, 'a') + "b"));
  MutexName really(long_a);
  const intptr_t h = named_mutex_open(really.str());
  ASSERT_NE(h, 0);
  EXPECT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
  EXPECT_TRUE(named_mutex_release(h));
  named_mutex_close(h);
}

TEST(NamedMutex, OwnerReentersOthersTimeOut) {
  MutexName name(unique("plugin_test_reenter"));
  const intptr_t h = named_mutex_open(name.str());
  ASSERT_NE(h, 0);
  EXPECT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
  EXPECT_EQ(named_mutex_wait(h, -1), kWaitAcquired);
  EXPECT_EQ(wait_from_other_thread(name.str(), 0), kWaitTimedOut);
  EXPECT_EQ(wait_from_other_thread(name.str(), 30), kWaitTimedOut);
  EXPECT_TRUE(named_mutex_release(h));
  EXPECT_EQ(wait_from_other_thread(name.str(), 0), kWaitTimedOut) << "still held once";
  EXPECT_TRUE(named_mutex_release(h));
  EXPECT_FALSE(named_mutex_release(h)) << "not held any more";
  EXPECT_EQ(wait_from_other_thread(name.str(), 0), kWaitAcquired);
  named_mutex_close(h);
  EXPECT_EQ(named_mutex_wait(0, 0), kWaitFailed);
  EXPECT_FALSE(named_mutex_release(0));
}

TEST(NamedMutex, OwnerDeathHandsTheMutexOnAsAbandoned) {
  MutexName name(unique("plugin_test_abandon"));
  die_holding(name.str(), 2);
  const intptr_t h = named_mutex_open(name.str());
  EXPECT_EQ(named_mutex_wait(h, 1000), kWaitAbandoned);
  EXPECT_TRUE(named_mutex_release(h));
  EXPECT_EQ(wait_from_other_thread(name.str(), 0), kWaitAcquired) << "usable again";
  named_mutex_close(h);
}

TEST(NamedMutex, WorksAcrossProcesses) {
  MutexName name(unique("plugin_test_processes"));
  const intptr_t h = named_mutex_open(name.str());
  ASSERT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const intptr_t mine = named_mutex_open(name.str());
    const int busy = named_mutex_wait(mine, 20);
    // Waits for the parent to let go, then dies holding it.
    const int later = named_mutex_wait(mine, 10000);
    _exit(busy == kWaitTimedOut && later == kWaitAcquired ? 0 : 1);
  }
  usleep(100 * 1000);
  EXPECT_TRUE(named_mutex_release(h));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(named_mutex_wait(h, 1000), kWaitAbandoned);
  EXPECT_TRUE(named_mutex_release(h));
  named_mutex_close(h);
}

TEST(NamedMutex, EveryOpenIsAHandleOfItsOwnAndTheLastCloseRemovesTheObject) {
  MutexName name(unique("plugin_test_cleanup"));
  bool created = false;
  const intptr_t first = named_mutex_open(name.str(), &created);
  EXPECT_TRUE(created);
  const intptr_t second = named_mutex_open(name.str(), &created);
  EXPECT_FALSE(created);
  ASSERT_NE(first, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(named_mutex_wait(first, 0), kWaitAcquired);
  EXPECT_TRUE(named_mutex_release(second)) << "one mutex behind both handles";
  named_mutex_close(first);
  EXPECT_TRUE(name.exists());
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Another process lets go of its own open: the object stays for this one.
    named_mutex_close(named_mutex_open(name.str()));
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(name.exists());
  named_mutex_close(second);
  EXPECT_FALSE(name.exists());

  // A handle closed while its thread holds the mutex keeps the object for the next waiter.
  const intptr_t kept = named_mutex_open(name.str());
  ASSERT_EQ(named_mutex_wait(kept, 0), kWaitAcquired);
  named_mutex_close(kept);
  EXPECT_TRUE(name.exists());
  EXPECT_EQ(wait_from_other_thread(name.str(), 0), kWaitTimedOut);
}

TEST(NamedMutex, AnEndingProcessLeavesOnlyTheObjectsOthersStillUse) {
  MutexName opened(unique("plugin_test_exit_opened"));
  MutexName held(unique("plugin_test_exit_held"));
  MutexName shared(unique("plugin_test_exit_shared"));
  const intptr_t mine = named_mutex_open(shared.str());
  ASSERT_NE(mine, 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Ends normally with every handle open (kept where the leak checker sees them) and two
    // mutexes held.
    static intptr_t open_handles[3];
    open_handles[0] = named_mutex_open(opened.str());
    open_handles[1] = named_mutex_open(held.str());
    open_handles[2] = named_mutex_open(shared.str());
    std::exit(named_mutex_wait(open_handles[1], 0) == kWaitAcquired &&
                      named_mutex_wait(open_handles[2], 0) == kWaitAcquired
                  ? 0
                  : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_FALSE(opened.exists());
  EXPECT_FALSE(held.exists());
  EXPECT_TRUE(shared.exists());
  EXPECT_EQ(named_mutex_wait(mine, 1000), kWaitAbandoned);
  EXPECT_TRUE(named_mutex_release(mine));

  // A forked child inherits the mapping but was never counted in the object.
  child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) std::exit(0);
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(shared.exists());
  named_mutex_close(mine);
  EXPECT_FALSE(shared.exists());
}

TEST(NamedMutex, PrivateMutexesAreDistinctAndLeaveNoObject) {
  const intptr_t a = named_mutex_open_private();
  const intptr_t b = named_mutex_open_private();
  ASSERT_NE(a, 0);
  ASSERT_NE(b, 0);
  EXPECT_EQ(named_mutex_wait(a, 0), kWaitAcquired);
  int other = kWaitFailed;
  std::thread([&] {
    other = named_mutex_wait(b, 0);
    if (other == kWaitAcquired) named_mutex_release(b);
  }).join();
  EXPECT_EQ(other, kWaitAcquired) << "b is not a";
  EXPECT_TRUE(named_mutex_release(a));
  const std::string prefix = "vkl_private_mutex_" + std::to_string(getpid()) + "_";
  bool left = false;
  if (DIR* shm = opendir("/dev/shm")) {
    while (dirent* entry = readdir(shm))
      left = left || std::string(entry->d_name).rfind(prefix, 0) == 0;
    closedir(shm);
  }
  EXPECT_FALSE(left);
  named_mutex_close(a);
  named_mutex_close(b);
}

// The tvk_mutex object through vk_mutex and its methods.
class MutexObject : public testing::Test {
 protected:
  void SetUp() override { plugin(); }

  // vk_mutex(name [, autoWait]) into `object`; the system name is cleaned up after the test.
  void make(TObject* object, const std::string& name, int auto_wait = -1) {
    names_.emplace_back(std::make_unique<MutexName>(private_prefix() + "_" + name + ".Lock"));
    Cells args(L_, auto_wait < 0 ? 1 : 2);
    args.text(0, name);
    if (auto_wait >= 0) args.integer(1, auto_wait);
    ASSERT_EQ(function("vk_mutex")(L_, args.data(), args.count(), object), 1);
  }

  // The object's method with no argument, or with one integer argument.
  int call(TObject* object, const char* method, int arg = INT32_MIN) {
    Cells args(L_, arg == INT32_MIN ? 0 : 1);
    if (arg != INT32_MIN) args.integer(0, arg);
    Cells result(L_, 1);
    EXPECT_EQ(VKL_CallAnyMethod(L_, object, method, args.data(), args.count(), &result[0]), 1)
        << method;
    EXPECT_EQ(result[0].tag, VKL_TINT) << method;
    return vkl_int(&result[0]);
  }

  const std::string& system_name() const { return names_.back()->str(); }

  VKL_State* L_ = state();
  std::vector<std::unique_ptr<MutexName>> names_;
};

TEST_F(MutexObject, CountsWaitsAndReachesTheSystemOnlyAtTheEnds) {
  Cells object(L_, 1);
  make(&object[0], "counting", 0);
  EXPECT_EQ(call(&object[0], "Release"), 0) << "not held at start";
  EXPECT_EQ(call(&object[0], "Wait", 0), 0);
  EXPECT_EQ(call(&object[0], "wait", 0), 0);
  EXPECT_EQ(wait_from_other_thread(system_name(), 0), kWaitTimedOut);
  EXPECT_EQ(call(&object[0], "RELEASE"), 1);
  EXPECT_EQ(wait_from_other_thread(system_name(), 0), kWaitTimedOut) << "first release only counts";
  EXPECT_EQ(call(&object[0], "Release"), 1);
  EXPECT_EQ(wait_from_other_thread(system_name(), 0), kWaitAcquired);
  EXPECT_EQ(call(&object[0], "Release"), 0);
}

TEST_F(MutexObject, HeldAtCreationByDefaultAndReleasedOnceWhenFreed) {
  Cells object(L_, 1);
  make(&object[0], "autowait");
  EXPECT_EQ(wait_from_other_thread(system_name(), 0), kWaitTimedOut);
  EXPECT_EQ(call(&object[0], "Wait", 100), 0);  // count 2
  VKL_FreeObjectContent(L_, &object[0]);        // one system release for the whole count
  EXPECT_EQ(wait_from_other_thread(system_name(), 0), kWaitAcquired);
}

TEST_F(MutexObject, WaitGivesTheSystemCodeAndCountsOnlyAcquisition) {
  Cells objects(L_, 2);
  make(&objects[0], "contended", 0);
  make(&objects[1], "contended", 0);
  const std::string sys = system_name();
  std::promise<void> locked;
  std::promise<void> finish;
  std::thread holder([&] {
    const intptr_t h = named_mutex_open(sys);
    named_mutex_wait(h, -1);
    locked.set_value();
    finish.get_future().wait();
    named_mutex_release(h);
    named_mutex_close(h);
  });
  locked.get_future().wait();
  EXPECT_EQ(call(&objects[0], "Wait", 20), kWaitTimedOut);
  EXPECT_EQ(call(&objects[0], "Release"), 0) << "a timed-out wait is not counted";
  finish.set_value();
  holder.join();

  // Two objects of one name on one thread: the system lets its owner in again.
  EXPECT_EQ(call(&objects[0], "Wait", 0), 0);
  EXPECT_EQ(call(&objects[1], "Wait", 0), 0);
  EXPECT_EQ(call(&objects[1], "Release"), 1);
  EXPECT_EQ(wait_from_other_thread(sys, 0), kWaitTimedOut);
  EXPECT_EQ(call(&objects[0], "Release"), 1);
  EXPECT_EQ(wait_from_other_thread(sys, 0), kWaitAcquired);

  // An owner that ended holding it: the object gets it as abandoned, which is not counted.
  die_holding(sys, 1);
  EXPECT_EQ(call(&objects[0], "Wait", 10), kWaitAbandoned);
  EXPECT_EQ(call(&objects[0], "Release"), 0);
}

TEST_F(MutexObject, SystemNameIsPrefixCleanedNameAndLockSuffix) {
  MutexName cleaned(private_prefix() + "_a_b_c_d.Lock");
  Cells object(L_, 1);
  make(&object[0], "a/b:c\\d", 0);
  EXPECT_TRUE(cleaned.exists());
}

TEST(MutexRights, TheHighLevelRightLetsAGuestMakeOne) {
  plugin();
  GuestState guest("plugin-test-nobody");
  Cells args(guest.get(), 1);
  args.text(0, unique("guest"));
  VKL_SetUserRights("plugin-test-nobody", VKL_RIGHT_HIGHLEVEL);
  MutexName sys("vkl_plugin-test-nobody_" + unique("guest") + ".Lock");
  Cells object(guest.get(), 1);
  EXPECT_EQ(function("vk_mutex")(guest.get(), args.data(), 1, &object[0]), 1);
  EXPECT_TRUE(sys.exists());
  VKL_SetUserRights("plugin-test-nobody", 0);
}

}  // namespace
}  // namespace plugin_test
