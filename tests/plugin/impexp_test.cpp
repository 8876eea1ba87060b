// The "vkl string" file format: round trips with narrow and wide file names, the exact bytes
// written, failures to create a file, and missing or empty files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vkl/kernel.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "recording_host.h"

namespace plugin_test {
namespace {

class VklStringFormat : public testing::Test {
 protected:
  void SetUp() override {
    plugin();
    format_ = VKL_FindImpExp(3);
    ASSERT_NE(format_, nullptr);
    dir_ = testing::TempDir() + "vkl_impexp_" + std::to_string(getpid()) + "_" +
           testing::UnitTest::GetInstance()->current_test_info()->name() + "/";
    ASSERT_EQ(mkdir(dir_.c_str(), 0700), 0);
    base_ = VKL_GetMemUsed(L_);
    vkl_put_nil(&value_);
    vkl_put_nil(&loaded_);
  }
  void TearDown() override {
    VKL_FreeObjectContent(L_, &value_);
    VKL_FreeObjectContent(L_, &loaded_);
    EXPECT_EQ(VKL_GetMemUsed(L_), base_);
    for (const char* name : {"value.txt", "empty.txt", "wide\xe5\xae\xbd.txt"})
      std::remove((dir_ + name).c_str());
    rmdir(dir_.c_str());
  }

  // A table with a nested table, text, a wide string and numbers of each kind.
  void make_value() {
    ASSERT_EQ(VKL_StrToObj(L_,
                           "array(1, 2.5, -3L, \"k\": \"t\\\"x\", \"w\": L\"\\u5bbd\", "
                           "\"n\": array(nil, 9223372036854775807))",
                           &value_),
              1);
  }

  static std::string file_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  VKL_State* L_ = state();
  const VKL_ImpExpFormat* format_ = nullptr;
  std::string dir_;
  int64_t base_ = 0;
  TObject value_;
  TObject loaded_;
};

TEST_F(VklStringFormat, IsRegisteredUnderItsName) {
  EXPECT_EQ(format_->id, 3);
  EXPECT_STREQ(format_->name, "vkl string");
}

TEST_F(VklStringFormat, NarrowNameRoundTripWritesTheLiteralText) {
  make_value();
  const std::string path = dir_ + "value.txt";
  ASSERT_EQ(format_->save(L_, &value_, path.c_str()), 1);
  char* text = VKL_ObjToStr(L_, &value_, 1);
  EXPECT_EQ(file_text(path), text);  // no terminating zero in the file
  VKL_Free(text);
  ASSERT_EQ(format_->load(L_, &loaded_, path.c_str()), 1);
  EXPECT_TRUE(VKL_ObjEqual(&loaded_, &value_));
}

TEST_F(VklStringFormat, WideNameRoundTrip) {
  make_value();
  const std::string path = dir_ + "wide\xe5\xae\xbd.txt";  // UTF-8 of the file name below
  const std::u16string wide = std::u16string(dir_.begin(), dir_.end()) + u"wide\u5bbd.txt";
  ASSERT_EQ(format_->saveW(L_, &value_, wide.c_str()), 1);
  EXPECT_FALSE(file_text(path).empty());
  ASSERT_EQ(format_->loadW(L_, &loaded_, wide.c_str()), 1);
  EXPECT_TRUE(VKL_ObjEqual(&loaded_, &value_));
}

TEST_F(VklStringFormat, SavingWhereNoFileCanBeCreatedFails) {
  make_value();
  EXPECT_EQ(format_->save(L_, &value_, (dir_ + "no/such/dir.txt").c_str()), 0);
  EXPECT_EQ(format_->saveW(L_, &value_, u"/no/such/dir/x.txt"), 0);
  EXPECT_EQ(format_->save(L_, &value_, dir_.c_str()), 0);  // a directory
}

TEST_F(VklStringFormat, MissingOrEmptyFileParsesAnEmptyText) {
  vkl_put_int(&loaded_, 5);
  TObject parsed_empty;
  vkl_put_int(&parsed_empty, 5);
  const int empty_result = VKL_StrToObj(L_, "", &parsed_empty);
  std::ofstream(dir_ + "empty.txt").flush();

  EXPECT_EQ(format_->load(L_, &loaded_, (dir_ + "missing.txt").c_str()), empty_result);
  EXPECT_TRUE(VKL_ObjEqual(&loaded_, &parsed_empty));
  EXPECT_EQ(format_->load(L_, &loaded_, (dir_ + "empty.txt").c_str()), empty_result);
  EXPECT_TRUE(VKL_ObjEqual(&loaded_, &parsed_empty));
  EXPECT_EQ(format_->loadW(L_, &loaded_, u"/no/such/file.txt"), empty_result);
  EXPECT_TRUE(VKL_ObjEqual(&loaded_, &parsed_empty));
  VKL_FreeObjectContent(L_, &parsed_empty);
}

TEST_F(VklStringFormat, TextThatIsNotOneLiteralFailsAndKeepsTheTarget) {
  const std::string path = dir_ + "value.txt";
  std::ofstream(path) << "array(1, 2";
  vkl_put_int(&loaded_, 42);
  EXPECT_EQ(format_->load(L_, &loaded_, path.c_str()), 0);
  EXPECT_EQ(loaded_.tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&loaded_), 42);
}

}  // namespace
}  // namespace plugin_test
