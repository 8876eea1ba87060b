// The write forms of the formatting functions: the bytes that reach the output, and nothing at
// all when the call is rejected.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "tests/core/core_fixture.h"
#include "text/format.h"

namespace {

using vkl::text::format_fn;
using vkl::text::kFormatAnsi;
using vkl::text::kFormatLine;
using vkl::text::kFormatWrite;

// Standard output goes to a temporary file between construction and take().
class StdoutCapture {
 public:
  StdoutCapture() : file_(std::tmpfile()) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    dup2(fileno(file_), STDOUT_FILENO);
  }
  ~StdoutCapture() {
    if (saved_ >= 0) restore();
    std::fclose(file_);
  }
  std::string take() {
    restore();
    std::string bytes;
    std::rewind(file_);
    for (int c; (c = std::fgetc(file_)) != EOF;) bytes += static_cast<char>(c);
    return bytes;
  }

 private:
  void restore() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }
  std::FILE* file_;
  int saved_ = -1;
};

using FormatWriteTest = CoreTest;

TEST_F(FormatWriteTest, SendsTheTextsBytesAndAnswersTheirCount) {
  constexpr unsigned kWriteLine = kFormatWrite | kFormatLine;
  StdoutCapture capture;
  set_args({"\"%d|%s\"", "42", "\"ab\""});
  expect_answer(format_fn<kWriteLine>, "7");
  set_args({"L\"%s\"", "L\"\\u5bbd\""});
  expect_answer(format_fn<kWriteLine>, "6");
  expect_answer(format_fn<kWriteLine | kFormatAnsi>, "4");  // the wide format made narrow
  EXPECT_EQ(capture.take(), std::string("42|ab\r\n") + std::string("\xBD\x5B\r\0\n\0", 6) +
                                "\xBF\xED\r\n");
}

TEST_F(FormatWriteTest, RejectedCallsWriteNothing) {
  StdoutCapture capture;
  expect_rejected(format_fn<kFormatWrite>, {"\"%d\"", "\"x\""});
  expect_rejected(format_fn<kFormatWrite | kFormatLine>, {"\"%d %d\"", "1"});
  expect_rejected(format_fn<kFormatWrite | kFormatAnsi>, {"L\"%s\""});
  expect_rejected(format_fn<kFormatWrite>, {"5", "1"});
  EXPECT_EQ(capture.take(), "");
}

}  // namespace
