// What only C++ sees of the process functions: descriptors and children left behind after many
// starts, the exit information of a rejected start, and the command-line splitting rules.
#include <dirent.h>
#include <sys/wait.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "system/command_line.h"
#include "system/exec_state.h"
#include "system/handles.h"
#include "system/process.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace vkl::system;

int open_descriptors() {
  int count = 0;
  DIR* dir = opendir("/proc/self/fd");
  while (dirent* e = readdir(dir))
    if (e->d_name[0] != '.') ++count;
  closedir(dir);
  return count;
}

class ProcessTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    VKL_SetUserRights(VKL_GetUserNameFromL(L), VKL_RIGHT_ALL);
  }

  // Calls the handler with the literals and returns the result as an integer.
  int64_t call_int(VKL_Handler handler, std::initializer_list<const char*> literals) {
    set_args(literals);
    EXPECT_EQ(call(handler), 1);
    return VKL_AsInt64(&result);
  }

  // sysexec(program, commandline, 0, options, info) with the info cell kept in args[4].
  intptr_t start(const char* program, const char* commandline, const char* options) {
    set_args({program, commandline, "0", options, "nil"});
    EXPECT_EQ(call(sysexec), 1);
    return VKL_AsIntPtr(&result);
  }
};

TEST_F(ProcessTest, ThousandStartsWithPipesLeaveNoDescriptorOrChild) {
  const int before = open_descriptors();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(call_int(sysexecnewpipe, {}), 1);
    const bool wait = i % 2 == 0;
    const intptr_t h =
        start("\"/bin/sh\"", "array(\"sh\", \"-c\", \"printf x\")", wait ? "1" : "0");
    ASSERT_GT(h, 0) << "start " << i;
    if (wait) {
      TObject* out = VKL_HashGetSZString(vkl_table(&args[4]), "out");
      ASSERT_NE(out, nullptr);
      EXPECT_STREQ(VKL_AsString(out), "x");
    } else {
      ASSERT_EQ(wait_handle(h, 5000), kWaitAcquired);
    }
    ASSERT_EQ(close_handle(h), 1);
  }
  ASSERT_EQ(call_int(sysexecdeletepipe, {"0"}), 1);
  EXPECT_EQ(open_descriptors(), before);
  siginfo_t info{};
  EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProcessTest, ClosingARunningChildReapsItOnceItEnds) {
  const int before = open_descriptors();
  const intptr_t h = start("\"/bin/sh\"", "array(\"sh\", \"-c\", \"sleep 0.1\")", "0");
  ASSERT_GT(h, 0);
  ASSERT_EQ(close_handle(h), 1);
  EXPECT_EQ(wait_handle(h, 0), kWaitFailed);
  siginfo_t info{};
  for (int i = 0; i < 200 && waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0; ++i)
    usleep(10000);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ProcessTest, RejectedStartLeavesExitInfoAndPipesAlone) {
  ASSERT_EQ(call_int(sysexecnewpipe, {"1"}), 1);
  set_args({"\"/bin/true\"", "\"true\"", "0", "array(\"wait\": 1, \"in\": \"x\")", "\"kept\""});
  expect_rejected_now(sysexec);
  EXPECT_STREQ(VKL_AsString(&args[4]), "kept");
  set_args({"\"/bin/true\"", "\"true\"", "7", "1", "\"kept\""});
  expect_rejected_now(sysexec);
  EXPECT_STREQ(VKL_AsString(&args[4]), "kept");
  EXPECT_EQ(call_int(sysexecdeletepipe, {"0"}), 1);
}

TEST_F(ProcessTest, TerminatedChildReportsTheGivenExitCode) {
  const intptr_t h = start("\"/bin/sleep\"", "\"sleep 30\"", "0");
  ASSERT_GT(h, 0);
  int code = 0;
  EXPECT_FALSE(process_exit_code(h, &code));
  set_args({"42", std::to_string(h).c_str()});
  EXPECT_EQ(call(systerminate), 1);
  ASSERT_EQ(wait_handle(h, 5000), kWaitAcquired);
  ASSERT_TRUE(process_exit_code(h, &code));
  EXPECT_EQ(code, 42);
  EXPECT_EQ(close_handle(h), 1);
}

TEST_F(ProcessTest, PendingPipesBelongToTheirThread) {
  ASSERT_EQ(call_int(sysexecnewpipe, {}), 1);
  int elsewhere = -1;
  std::thread([&] {
    TObject no_args;
    TObject answer;
    vkl_put_nil(&answer);
    elsewhere = sysexecreadpipe(L, &no_args, 0, &answer);
    VKL_FreeObjectContent(L, &answer);
  }).join();
  EXPECT_EQ(elsewhere, 0);
  EXPECT_EQ(call_int(sysexecdeletepipe, {}), 1);
}

TEST_F(ProcessTest, ALongSleepEndsOnAStopRequest) {
  VKL_InterpSetStop(L, 1);
  set_args({"600000"});
  EXPECT_EQ(call(vkl::system::sleep), 1);
  VKL_InterpSetStop(L, 0);
}

TEST(CommandLine, SplitsByTheQuotingRules) {
  using Args = std::vector<std::string>;
  const auto split = [](std::string_view line) { return split_command_line(line, false); };
  EXPECT_EQ(split(""), Args{});
  EXPECT_EQ(split("  \t "), Args{});
  EXPECT_EQ(split("prog a  b\tc"), (Args{"prog", "a", "b", "c"}));
  // the program name knows no escapes outside quotes
  EXPECT_EQ(split("C:\\dir\\\"x y\" z"), (Args{"C:\\dir\\x y", "z"}));
  EXPECT_EQ(split("p \"a b\"c \"\""), (Args{"p", "a bc", ""}));
  // outside quotes: backslashes literal unless before a quote; 2n -> n and a grouping quote,
  // 2n+1 -> n and "
  EXPECT_EQ(split("p a\\\\b \\\\\"x y\" \\\"q"), (Args{"p", "a\\\\b", "\\x y", "\"q"}));
  // inside quotes: "" is ", the run before the closing quote is one fewer, others literal
  EXPECT_EQ(split("p \"a\"\"b\" \"open end"), (Args{"p", "a\"b", "open end"}));
  EXPECT_EQ(split("p \"a\\\\\" \"x\\y\\\"\"\""), (Args{"p", "a\\", "x\\y\\\""}));
  EXPECT_EQ(split("p trail\\"), (Args{"p", "trail\\"}));
}

// Quoting then splitting gives back every non-empty argument list, the program included.
TEST(CommandLine, QuotedArgumentsSplitBackIntoThemselves) {
  const std::vector<std::vector<std::string>> lists = {
      {"prog", "a b", "c\"d", "e\\", "x\\y z", "\"", "plain", "tab\there"},
      {"a\\\"b", "a\\\\\"b", "e\\\\", "e\\\\\\", "\\", "\\\\", "\"\\", "x\"", "\"\"", "a b\\\\"},
      {"C:\\dir x\\", "\"q\" \\\"", "\\\"", " ", "\t\\"},
  };
  for (const auto& args : lists) {
    std::string line;
    for (const std::string& a : args) append_quoted_argument(&line, a, false);
    EXPECT_EQ(split_command_line(line, false), args) << line;
  }
  std::string line;
  append_quoted_argument(&line, "a b", false);
  append_quoted_argument(&line, "c\"d", false);
  append_quoted_argument(&line, "e\\", false);
  EXPECT_EQ(line, "\"a b\" \"c\"\"d\" \"e\\\\\"");
  line.clear();
  append_quoted_argument(&line, "", false);
  EXPECT_EQ(line, "");
}

// In the host code page GBK, a double-byte character whose trail byte is a backslash is one
// character: it is neither doubled at the end of an argument nor an escape before a quote.
TEST(CommandLine, DoubleByteTrailBackslashesAreNotBackslashes) {
  const int saved = VKL_GetCodePage();
  ASSERT_TRUE(VKL_SetCodePage(936));
  const std::string trail = "\x84\x5C";  // one GBK character
  const std::vector<std::string> args = {"p" + trail, trail, "a " + trail, trail + "\"x",
                                         trail + "\\", trail + "\\ " + trail};
  std::string line;
  for (const std::string& a : args) append_quoted_argument(&line, a, true);
  EXPECT_EQ(line.substr(0, 6), "p" + trail + " " + trail) << "bare, nothing doubled";
  EXPECT_EQ(split_command_line(line, true), args) << line;
  EXPECT_NE(split_command_line(line, false), args) << "bytes alone would misread it";
  VKL_SetCodePage(saved);
}

}  // namespace
