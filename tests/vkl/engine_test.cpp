// The engine seen from C++: what output arguments, rejected calls, callbacks, stop requests and
// errors do to variables, messages and memory.
#include <string>

#include "engine_fixture.h"

namespace {

using vkl::lang::PieceResult;

std::string text_of(const TObject* o) {
  return o && vkl_is_string_tag(o->tag) ? std::string(VKL_AsString(o)) : std::string("<not a string>");
}

TEST_F(EngineTest, OutputArgumentsReachPlainVariablesOnly) {
  ASSERT_EQ(run("ok := t_divmod(17, 5, q, r);"), "");
  EXPECT_EQ(vkl_int(global("q")), 3);
  EXPECT_EQ(vkl_int(global("r")), 2);
  EXPECT_EQ(vkl_int(global("ok")), 1);
  // Locals are moved into the call and back.
  ASSERT_EQ(run("function f(); begin q := \"held\"; t_divmod(17, 5, q, r); return q * 10 + r; end;"
                "x := f();"),
            "");
  EXPECT_EQ(vkl_int(global("x")), 32);
  // The same variable twice, as a global and as a local.
  ASSERT_EQ(run("x := \"old\"; t_label(x, x);"
                "function g(); begin y := \"old\"; t_label(y, y); return y; end; z := g();"),
            "");
  EXPECT_EQ(text_of(global("x")), "right");
  EXPECT_EQ(text_of(global("z")), "right");
  // Table entries and computed values are not written back.
  ASSERT_EQ(run("t := array(\"keep\"); k := \"keep\"; t_label(t[0], k + \"\");"), "");
  ASSERT_EQ(global("t")->tag, VKL_TTABLE);
  EXPECT_EQ(text_of(VKL_HashGetInt(vkl_table(global("t")), 0)), "keep");
  EXPECT_EQ(text_of(global("k")), "keep");
}

TEST_F(EngineTest, RejectedCallLeavesTheTarget) {
  EXPECT_EQ(run("y := 5;\n\ny := T_Reject(1);"), "t.vkl:3: T_Reject: call rejected");
  EXPECT_EQ(vkl_int(global("y")), 5);
}

TEST_F(EngineTest, ArgumentsAreOneContiguousArray) {
  ASSERT_EQ(run("a := t_adjacent(1, \"s\", 2.5);"
                "b := t_adjacent(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);"),
            "");
  EXPECT_EQ(vkl_int(global("a")), 1);
  EXPECT_EQ(vkl_int(global("b")), 1);
}

TEST_F(EngineTest, FunctionValuesAreReachedThroughRawCall2) {
  vkl_test::g_count_calls = 0;
  ASSERT_EQ(run("function sq(x); begin return x * x; end;"
                "a := t_callback(@sq, 7); b := t_callback(@t_count); c := t_callback(@t_callback, @sq, 3);"
                "function bad(); begin return 1 div 0; end; d := t_tolerant(@bad);"),
            "");
  EXPECT_EQ(vkl_int(global("a")), 49);
  EXPECT_EQ(vkl_int(global("b")), 1);
  EXPECT_EQ(vkl_int(global("c")), 9);
  EXPECT_EQ(vkl_int(global("d")), -1);  // a handler that copes with the failure goes on
}

TEST_F(EngineTest, StopRequestEndsTheRun) {
  EXPECT_EQ(run("i := 0;\nwhile 1 do begin i := i + 1; if i = 3 then t_stop(); end;"),
            "t.vkl:2: stopped");
  EXPECT_EQ(vkl_int(global("i")), 3);
  VKL_InterpSetStop(L, 0);
  EXPECT_EQ(run("function spin(n); begin return spin(n); end;\nt_stop(); spin(1);"),
            "t.vkl:2: stopped");
}

std::string repeated(const std::string& piece, int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += piece;
  return s;
}

// Every error names the file and line where it happened; errors half-way through an
// expression, a call or a callback free what was built (the fixture checks the memory).
TEST_F(EngineTest, ErrorsNameTheirPlace) {
  const struct {
    std::string source, error;
  } cases[] = {
      {"\nnope(1);", "t.vkl:2: unknown function nope"},
      {"x := 1;\ny := ;", "t.vkl:2: syntax error: expected an expression, found ';'"},
      {"s := 'open", "t.vkl:1: syntax error: string opened on line 1 is not closed"},
      {"break;", "t.vkl:1: syntax error: break outside a loop"},
      {"for i := \"a\" to 3 do ;", "t.vkl:1: a for bound must be a number, not string"},
      {"function f();\nbegin\n  return nil + 1;\nend;\nf();",
       "t.vkl:3: cannot apply + to nil and integer"},
      {"s := \"abc\"; t := array(s, s, \"k\": array(s));\nx := array(s + s, t, s + (1 div 0));",
       "t.vkl:2: division by zero"},
      {"function f(a, b); begin c := a + b; return c + nil; end; f(\"x\", \"y\");",
       "t.vkl:1: cannot apply + to string and nil"},
      // Errors inside a callback keep their own place.
      {"function bad(); begin\n  return \"s\" - 1;\nend;\nt_callback(@bad);",
       "t.vkl:2: cannot apply - to string and integer"},
      {"function sq(x); begin return x * x; end;\nt_callback(@sq, 1, 2);",
       "t.vkl:1: sq: too many arguments (2 for 1)"},
      {"function f();\nbegin\n  return 1 div 0;\nend;\nt_callback(@t_callback, @f);",
       "t.vkl:3: division by zero"},
      // A handler's function value rejected inside another handler has no place of its own:
      // it is reported at the calling line (it once came out as "?:0:").
      {"x := 1;\nt_callback(@t_reject);", "t.vkl:2: t_reject: call rejected"},
      {"\n\nt_callback(@t_callback, @t_reject, 1);", "t.vkl:3: t_reject: call rejected"},
      {"c := t_counter(1);\nc.Add(t_callback(@t_reject));", "t.vkl:2: t_reject: call rejected"},
      // Methods.
      {"c := t_counter(5);\nc.Nope();", "t.vkl:2: no method Nope for object"},
      {"c := t_counter(5); c.Add(\"x\");", "t.vkl:1: Add: call rejected"},
      {"n := 1; n.Add(1);", "t.vkl:1: no method Add for integer"},
      // Control characters are named by code (a raw NUL once cut the message short).
      {std::string("x := 1;\n\0", 9), "t.vkl:2: syntax error: unexpected control character 0x00"},
      {"x := \x1b;", "t.vkl:1: syntax error: unexpected control character 0x1B"},
      // Depth: of recursion at run time, of nesting and expression height in the source.
      {"function f(n); begin return f(n + 1) + 1; end;\nf(0);", "t.vkl:1: recursion too deep"},
      {"function g(s); begin return g(s + \"x\"); end;\ng(\"\");", "t.vkl:1: recursion too deep"},
      {"x := " + repeated("(", 100000) + "1" + repeated(")", 100000) + ";",
       "t.vkl:1: syntax error: nested too deeply"},
      {repeated("begin ", 100000), "t.vkl:1: syntax error: nested too deeply"},
      {"x := 1" + repeated(" + 1", 5000) + ";", "t.vkl:1: syntax error: expression too complex"},
  };
  for (const auto& c : cases) EXPECT_EQ(run(c.source), c.error) << c.source.substr(0, 80);
  EXPECT_EQ(run("x := 1;"), "");
}

TEST_F(EngineTest, MemoryComesBackAfterStringsTablesAndFunctions) {
  ASSERT_EQ(run("s := \"\"; for i := 1 to 100 do s := s + \"ab\";"
                "t := array(); for i := 0 to 99 do t[i] := s;"
                "u := array(\"k\": t, \"w\": L\"宽\", \"b\": b\"x\", \"self\": 1);"
                "function f(x); begin local := x + \"!\"; return local; end; v := f(s); g := @f;"),
            "");
  EXPECT_GT(VKL_GetMemUsed(L), 200 * 100);
}

TEST_F(EngineTest, InteractivePiecesShowValuesAndAskForMore) {
  std::string error;
  EXPECT_EQ(engine->run_piece("x := 2;\nx * 3;\n\"日\";", "<stdin>", &error), PieceResult::Ok);
  EXPECT_EQ(output(), "6\n\"日\"\n");
  EXPECT_EQ(engine->run_piece("if x then\n", "<stdin>", &error), PieceResult::Incomplete);
  EXPECT_EQ(engine->run_piece("function f(a);\nbegin\n", "<stdin>", &error), PieceResult::Incomplete);
  EXPECT_EQ(engine->run_piece("x := ;", "<stdin>", &error), PieceResult::Error);
  EXPECT_EQ(engine->run_piece("y := 1 div 0;", "<stdin>", &error), PieceResult::Error);
  EXPECT_EQ(error, "<stdin>:1: division by zero");
}

TEST_F(EngineTest, RedeclaredFunctionsReachCallsResolvedBefore) {
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

TEST_F(EngineTest, TestRunnerCountsChecksAndGoesOnAfterErrors) {
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

TEST_F(EngineTest, ArgumentsOfACaughtRejectionComeBack) {
  const vkl::lang::TestTally t = engine->run_tests(
      "function f(); begin s := \"keep\"; checkfail(t_reject(s)); return s; end;\n"
      "check(f(), \"scribbled\");\n"
      "function g(); begin s := \"keep\"; checkfail(t_divmod(1, 0, s, s)); return s; end;\n"
      "check(g(), \"keep\");\n",
      "t.vkl");
  EXPECT_EQ(t.passed, 4) << output();
  EXPECT_EQ(t.failed, 0);
}

TEST_F(EngineTest, TestSyntaxErrorIsOneFailureAndStopIsNotCaught) {
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
