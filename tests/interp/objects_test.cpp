// Named objects: managers, creation, ownership by cells, and failing method calls.
#include <stdexcept>
#include <string>

#include "interp_fixture.h"

namespace {

struct Counter {
  int value;
};
int g_frees = 0;

// A counter from one numeric argument; anything else creates nothing, a negative start throws.
void* create_counter(VKL_State*, TObject* args, int nargs) {
  if (nargs != 1 || !VKL_NumberCheck(&args[0])) return nullptr;
  if (VKL_AsInt(&args[0]) < 0) throw std::runtime_error("bad start");
  return new Counter{VKL_AsInt(&args[0])};
}

void free_counter(VKL_State*, void* data) {
  ++g_frees;
  delete static_cast<Counter*>(data);
}

// Throw() throws; there are no other methods.
int counter_method(VKL_State*, void*, const char* method, TObject*, int, TObject*) {
  if (std::string(method) == "Throw") throw std::runtime_error("method error");
  return -1;
}

VKL_AnyMan* counter_manager(const char* type_name) {
  return VKL_NewAnyMan(type_name, create_counter, free_counter, counter_method, 0, "decl\r\n");
}

}  // namespace

TEST_F(InterpTest, ManagersAndCreation) {
  VKL_AnyMan* man = counter_manager("T_Counter_A");
  ASSERT_EQ(VKL_RegisterAnyMan("T_Counter_A", man), 1);
  EXPECT_EQ(VKL_FindAnyMan("t_counter_A"), man);
  EXPECT_EQ(VKL_RegisterAnyMan("t_COUNTER_a", counter_manager("other")), 0);  // taken
  EXPECT_EQ(VKL_FindAnyMan("T_COUNTER_A"), man);

  VKL_SetInt(L, &cells[0], 10);
  VKL_Any* obj = VKL_NewAny(L, "t_counter_a", &cells[0], 1);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(static_cast<Counter*>(VKL_GetDataFromAny(obj))->value, 10);
  const int frees = g_frees;
  VKL_FreeAny(L, obj);
  EXPECT_EQ(g_frees, frees + 1);

  // Nothing created, an unknown type, a throwing create: no object and nothing to free.
  EXPECT_EQ(VKL_NewAny(L, "t_counter_a", nullptr, 0), nullptr);
  EXPECT_EQ(VKL_NewAny(L, "t_no_such_type", &cells[0], 1), nullptr);
  VKL_SetInt(L, &cells[0], -1);
  EXPECT_EQ(VKL_NewAny(L, "t_counter_a", &cells[0], 1), nullptr);
  EXPECT_EQ(g_frees, frees + 1);
}

TEST_F(InterpTest, CellCopiesShareTheObjectAndTheLastOneFreesIt) {
  VKL_SetInt(L, &cells[0], 4);
  VKL_Any* obj = VKL_NewAnyEx(L, counter_manager("t_counter_c"), &cells[0], 1);
  ASSERT_EQ(VKL_SetTypeAny(L, &cells[1], obj), 1);
  ASSERT_EQ(VKL_DupObject(L, &cells[2], &cells[1]), 1);
  EXPECT_EQ(VKL_AnyFromObj(&cells[2]), obj);

  // The type is checked without regard to case, also through a reference; a kind-7 box of
  // another owner is no named object.
  VKL_SetRef(L, &cells[3], &cells[1]);
  auto* data = static_cast<Counter*>(VKL_FindAnyByName(&cells[3], "T_Counter_C"));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->value, 4);
  EXPECT_EQ(VKL_FindAnyByName(&cells[1], "t_counter"), nullptr);
  EXPECT_EQ(VKL_FindAnyByName(&cells[0], "t_counter_c"), nullptr);
  static const VKL_BoxType kOther = {"other object", nullptr, nullptr};
  VKL_SetBox(L, &cells[4], VKL_TOBJECT, &kOther, data);
  EXPECT_EQ(VKL_AnyFromObj(&cells[4]), nullptr);

  const int frees = g_frees;
  VKL_SetNil(L, &cells[3]);
  VKL_FreeObjectContent(L, &cells[1]);
  EXPECT_EQ(g_frees, frees);
  VKL_SetInt(L, &cells[2], 0);
  EXPECT_EQ(g_frees, frees + 1);
  EXPECT_EQ(VKL_SetTypeAny(L, &cells[1], nullptr), 0);
  EXPECT_EQ(vkl_tag(&cells[1]), VKL_TNIL);
}

// Dispatch by name is in the engine tests; here what only the caller of the manager sees.
TEST_F(InterpTest, AThrowingMethodIsAFailedCall) {
  VKL_SetInt(L, &cells[0], 7);
  ASSERT_EQ(
      VKL_SetTypeAny(L, &cells[1], VKL_NewAnyEx(L, counter_manager("t_counter_e"), &cells[0], 1)),
      1);
  EXPECT_EQ(VKL_CallAnyMethod(L, &cells[1], "Throw", nullptr, 0, &cells[0]), 0);
  EXPECT_EQ(VKL_CallAnyMethod(L, &cells[1], "Missing", nullptr, 0, &cells[0]), -1);
  EXPECT_EQ(vkl_int(&cells[0]), 7);

  VKL_AnyMan* silent =
      VKL_NewAnyMan("t_no_methods", create_counter, free_counter, nullptr, 0, nullptr);
  ASSERT_EQ(VKL_SetTypeAny(L, &cells[3], VKL_NewAnyEx(L, silent, &cells[0], 1)), 1);
  EXPECT_EQ(VKL_CallAnyMethod(L, &cells[3], "Throw", nullptr, 0, &cells[2]), -1);
}
