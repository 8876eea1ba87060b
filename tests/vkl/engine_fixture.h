// A fresh interpreter state and engine per test with the test handlers registered, the
// engine's output captured; on the way out every payload byte the scripts held must be back.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "handlers.h"
#include "host/vkl/engine.h"

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_InterpNewState();
    ASSERT_NE(L, nullptr);
    out_ = open_memstream(&buffer_, &size_);
    ASSERT_NE(out_, nullptr);
    engine = std::make_unique<vkl::lang::Engine>(L, out_);
    vkl_test::register_test_handlers();
  }
  void TearDown() override {
    engine.reset();
    EXPECT_EQ(VKL_GetMemUsed(L), 0);
    std::fclose(out_);
    std::free(buffer_);
    VKL_InterpFreeState(L);
  }

  // Runs a script; the error message, or "" when it ran through.
  std::string run(const std::string& source) {
    std::string error;
    return engine->run(source, "t.vkl", &error) ? std::string() : error;
  }
  std::string output() {
    std::fflush(out_);
    return std::string(buffer_, size_);
  }
  const TObject* global(const std::string& name) { return engine->global(name); }

  VKL_State* L = nullptr;
  std::unique_ptr<vkl::lang::Engine> engine;

 private:
  std::FILE* out_ = nullptr;
  char* buffer_ = nullptr;
  size_t size_ = 0;
};
