// The common fixture of the kernel tests: a fresh state and scratch cells; on the way out the
// cells are released and every payload byte must be back.
#pragma once

#include <gtest/gtest.h>

#include "vkl/kernel.h"

class KernelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_NewState();
    ASSERT_NE(L, nullptr);
    for (TObject& cell : cells) vkl_put_nil(&cell);
  }
  void TearDown() override {
    for (TObject& cell : cells) VKL_FreeObjectContent(L, &cell);
    EXPECT_EQ(VKL_GetMemUsed(L), 0);
    VKL_FreeState(L);
  }

  VKL_State* L = nullptr;
  TObject cells[4];
};
