// The common fixture of the core tests: an interpreter state, argument cells parsed from
// literals, and a result cell. On the way out every cell is released and the state's payload
// count must be back where it started.
#pragma once

#include <gtest/gtest.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_InterpNewState();
    ASSERT_NE(L, nullptr);
    baseline = VKL_GetMemUsed(L);
    vkl_put_nil(&result);
  }
  void TearDown() override {
    clear_args();
    VKL_FreeObjectContent(L, &result);
    EXPECT_EQ(VKL_GetMemUsed(L), baseline);
    VKL_InterpFreeState(L);
  }

  // The argument cells become the values of the literals, in order.
  void set_args(std::initializer_list<const char*> literals) {
    clear_args();
    for (const char* text : literals) {
      TObject cell;
      vkl_put_nil(&cell);
      EXPECT_TRUE(VKL_StrToObj(L, text, &cell)) << text;
      args.push_back(cell);
    }
  }
  void drop_last_arg() {
    VKL_FreeObjectContent(L, &args.back());
    args.pop_back();
  }
  void clear_args() {
    for (TObject& cell : args) VKL_FreeObjectContent(L, &cell);
    args.clear();
  }

  int call(VKL_Handler handler) {
    return handler(L, args.data(), static_cast<int>(args.size()), &result);
  }

  // The handler rejects the arguments and leaves a result it was given exactly as it was.
  void expect_rejected(VKL_Handler handler, std::initializer_list<const char*> literals) {
    set_args(literals);
    expect_rejected_now(handler);
  }
  void expect_rejected_now(VKL_Handler handler) {
    ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
    TObject before = result;
    EXPECT_EQ(call(handler), 0);
    EXPECT_EQ(std::memcmp(&before, &result, sizeof result), 0);
    EXPECT_STREQ(VKL_AsString(&result), "untouched");
  }

  // The handler accepts the arguments and answers the value written as `expected`.
  void expect_answer(VKL_Handler handler, const std::string& expected) {
    ASSERT_EQ(call(handler), 1);
    expect_result_text(expected);
  }
  // The result cell holds the value written as `expected`.
  void expect_result_text(const std::string& expected) {
    char* text = VKL_ObjToStr(L, &result, 1);
    EXPECT_EQ(std::string(text ? text : ""), expected);
    VKL_Free(text);
  }

  VKL_State* L = nullptr;
  int64_t baseline = 0;
  std::vector<TObject> args;
  TObject result;
};
