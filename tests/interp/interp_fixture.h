// The common fixture of the interpreter tests: a fresh interpreter state and scratch cells; on
// the way out the cells are released and every payload byte of the state must be back.
#pragma once

#include <gtest/gtest.h>

#include "vkl/interp.h"
#include "vkl/kernel.h"

class InterpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_InterpNewState();
    ASSERT_NE(L, nullptr);
    for (TObject& cell : cells) vkl_put_nil(&cell);
  }
  void TearDown() override {
    for (TObject& cell : cells) VKL_FreeObjectContent(L, &cell);
    VKL_FreeSysParams(L);
    EXPECT_EQ(VKL_GetMemUsed(L), 0);
    VKL_InterpFreeState(L);
  }

  // A narrow string cell (cells[i] is set and returned).
  TObject* text(int i, const char* s) {
    VKL_SetString(L, &cells[i], s);
    return &cells[i];
  }

  VKL_State* L = nullptr;
  TObject cells[6];
};
