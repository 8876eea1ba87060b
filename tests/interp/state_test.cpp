// Interpreter states: users and rights, private values and system parameters, the stop
// request, and calls through the host's hooks.
#include <stdexcept>
#include <string>

#include "interp_fixture.h"

namespace {

bool is_text(const TObject* o, const char* expected) {
  return VKL_StringCheck(o) && std::string(VKL_AsString(o)) == expected;
}

}  // namespace

TEST_F(InterpTest, RightsBelongToUserNames) {
  EXPECT_STRNE(VKL_GetUserNameFromL(L), "");  // the operating-system user
  EXPECT_EQ(VKL_GetUserRights("rights_nobody"), 0u);
  VKL_SetUserRights("rights_admin", VKL_RIGHT_SYS | VKL_RIGHT_CLASS | 0x100);
  EXPECT_EQ(VKL_GetUserRights("rights_admin"), unsigned{VKL_RIGHT_SYS | VKL_RIGHT_CLASS});
  EXPECT_EQ(VKL_CheckSysRight("rights_admin"), 1);
  EXPECT_EQ(VKL_CheckSysRight("RIGHTS_ADMIN"), 0);

  VKL_SetUser(L, "rights_admin", "rights_starter");
  EXPECT_STREQ(VKL_GetOrigUserID(L), "rights_starter");
  EXPECT_EQ(VKL_CheckClassSecurity(L, "TAnything"), 1);
  EXPECT_EQ(VKL_CheckWriteSecurity(L), 0);
  VKL_SetUserRights("rights_admin", VKL_RIGHT_WRITE | VKL_RIGHT_HIGHLEVEL);
  EXPECT_EQ(VKL_CheckSysRight("rights_admin"), 0);
  EXPECT_EQ(VKL_CheckHighLevelSecurity(L, "vkl_x", 1), 1);

  // A null name keeps that user; the checks follow the state's current user.
  VKL_SetUser(L, "rights_nobody", nullptr);
  EXPECT_STREQ(VKL_GetOrigUserID(L), "rights_starter");
  EXPECT_EQ(VKL_CheckWriteSecurity(L), 0);
}

TEST(InterpPlainState, StatesWithoutInterpreterDataAreRefused) {
  VKL_State* plain = VKL_NewState();
  TObject value;
  vkl_put_int(&value, 5);
  for (VKL_State* s : {plain, static_cast<VKL_State*>(nullptr)}) {
    EXPECT_STREQ(VKL_GetUserNameFromL(s), "");
    EXPECT_EQ(rwPrivateValue(s, VKL_PV_PRIVATE_PREFIX, nullptr, &value), 0);
    EXPECT_EQ(VKL_InterpIsStopL(s), 0);
  }
  EXPECT_EQ(vkl_int(&value), 5);
  VKL_FreeState(plain);
}

TEST_F(InterpTest, PrivatePrefixFollowsTheUserUntilSet) {
  VKL_SetUser(L, "prefix_user", nullptr);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_PRIVATE_PREFIX, nullptr, &cells[0]), 1);
  EXPECT_TRUE(is_text(&cells[0], "vkl_prefix_user"));
  VKL_SetPrivatePrefix(L, "custom");
  VKL_SetUser(L, "someone_else", nullptr);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_PRIVATE_PREFIX, nullptr, &cells[0]), 1);
  EXPECT_TRUE(is_text(&cells[0], "custom"));
  VKL_SetPrivatePrefix(L, nullptr);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_PRIVATE_PREFIX, nullptr, &cells[0]), 1);
  EXPECT_TRUE(is_text(&cells[0], "vkl_someone_else"));
}

TEST_F(InterpTest, UnknownSelectorsAndBadNamesLeaveTheValueUntouched) {
  TObject* name = text(0, "StockID");
  VKL_SetInt(L, &cells[1], 42);
  for (int selector : {-1, 0, 16, 18, 31, 34}) {
    EXPECT_EQ(rwPrivateValue(L, selector, name, &cells[1]), 0) << selector;
  }
  VKL_SetInt(L, &cells[2], 3);
  for (const TObject* bad : {&cells[2], text(3, ""), static_cast<TObject*>(nullptr)}) {
    EXPECT_EQ(rwPrivateValue(L, VKL_PV_READ_SYSPARAM, bad, &cells[1]), 0);
    EXPECT_EQ(rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, bad, &cells[1]), 0);
  }
  EXPECT_EQ(vkl_tag(&cells[1]), VKL_TINT);
  EXPECT_EQ(vkl_int(&cells[1]), 42);
}

// The copies in and out are in the script tests; a reference, to the name or to the value, is
// followed and the value behind it stored.
TEST_F(InterpTest, SysParamsStoreTheValueBehindAReference) {
  TObject* name = text(0, "Cycle");
  VKL_SetString(L, &cells[1], "day");
  VKL_SetRef(L, &cells[5], &cells[0]);
  VKL_SetRef(L, &cells[4], &cells[1]);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, &cells[5], &cells[4]), 1);
  VKL_SetInt(L, &cells[1], 0);
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_READ_SYSPARAM, name, &cells[3]), 1);
  EXPECT_TRUE(is_text(&cells[3], "day"));
}

TEST_F(InterpTest, ResetRestoresTheSavedDefaults) {
  auto write = [&](const char* name, int value) {
    VKL_SetInt(L, &cells[1], value);
    ASSERT_EQ(rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, text(0, name), &cells[1]), 1);
  };
  auto current = [&]() {
    EXPECT_EQ(VKL_GetSysParams(L, &cells[2]), 1);
    return vkl_table(&cells[2]);
  };
  write("StockID", 600000);
  write("bRate", 2);
  ASSERT_EQ(VKL_SetSysParams(L, &cells[3]), 1);
  EXPECT_EQ(vkl_int(&cells[3]), 2);

  // Changes after saving are undone by a reset; a parameter added later disappears.
  write("StockID", 1);
  write("nDay", 1);
  VKL_ResetSysParams(L);
  EXPECT_EQ(VKL_HashCount(current()), 2);
  EXPECT_EQ(VKL_AsInt(VKL_HashGetSZString(current(), "StockID")), 600000);
  EXPECT_EQ(VKL_HashGetSZString(current(), "nDay"), nullptr);

  // Freeing drops both; a reset then has nothing to restore.
  VKL_FreeSysParams(L);
  VKL_ResetSysParams(L);
  EXPECT_EQ(VKL_HashCount(current()), 0);
}

TEST(InterpStateLife, ParametersAreFreedWithTheState) {
  VKL_State* L = VKL_InterpNewState();
  TObject name;
  vkl_put_nil(&name);
  VKL_SetString(L, &name, "ResultFileName");
  ASSERT_EQ(rwPrivateValue(L, VKL_PV_WRITE_SYSPARAM, &name, &name), 1);
  ASSERT_EQ(VKL_SetSysParams(L, nullptr), 1);
  VKL_FreeObjectContent(L, &name);
  EXPECT_GT(VKL_GetMemUsed(L), 0);
  VKL_InterpFreeState(L);  // the sanitizer build reports a leak if the copies stay
}

TEST_F(InterpTest, StopRequestPerStateAndGlobal) {
  VKL_State* other = VKL_InterpNewState();
  VKL_InterpSetStop(L, 1);
  EXPECT_EQ(VKL_InterpIsStopL(other), 0);
  VKL_InterpStopAll(1);
  EXPECT_EQ(VKL_InterpIsStopL(other), 1);
  VKL_InterpStopAll(0);  // clears the global request only
  EXPECT_EQ(VKL_InterpIsStopL(other), 0);
  EXPECT_EQ(VKL_InterpIsStopL(L), 1);
  VKL_InterpSetStop(L, 0);
  EXPECT_EQ(VKL_InterpIsStopL(L), 0);
  VKL_InterpFreeState(other);
}

namespace {

// The first argument: copied to the result; negative, the call fails; none, it throws.
int echo_hook(VKL_State* L, const TObject*, TObject* args, int nargs, TObject* result) {
  if (nargs == 0) throw std::runtime_error("script error");
  if (VKL_AsInt(&args[0]) < 0) return 0;
  return VKL_DupObject(L, result, &args[0]);
}

int throwing_class_hook(VKL_State*, TObject*, int, TObject*) {
  throw std::runtime_error("no class");
}

}  // namespace

TEST_F(InterpTest, CallsNeedAHookAndRejectedOnesLeaveTheResultUntouched) {
  static const VKL_BoxType kTestFunction = {"test function", nullptr, nullptr};
  ASSERT_EQ(VKL_SetBox(L, &cells[0], VKL_TFUNCTION, &kTestFunction, nullptr), 1);
  TObject* arg = &cells[4];
  VKL_SetInt(L, arg, 5);
  VKL_SetString(L, &cells[1], "untouched");
  EXPECT_EQ(raw_call2(L, &cells[0], arg, 1, &cells[1]), 0);  // no hook
  EXPECT_EQ(VKL_InstantiateClass(L, arg, 1, &cells[1]), 0);

  VKL_InterpSetCallHook(L, echo_hook);
  EXPECT_EQ(raw_call2(L, &cells[2], arg, 1, &cells[1]), 0);  // nil is not callable
  EXPECT_EQ(raw_call2(L, &cells[0], nullptr, 1, &cells[1]), 0);
  EXPECT_EQ(raw_call2(L, &cells[0], arg, 0, &cells[1]), 0);  // the function threw
  VKL_SetInt(L, arg, -1);
  EXPECT_EQ(raw_call2(L, &cells[0], arg, 1, &cells[1]), 0);
  EXPECT_TRUE(is_text(&cells[1], "untouched"));

  VKL_SetInt(L, arg, 5);
  VKL_SetRef(L, &cells[3], &cells[0]);
  ASSERT_EQ(raw_call2(L, &cells[3], arg, 1, &cells[1]), 1);
  EXPECT_EQ(vkl_int(&cells[1]), 5);

  // The class hook's exceptions pass through to the caller, which guards the instantiation.
  VKL_InterpSetClassHook(L, throwing_class_hook);
  EXPECT_THROW(VKL_InstantiateClass(L, arg, 1, &cells[1]), std::runtime_error);
}
