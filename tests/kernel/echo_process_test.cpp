// Echo capture (payload accounting, the buffer handed to the cell, limits) and the process
// parameters (command-line quoting, ranges, error messages).
#include <cstring>
#include <string>

#include "kernel_fixture.h"
#include "vkl/echo.h"
#include "vkl/process.h"

namespace {

using EchoCapture = KernelTest;

TEST_F(EchoCapture, CapturedTextIsCountedAndHandedToTheCell) {
  TObject& answer = cells[0];
  EXPECT_EQ(VKL_EchoWrite(L, "x", 1), 0) << "not capturing";
  ASSERT_EQ(VKL_SetEchoStream(L, nullptr, 0, &answer), 1);
  EXPECT_EQ(vkl_int(&answer), 1);
  const std::string line(1000, 'a');
  for (int i = 0; i < 50; ++i) ASSERT_EQ(VKL_EchoWrite(L, line.data(), 1000), 1);
  EXPECT_GE(VKL_GetMemUsed(L), 50000);
  ASSERT_EQ(VKL_UnsetEchoStream(L, &answer), 1);
  EXPECT_EQ(VKL_isEchoRedirect(L), 0);
  ASSERT_EQ(answer.tag, VKL_TSTRING);
  EXPECT_EQ(VKL_StringLen(&answer), 50000);
  // The cell owns exactly the text and its zero: nothing more stays counted.
  EXPECT_EQ(VKL_GetMemUsed(L), 50001);
  VKL_FreeObjectContent(L, &answer);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

TEST_F(EchoCapture, TextOverTheMemoryLimitIsRefusedAndTheCaptureGoesOn) {
  VKL_SetEchoStream(L, nullptr, 0, nullptr);
  VKL_SetMemLimit(L, 4096);
  ASSERT_EQ(VKL_EchoWrite(L, "kept\n", 5), 1);
  const std::string big(8192, 'b');
  EXPECT_EQ(VKL_EchoWrite(L, big.data(), static_cast<int64_t>(big.size())), 0);
  EXPECT_EQ(VKL_EchoWrite(L, nullptr, 3), 0);
  EXPECT_EQ(VKL_EchoWrite(L, "x", -1), 0);
  EXPECT_EQ(VKL_EchoWrite(L, "more", 4), 1);
  VKL_SetMemLimit(L, -1);
  ASSERT_EQ(VKL_UnsetEchoStream(L, &cells[0]), 1);
  EXPECT_STREQ(VKL_AsString(&cells[0]), "kept\nmore");
}

TEST_F(EchoCapture, UnsetReplacesWhatTheCellHeldAndAStateMayDieCapturing) {
  VKL_SetString(L, &cells[0], "old value");
  ASSERT_EQ(VKL_UnsetEchoStream(L, &cells[0]), 1);
  EXPECT_STREQ(VKL_AsString(&cells[0]), "");
  VKL_State* other = VKL_NewState();
  VKL_SetEchoStream(other, nullptr, 0, nullptr);
  EXPECT_EQ(VKL_isEchoRedirect(L), 0) << "capture is per state";
  EXPECT_EQ(VKL_EchoWrite(other, "lost with the state", 19), 1);
  VKL_FreeState(other);
}

TEST(ProcessParams, CommandLineQuotesWhatTheSplittingRulesWouldChange) {
  const char* argv[] = {"/bin/prog", "plain", "a b", "", "q\"x", "tail\\", "c:\\d\\ x\\", "t\\\"u v"};
  VKL_SetProcessParams(8, argv);
  EXPECT_STREQ(VKL_CmdLine(),
               "/bin/prog plain \"a b\" \"\" \"q\\\"x\" tail\\ \"c:\\d\\ x\\\\\" \"t\\\\\\\"u v\"");
  EXPECT_EQ(VKL_ParamCount(), 7);
  EXPECT_EQ(VKL_SysParamCount(), 7);
  EXPECT_STREQ(VKL_ParamStr(0), "/bin/prog");
  EXPECT_STREQ(VKL_ParamStr(3), "");
  EXPECT_STREQ(VKL_ParamStr(7), "t\\\"u v");
  EXPECT_STREQ(VKL_ParamStr(8), "");
  EXPECT_STREQ(VKL_ParamStr(-1), "");
  VKL_SetProcessParams(0, nullptr);
  EXPECT_EQ(VKL_ParamCount(), 0);
  EXPECT_STREQ(VKL_CmdLine(), "");
}

TEST(ProcessParams, ErrorMessagesAreCutToTheBuffer) {
  char buffer[64];
  ASSERT_EQ(VKL_SysErrorMessage(2, buffer, sizeof buffer), 1);
  EXPECT_STREQ(buffer, "No such file or directory");
  ASSERT_EQ(VKL_SysErrorMessage(2, buffer, 5), 1);
  EXPECT_STREQ(buffer, "No s");
  ASSERT_EQ(VKL_SysErrorMessage(2, buffer, 1), 1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(VKL_SysErrorMessage(2, buffer, 0), 0);
  EXPECT_EQ(VKL_SysErrorMessage(2, nullptr, 10), 0);
}

}  // namespace
