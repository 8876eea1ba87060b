// Constants share a handler per value; the system-parameter functions forward to the
// interpreter and ask for the system right where they change the saved defaults.
#include <cstring>
#include <string>

#include "core/constants.h"
#include "core_fixture.h"

namespace {

using namespace vkl::core;
using vkl::plugin::kConstantRows;

VKL_Handler handler_of(const char* name) {
  for (const auto& row : kConstantRows)
    if (std::strcmp(row.name, name) == 0) return row.handler;
  return nullptr;
}

TEST(ConstantRows, NamesOfOneValueShareOneHandler) {
  const std::vector<std::vector<const char*>> groups = {
      {"clblack", "flclear", "fgnone", "rt_none", "rd_lastday", "cf_default", "ftcsv", "rwbyte"},
      {"flsolid", "rd_firstday"},
      {"flhorizontal", "gtline", "fgleft", "rt_scale", "cf_nonighttrading", "ftxls", "rwint"},
      {"flvertical", "gtkline", "fgup", "rt_complex", "ftstream", "rwreal"},
      {"flfdiagonal", "gttower", "fgright", "cf_callauctiontoseries", "ftstring", "rwstr"},
      {"flbdiagonal", "gtamerican", "fgdown", "cf_suspendtoseries", "rwobj"},
      {"flcross", "gtbar", "fgleftup", "ftxml", "rwraw"},
      {"fldiagcross", "gtsinglebar", "fgrightup", "ftxls2", "rwbinary"},
      {"gtcircle", "fgrightdown", "ftxls3"},
      {"fgleftdown", "ftdbf"},
      {"clgray", "cldkgray"},
      {"clsilver", "clltgray"},
      {"pn_bk", "pn_sector"},
      {"getsysparam", "sp_g"},
      {"setsysparam", "sp_s"},
  };
  for (const auto& group : groups) {
    const VKL_Handler first = handler_of(group.front());
    ASSERT_NE(first, nullptr) << group.front();
    for (const char* name : group) EXPECT_EQ(handler_of(name), first) << name;
  }
  EXPECT_NE(handler_of("clred"), handler_of("clblue"));
}

class SysParams : public CoreTest {
 protected:
  void TearDown() override {
    VKL_SetUserRights("core-test-guest", 0);
    VKL_FreeSysParams(L);  // the state holds its parameters' payloads
    CoreTest::TearDown();
  }
  void as_user_without_rights() { VKL_SetUser(L, "core-test-guest", nullptr); }
};

TEST_F(SysParams, SavingAndDroppingNeedTheSystemRight) {
  VKL_SetUserRights(VKL_GetUserNameFromL(L), VKL_RIGHT_ALL);
  set_args({"\"Cycle\"", "\"x\"", "\"nDay\"", "5"});
  expect_answer(setsysparam, "1");

  set_args({"0"});
  expect_answer(setsysparams, "2");

  as_user_without_rights();
  expect_rejected(setsysparams, {"0"});
  expect_rejected(freesysparams, {});
  // Reading and writing need no right.
  set_args({"\"nDay\""});
  expect_answer(getsysparam, "5");

  VKL_SetUserRights("core-test-guest", VKL_RIGHT_SYS);
  set_args({});
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  ASSERT_EQ(call(freesysparams), 1);
  EXPECT_STREQ(VKL_AsString(&result), "untouched");
  set_args({"\"nDay\""});
  ASSERT_EQ(call(getsysparam), 1);
  EXPECT_EQ(result.tag, VKL_TNIL);
}

TEST_F(SysParams, MalformedCallsLeaveTheResultUntouched) {
  expect_rejected(getsysparam, {"\"Cycle\"", "1"});
  expect_rejected(getsysparam, {"L\"Cycle\""});
  expect_rejected(setsysparam, {"\"a\""});
  expect_rejected(setsysparam, {"\"a\"", "1", "2", "3"});
  expect_rejected(setsysparams, {});
  expect_rejected(cy_trailingdays, {"\"3\""});
  // No pairs: nothing is written and the result stays as it was.
  set_args({});
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  ASSERT_EQ(call(setsysparam), 1);
  EXPECT_STREQ(VKL_AsString(&result), "untouched");
}

TEST_F(SysParams, NamesOfTheSecondStringKindWork) {
  set_args({"\"Cycle\"", "\"w\""});
  args[0].tag = VKL_TSTRING2;
  ASSERT_EQ(call(setsysparam), 1);
  drop_last_arg();
  expect_answer(getsysparam, "\"w\"");
}

}  // namespace
