// The "vkl string" file format: round trips with narrow and wide file names, the exact bytes
// written, failures to create a file, and missing, empty or malformed files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vkl/kernel.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "cells.h"
#include "recording_host.h"

namespace plugin_test {
namespace {

class VklStringFormat : public testing::Test {
 protected:
  void SetUp() override {
    plugin();
    format_ = VKL_FindImpExp(3);
    ASSERT_NE(format_, nullptr);
    ASSERT_EQ(mkdir(dir_.c_str(), 0700), 0);
    base_ = VKL_GetMemUsed(L_);
  }
  void TearDown() override {
    VKL_FreeObjectContent(L_, value_);
    VKL_FreeObjectContent(L_, loaded_);
    EXPECT_EQ(VKL_GetMemUsed(L_), base_);
    std::filesystem::remove_all(dir_);
  }

  VKL_State* L_ = state();
  const std::string dir_ = testing::TempDir() + "vkl_impexp_" + std::to_string(getpid()) + "/";
  const VKL_ImpExpFormat* format_ = nullptr;
  int64_t base_ = 0;
  // The value saved and the one loaded.
  Cells cells_{L_, 2};
  TObject* value_ = &cells_[0];
  TObject* loaded_ = &cells_[1];
};

TEST_F(VklStringFormat, RoundTripsWriteTheLiteralText) {
  // A table with a nested table, text, a wide string and numbers of each kind.
  ASSERT_EQ(VKL_StrToObj(L_,
                         "array(1, 2.5, -3L, \"k\": \"t\\\"x\", \"w\": L\"\\u5bbd\", "
                         "\"n\": array(nil, 9223372036854775807))",
                         value_),
            1);
  const std::string path = dir_ + "value.txt";
  ASSERT_EQ(format_->save(L_, value_, path.c_str()), 1);
  char* text = VKL_ObjToStr(L_, value_, 1);
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text);  // no terminating zero
  VKL_Free(text);
  ASSERT_EQ(format_->load(L_, loaded_, path.c_str()), 1);
  EXPECT_TRUE(VKL_ObjEqual(loaded_, value_));

  const std::u16string wide = std::u16string(dir_.begin(), dir_.end()) + u"wide\u5bbd.txt";
  VKL_SetNil(L_, loaded_);
  ASSERT_EQ(format_->saveW(L_, value_, wide.c_str()), 1);
  EXPECT_TRUE(std::filesystem::exists(dir_ + "wide\xe5\xae\xbd.txt"));  // the same name in UTF-8
  ASSERT_EQ(format_->loadW(L_, loaded_, wide.c_str()), 1);
  EXPECT_TRUE(VKL_ObjEqual(loaded_, value_));
}

TEST_F(VklStringFormat, SavingWhereNoFileCanBeCreatedFails) {
  VKL_SetInt(L_, value_, 1);
  EXPECT_EQ(format_->save(L_, value_, (dir_ + "no/such/dir.txt").c_str()), 0);
  EXPECT_EQ(format_->saveW(L_, value_, u"/no/such/dir/x.txt"), 0);
  EXPECT_EQ(format_->save(L_, value_, dir_.c_str()), 0);  // a directory
}

TEST_F(VklStringFormat, MissingOrEmptyFileParsesAnEmptyText) {
  VKL_SetInt(L_, value_, 5);  // what a failed parse would leave
  const int empty_result = VKL_StrToObj(L_, "", value_);
  std::ofstream(dir_ + "empty.txt").flush();
  for (const std::string& name : {dir_ + "missing.txt", dir_ + "empty.txt"}) {
    VKL_SetInt(L_, loaded_, 5);
    EXPECT_EQ(format_->load(L_, loaded_, name.c_str()), empty_result) << name;
    EXPECT_TRUE(VKL_ObjEqual(loaded_, value_)) << name;
  }
  VKL_SetInt(L_, loaded_, 5);
  EXPECT_EQ(format_->loadW(L_, loaded_, u"/no/such/file.txt"), empty_result);
  EXPECT_TRUE(VKL_ObjEqual(loaded_, value_));
}

TEST_F(VklStringFormat, TextThatIsNotOneLiteralFailsAndKeepsTheTarget) {
  const std::string path = dir_ + "value.txt";
  std::ofstream(path) << "array(1, 2";
  VKL_SetInt(L_, loaded_, 42);
  EXPECT_EQ(format_->load(L_, loaded_, path.c_str()), 0);
  EXPECT_EQ(loaded_->tag, VKL_TINT);
  EXPECT_EQ(vkl_int(loaded_), 42);
}

}  // namespace
}  // namespace plugin_test
