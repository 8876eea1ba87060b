// The system-parameter functions forward to the interpreter and ask for the system right where
// they change the saved defaults; what a script cannot see of them.
#include "core/constants.h"
#include "core_fixture.h"

namespace {

using namespace vkl::core;

class SysParams : public CoreTest {
 protected:
  void TearDown() override {
    VKL_SetUserRights("core-test-guest", 0);
    VKL_FreeSysParams(L);  // the state holds its parameters' payloads
    CoreTest::TearDown();
  }
};

TEST_F(SysParams, SavingAndDroppingNeedTheSystemRight) {
  VKL_SetUserRights(VKL_GetUserNameFromL(L), VKL_RIGHT_ALL);
  set_args({"\"Cycle\"", "\"x\"", "\"nDay\"", "5"});
  args[0].tag = VKL_TSTRING2;  // names of the second string kind work too
  expect_answer(setsysparam, "1");
  set_args({"0"});
  expect_answer(setsysparams, "2");

  VKL_SetUser(L, "core-test-guest", nullptr);
  expect_rejected(setsysparams, {"0"});
  expect_rejected(freesysparams, {});
  // Reading needs no right.
  set_args({"\"Cycle\""});
  expect_answer(getsysparam, "\"x\"");

  VKL_SetUserRights("core-test-guest", VKL_RIGHT_SYS);
  set_args({});
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  ASSERT_EQ(call(freesysparams), 1);
  EXPECT_STREQ(VKL_AsString(&result), "untouched");
  set_args({"\"Cycle\""});
  expect_answer(getsysparam, "nil");
}

TEST_F(SysParams, MalformedCallsLeaveTheResultUntouched) {
  expect_rejected(setsysparam, {"\"a\"", "1", "2", "3"});
  set_args({"\"a\""});  // every name is checked before the first write
  expect_answer(getsysparam, "nil");
  // No pairs: nothing is written and the result stays as it was.
  set_args({});
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  ASSERT_EQ(call(setsysparam), 1);
  EXPECT_STREQ(VKL_AsString(&result), "untouched");
}

}  // namespace
