// The engine seen from C++: what output arguments, rejected calls, callbacks, stop requests and
// errors do to variables, messages and memory.
#include <string>

#include "engine_fixture.h"
#include "handlers.h"

namespace {

using vkl::lang::PieceResult;

std::string text_of(const TObject* o) {
  return o && vkl_is_string_tag(o->tag) ? std::string(VKL_AsString(o)) : std::string("<not a string>");
}

class CallTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    vkl_test::register_test_handlers();
  }
  void TearDown() override {
    VKL_InterpSetStop(L, 0);
    EngineTest::TearDown();
  }
};

TEST_F(CallTest, OutputArgumentsReachPlainVariables) {
  ASSERT_EQ(run("ok := t_divmod(17, 5, q, r);"), "");
  EXPECT_EQ(vkl_int(global("q")), 3);
  EXPECT_EQ(vkl_int(global("r")), 2);
  EXPECT_EQ(vkl_int(global("ok")), 1);
  // Locals are moved into the call and back.
  ASSERT_EQ(run("function f(); begin q := \"held\"; t_divmod(17, 5, q, r); return q * 10 + r; end;"
                "x := f();"),
            "");
  EXPECT_EQ(vkl_int(global("x")), 32);
}

TEST_F(CallTest, SameVariableTwiceIsSafe) {
  ASSERT_EQ(run("x := \"old\"; t_label(x, x);"), "");
  EXPECT_EQ(text_of(global("x")), "right");
  ASSERT_EQ(run("function f(); begin y := \"old\"; t_label(y, y); return y; end; z := f();"), "");
  EXPECT_EQ(text_of(global("z")), "right");
}

TEST_F(CallTest, OnlyPlainVariablesReceiveArguments) {
  ASSERT_EQ(run("t := array(\"keep\"); k := \"keep\"; t_label(t[0], k + \"\");"), "");
  const TObject* t = global("t");
  ASSERT_EQ(t->tag, VKL_TTABLE);
  EXPECT_EQ(text_of(VKL_HashGetInt(vkl_table(t), 0)), "keep");
  EXPECT_EQ(text_of(global("k")), "keep");
}

TEST_F(CallTest, RejectedCallLeavesTheTargetAndNamesFileLineAndFunction) {
  EXPECT_EQ(run("y := 5;\n\ny := T_Reject(1);"), "t.vkl:3: T_Reject: call rejected");
  EXPECT_EQ(vkl_int(global("y")), 5);
  EXPECT_EQ(run("\nnope(1);"), "t.vkl:2: unknown function nope");
}

TEST_F(CallTest, ArgumentsAreOneContiguousArray) {
  ASSERT_EQ(run("a := t_adjacent(1, \"s\", 2.5);"
                "b := t_adjacent(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);"),
            "");
  EXPECT_EQ(vkl_int(global("a")), 1);
  EXPECT_EQ(vkl_int(global("b")), 1);
}

TEST_F(CallTest, FunctionValuesAreReachedThroughRawCall2) {
  vkl_test::g_count_calls = 0;
  ASSERT_EQ(run("function sq(x); begin return x * x; end;"
                "a := t_callback(@sq, 7); b := t_callback(@t_count); c := t_callback(@t_callback, @sq, 3);"),
            "");
  EXPECT_EQ(vkl_int(global("a")), 49);
  EXPECT_EQ(vkl_int(global("b")), 1);
  EXPECT_EQ(vkl_int(global("c")), 9);
}

TEST_F(CallTest, CallbackErrorsKeepTheirPlaceUnlessTheHandlerCopes) {
  EXPECT_EQ(run("function bad(); begin\n  return \"s\" - 1;\nend;\nt_callback(@bad);"),
            "t.vkl:2: cannot apply - to string and integer");
  EXPECT_EQ(run("function sq(x); begin return x * x; end;\nt_callback(@sq, 1, 2);"),
            "t.vkl:1: sq: too many arguments (2 for 1)");
  ASSERT_EQ(run("function bad2(); begin return 1 div 0; end; r := t_tolerant(@bad2);"), "");
  EXPECT_EQ(vkl_int(global("r")), -1);
  EXPECT_EQ(run("s := \"after\";"), "");
}

TEST_F(CallTest, StopRequestEndsTheRun) {
  EXPECT_EQ(run("i := 0;\nwhile 1 do begin i := i + 1; if i = 3 then t_stop(); end;"),
            "t.vkl:2: stopped");
  EXPECT_EQ(vkl_int(global("i")), 3);
  VKL_InterpSetStop(L, 0);
  EXPECT_EQ(run("function spin(n); begin return spin(n); end;\nt_stop(); spin(1);"),
            "t.vkl:2: stopped");
}

TEST_F(CallTest, MethodsOfNamedObjects) {
  ASSERT_EQ(run("c := t_counter(5); a := c.Add(2); b := c.Add(3);"), "");
  EXPECT_EQ(vkl_int(global("a")), 7);
  EXPECT_EQ(vkl_int(global("b")), 10);
  EXPECT_EQ(run("\nc.Nope();"), "t.vkl:2: no method Nope for object");
  EXPECT_EQ(run("c.Add(\"x\");"), "t.vkl:1: Add: call rejected");
  EXPECT_EQ(run("n := 1; n.Add(1);"), "t.vkl:1: no method Add for integer");
}

class ErrorTest : public EngineTest {};

TEST_F(ErrorTest, MessagesCarryTheLineWhereTheErrorHappened) {
  EXPECT_EQ(run("x := 1;\ny := ;"), "t.vkl:2: syntax error: expected an expression, found ';'");
  EXPECT_EQ(run("function f();\nbegin\n  return nil + 1;\nend;\nf();"),
            "t.vkl:3: cannot apply + to nil and integer");
  EXPECT_EQ(run("s := 'open"), "t.vkl:1: syntax error: string opened on line 1 is not closed");
  EXPECT_EQ(run("break;"), "t.vkl:1: syntax error: break outside a loop");
  EXPECT_EQ(run("for i := \"a\" to 3 do ;"), "t.vkl:1: a for bound must be a number, not string");
}

TEST_F(ErrorTest, ErrorsHalfwayThroughAnExpressionFreeEverything) {
  EXPECT_EQ(run("s := \"abc\"; t := array(s, s, \"k\": array(s));\nx := array(s + s, t, s + (1 div 0));"),
            "t.vkl:2: division by zero");
  EXPECT_EQ(run("function f(a, b); begin c := a + b; return c + nil; end; f(\"x\", \"y\");"),
            "t.vkl:1: cannot apply + to string and nil");
}

TEST_F(ErrorTest, DeepRecursionFailsCleanly) {
  EXPECT_EQ(run("function f(n); begin return f(n + 1) + 1; end;\nf(0);"),
            "t.vkl:1: recursion too deep");
  EXPECT_EQ(run("function g(s); begin return g(s + \"x\"); end;\ng(\"\");"),
            "t.vkl:1: recursion too deep");
  EXPECT_EQ(run("x := 1;"), "");
}

TEST_F(ErrorTest, DeeplyNestedSourceIsRefused) {
  const std::string parens = "x := " + std::string(100000, '(') + "1" + std::string(100000, ')') + ";";
  EXPECT_EQ(run(parens), "t.vkl:1: syntax error: nested too deeply");
  std::string sum = "x := 1";
  for (int i = 0; i < 5000; ++i) sum += " + 1";
  EXPECT_EQ(run(sum + ";"), "t.vkl:1: syntax error: expression too complex");
  std::string blocks;
  for (int i = 0; i < 100000; ++i) blocks += "begin ";
  EXPECT_EQ(run(blocks), "t.vkl:1: syntax error: nested too deeply");
}

TEST_F(EngineTest, MemoryComesBackAfterStringsTablesAndFunctions) {
  ASSERT_EQ(run("s := \"\"; for i := 1 to 100 do s := s + \"ab\";"
                "t := array(); for i := 0 to 99 do t[i] := s;"
                "u := array(\"k\": t, \"w\": L\"宽\", \"b\": b\"x\", \"self\": 1);"
                "function f(x); begin local := x + \"!\"; return local; end; v := f(s); g := @f;"),
            "");
  EXPECT_GT(VKL_GetMemUsed(L), 200 * 100);
}

TEST_F(EngineTest, EchoWritesDisplayFormsInUtf8) {
  ASSERT_EQ(run("echo 1, 2.5, \"日线\", L\"宽\", nil, array(\"k\": \"v\");\necho;"), "");
  EXPECT_EQ(output(), "1 2.5 日线 宽 nil array(\"k\": \"v\")\n\n");
}

TEST_F(EngineTest, InteractivePiecesShowValuesAndAskForMore) {
  std::string error;
  EXPECT_EQ(engine->run_piece("x := 2;\nx * 3;\n\"日\";", "<stdin>", &error), PieceResult::Ok);
  EXPECT_EQ(output(), "6\n\"日\"\n");
  EXPECT_EQ(engine->run_piece("if x then\n", "<stdin>", &error), PieceResult::Incomplete);
  EXPECT_EQ(engine->run_piece("function f(a);\nbegin\n", "<stdin>", &error), PieceResult::Incomplete);
  EXPECT_EQ(engine->run_piece("x := ;", "<stdin>", &error), PieceResult::Error);
  EXPECT_EQ(engine->run_piece("function f(a); begin return a + 1; end;", "<stdin>", &error),
            PieceResult::Ok);
  EXPECT_EQ(engine->run_piece("y := f(1) + 1 div 0;", "<stdin>", &error), PieceResult::Error);
  EXPECT_EQ(error, "<stdin>:1: division by zero");
}

TEST_F(CallTest, RedeclaredFunctionsReachCallsResolvedBefore) {
  std::string error;
  vkl_test::g_count_calls = 0;
  ASSERT_EQ(engine->run_piece("function f(); begin return 1; end;"
                              "function g(); begin return f() * 10 + t_count(); end;"
                              "a := g();", "<stdin>", &error), PieceResult::Ok);
  ASSERT_EQ(engine->run_piece("function f(); begin return 2; end;"
                              "function t_count(); begin return 5; end; b := g();",
                              "<stdin>", &error),
            PieceResult::Ok);
  EXPECT_EQ(vkl_int(global("a")), 11);
  EXPECT_EQ(vkl_int(global("b")), 25);
}

class TestRunnerTest : public CallTest {};

TEST_F(TestRunnerTest, CountsChecksAndGoesOnAfterErrors) {
  vkl_test::g_count_calls = 0;
  const vkl::lang::TestTally t = engine->run_tests(
      "check(1, 1);\ncheck(1, 2);\nx := 1 div 0;\ncheckfail(t_reject());\n"
      "checkfail(t_count());\ncheck(\"a\", L\"a\");\ncheckfail(1 div 0);\n"
      "checknear(1.0, 1.05, 0.1);\nchecknear(1, 2, 0.5);\nchecknear(\"1\", 1, 1);\n",
      "t.vkl");
  EXPECT_EQ(t.passed, 4);
  EXPECT_EQ(t.failed, 6);
  EXPECT_EQ(output(),
            "t.vkl:2: check failed: got 1, expected 2\n"
            "t.vkl:3: division by zero\n"
            "t.vkl:5: check failed: got 1, expected the call to fail\n"
            "t.vkl:6: check failed: got \"a\", expected L\"a\"\n"
            "t.vkl:9: check failed: got 1, expected 2 within 0.5\n"
            "t.vkl:10: check failed: got \"1\", expected 1 within 1\n");
}

TEST_F(TestRunnerTest, ArgumentsOfACaughtRejectionComeBack) {
  const vkl::lang::TestTally t = engine->run_tests(
      "function f(); begin s := \"keep\"; checkfail(t_reject(s)); return s; end;\n"
      "check(f(), \"scribbled\");\n"
      "function g(); begin s := \"keep\"; checkfail(t_divmod(1, 0, s, s)); return s; end;\n"
      "check(g(), \"keep\");\n",
      "t.vkl");
  EXPECT_EQ(t.passed, 4) << output();
  EXPECT_EQ(t.failed, 0);
}

TEST_F(TestRunnerTest, SyntaxErrorIsOneFailureAndStopIsNotCaught) {
  vkl::lang::TestTally t = engine->run_tests("check(1, 1);\ncheck(1 +);\n", "t.vkl");
  EXPECT_EQ(t.passed, 0);
  EXPECT_EQ(t.failed, 1);
  t = engine->run_tests(
      "function spin(); begin t_stop(); while 1 do ; end;\ncheck(1, 1);\n"
      "checkfail(spin());\ncheck(2, 2);\n",
      "u.vkl");
  EXPECT_EQ(t.passed, 1);
  EXPECT_EQ(t.failed, 1);
  EXPECT_NE(output().find("u.vkl:1: stopped\n"), std::string::npos);
}

}  // namespace
