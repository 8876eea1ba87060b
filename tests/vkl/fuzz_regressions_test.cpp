// Faults the fuzz tests found, each pinned down by the smallest script that showed it.
#include "engine_fixture.h"
#include "handlers.h"

namespace {

class FuzzRegressionTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    vkl_test::register_test_handlers();
  }
};

// A handler's function value rejected inside another handler had no script place and was
// reported as "?:0:".
TEST_F(FuzzRegressionTest, RejectedHandlerValueIsReportedAtTheCallingLine) {
  EXPECT_EQ(run("x := 1;\nt_callback(@t_reject);"), "t.vkl:2: t_reject: call rejected");
  EXPECT_EQ(run("\n\nt_callback(@t_callback, @t_reject, 1);"), "t.vkl:3: t_reject: call rejected");
  EXPECT_EQ(run("c := t_counter(1);\nc.Add(t_callback(@t_reject));"),
            "t.vkl:2: t_reject: call rejected");
  // Script functions keep the place of the error inside them.
  EXPECT_EQ(run("function f();\nbegin\n  return 1 div 0;\nend;\nt_callback(@t_callback, @f);"),
            "t.vkl:3: division by zero");
}

// Control characters were quoted raw, a NUL byte cutting the message short where it was shown.
TEST_F(FuzzRegressionTest, ControlCharactersAreNamedByTheirCode) {
  EXPECT_EQ(run(std::string("x := 1;\n\0", 9)), "t.vkl:2: syntax error: unexpected control character 0x00");
  EXPECT_EQ(run("x := \x1b;"), "t.vkl:1: syntax error: unexpected control character 0x1B");
}

}  // namespace
