// The named mutex: the system layer (re-entrance, time-outs, abandonment, other processes) and
// the tvk_mutex object scripts use (lock counting, methods, system names, rights).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vkl/kernel.h>

#include <future>
#include <string>
#include <thread>

#include "cells.h"
#include "mutex_name.h"
#include "recording_host.h"
#include "system/named_mutex.h"

namespace plugin_test {
namespace {

using namespace vkl::system;

std::string unique(const std::string& name) {
  return name + "_" + std::to_string(getpid());
}

// What another thread gets when it waits `ms` for the mutex (it gives the mutex back).
int wait_from_other_thread(const std::string& name, int64_t ms) {
  int code = kWaitFailed;
  std::thread other([&] {
    const intptr_t h = named_mutex_open(name);
    code = named_mutex_wait(h, ms);
    if (code == kWaitAcquired || code == kWaitAbandoned) named_mutex_release(h);
    named_mutex_close(h);
  });
  other.join();
  return code;
}

TEST(NamedMutex, ObjectNamesAreAcceptedBySharedMemory) {
  EXPECT_EQ(named_mutex_object_name("a_b.Lock"), "/a_b.Lock");
  EXPECT_EQ(named_mutex_object_name("a/b"), "/a_b");
  EXPECT_EQ(named_mutex_object_name(""), "/_");
  EXPECT_EQ(named_mutex_object_name(".."), "/.._");
  const std::string long_a(600, 'a');
  const std::string long_b = std::string(599, 'a') + "b";
  const std::string name_a = named_mutex_object_name(long_a);
  EXPECT_LE(name_a.size(), 255u);
  EXPECT_NE(name_a, named_mutex_object_name(long_b));
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
  std::thread owner([&] {
    const intptr_t h = named_mutex_open(name.str());
    EXPECT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
    EXPECT_EQ(named_mutex_wait(h, 0), kWaitAcquired);
  });  // ends holding it twice
  owner.join();
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

// The tvk_mutex object through vk_mutex and its methods.
class MutexObject : public testing::Test {
 protected:
  void SetUp() override {
    plugin();
    make_ = function("vk_mutex");
    ASSERT_NE(make_, nullptr);
  }

  // vk_mutex(name [, autoWait]) into `object`.
  int make(TObject* object, const std::string& name, int auto_wait = -1) {
    Cells args(L_, auto_wait < 0 ? 1 : 2);
    args.text(0, name);
    if (auto_wait >= 0) args.integer(1, auto_wait);
    return make_(L_, args.data(), args.count(), object);
  }

  // The object's method with no argument, or with one integer argument.
  int call(TObject* object, const char* method, int arg = INT32_MIN) {
    Cells args(L_, arg == INT32_MIN ? 0 : 1);
    if (arg != INT32_MIN) args.integer(0, arg);
    Cells result(L_, 1);
    const int rc = VKL_CallAnyMethod(L_, object, method, args.data(), args.count(), &result[0]);
    EXPECT_EQ(rc, 1) << method;
    EXPECT_EQ(result[0].tag, VKL_TINT) << method;
    return vkl_int(&result[0]);
  }

  // The system name of a script name under this test state's prefix.
  std::string system_name(const std::string& name) {
    return "vkltest" + std::to_string(getpid()) + "_" + name + ".Lock";
  }

  VKL_State* L_ = state();
  VKL_Handler make_ = nullptr;
};

TEST_F(MutexObject, CountsWaitsAndReachesTheSystemOnlyAtTheEnds) {
  MutexName sys(system_name("counting"));
  Cells object(L_, 1);
  ASSERT_EQ(make(&object[0], "counting", 0), 1);
  EXPECT_EQ(call(&object[0], "Release"), 0) << "not held at start";
  EXPECT_EQ(call(&object[0], "Wait", 0), 0);
  EXPECT_EQ(call(&object[0], "wait", 0), 0);
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitTimedOut);
  EXPECT_EQ(call(&object[0], "RELEASE"), 1);
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitTimedOut) << "first release only counts";
  EXPECT_EQ(call(&object[0], "Release"), 1);
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitAcquired);
  EXPECT_EQ(call(&object[0], "Release"), 0);
}

TEST_F(MutexObject, HeldAtCreationByDefaultAndReleasedOnceWhenFreed) {
  MutexName sys(system_name("autowait"));
  Cells object(L_, 1);
  ASSERT_EQ(make(&object[0], "autowait"), 1);
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitTimedOut);
  EXPECT_EQ(call(&object[0], "Wait", 100), 0);  // count 2
  VKL_FreeObjectContent(L_, &object[0]);        // one system release for the whole count
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitAcquired);
}

TEST_F(MutexObject, WaitGivesTheSystemCodeAndCountsOnlyAcquisition) {
  MutexName sys(system_name("contended"));
  Cells objects(L_, 2);
  ASSERT_EQ(make(&objects[0], "contended", 0), 1);
  ASSERT_EQ(make(&objects[1], "contended", 0), 1);
  std::promise<void> locked;
  std::promise<void> finish;
  std::thread holder([&] {
    const intptr_t h = named_mutex_open(sys.str());
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
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitTimedOut);
  EXPECT_EQ(call(&objects[0], "Release"), 1);
  EXPECT_EQ(wait_from_other_thread(sys.str(), 0), kWaitAcquired);

  // An owner that ended holding it: the object gets it as abandoned, which is not counted.
  std::thread([&] {
    const intptr_t h = named_mutex_open(sys.str());
    named_mutex_wait(h, 0);
    named_mutex_close(h);
  }).join();
  EXPECT_EQ(call(&objects[0], "Wait", 10), kWaitAbandoned);
  EXPECT_EQ(call(&objects[0], "Release"), 0);
}

TEST_F(MutexObject, SystemNameIsPrefixCleanedNameAndLockSuffix) {
  MutexName sys(system_name("a_b_c_d"));
  Cells object(L_, 1);
  ASSERT_EQ(make(&object[0], "a/b:c\\d", 0), 1);
  EXPECT_TRUE(sys.exists());
}

TEST_F(MutexObject, RejectedCreationLeavesTheResult) {
  SentinelResult result(L_);
  EXPECT_EQ(make_(L_, nullptr, 0, result.get()), 0);
  Cells three(L_, 3);
  three.text(0, unique("three"));
  EXPECT_EQ(make_(L_, three.data(), 3, result.get()), 0);
  Cells number(L_, 1);
  number.integer(0, 5);
  EXPECT_EQ(make_(L_, number.data(), 1, result.get()), 0);
  EXPECT_EQ(make(result.get(), std::string(257, 'n'), 0), 0);
  EXPECT_TRUE(result.untouched());

  MutexName longest(system_name(std::string(256, 'n')));
  Cells object(L_, 1);
  EXPECT_EQ(make(&object[0], std::string(256, 'n'), 0), 1);
}

TEST_F(MutexObject, NeedsTheHighLevelRight) {
  GuestState guest_state("plugin-test-nobody");
  VKL_State* guest = guest_state.get();
  Cells args(guest, 1);
  args.text(0, unique("guest"));
  SentinelResult result(guest);
  EXPECT_EQ(make_(guest, args.data(), 1, result.get()), 0);
  EXPECT_TRUE(result.untouched());
  VKL_SetUserRights("plugin-test-nobody", VKL_RIGHT_HIGHLEVEL);
  {
    MutexName sys("vkl_plugin-test-nobody_" + unique("guest") + ".Lock");
    Cells object(guest, 1);
    EXPECT_EQ(make_(guest, args.data(), 1, &object[0]), 1);
  }
  VKL_SetUserRights("plugin-test-nobody", 0);
}

}  // namespace
}  // namespace plugin_test
