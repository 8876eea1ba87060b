#!/bin/sh
# Command-line cases of the vkl program: cli_test.sh VKL CASE (run from tests/vkl/data).
vkl="$1"
case_name="$2"
out=$(mktemp)
err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT
failures=0

fail() {
  echo "FAIL: $*"
  echo "--- stdout"; cat "$out"
  echo "--- stderr"; cat "$err"
  failures=$((failures + 1))
}

# expect STATUS COMMAND...: runs the command, its output in $out and $err.
expect() {
  want="$1"
  shift
  "$@" >"$out" 2>"$err"
  got=$?
  [ "$got" -eq "$want" ] || fail "exit $got, expected $want: $*"
}

stdout_is() { [ "$(cat "$out")" = "$1" ] || fail "stdout is not '$1'"; }
stderr_has() { grep -qF -- "$1" "$err" || fail "stderr lacks '$1'"; }
stdout_has() { grep -qF -- "$1" "$out" || fail "stdout lacks '$1'"; }

case "$case_name" in
exit_codes)
  expect 0 "$vkl" -e 'echo 1 + 1;'
  stdout_is 2
  expect 1 "$vkl" -e 'echo "before";
x := 1 div 0;'
  stdout_is before
  stderr_has '-e:2: division by zero'
  expect 0 "$vkl" -e 'echo 1; return; echo 2;'
  stdout_is 1
  expect 1 "$vkl" -e 'x := ;'
  stderr_has '-e:1: syntax error'
  expect 2 "$vkl" --no-such-option
  stderr_has 'usage: vkl'
  expect 2 "$vkl" -e
  expect 2 "$vkl" missing-file.vkl
  stderr_has 'cannot read missing-file.vkl'
  expect 2 "$vkl" --config /nonexistent/vkl.ini -e 'echo 1;'
  expect 2 "$vkl" --deny sys,flying -e 'echo 1;'
  expect 0 "$vkl" --user somebody --deny sys,write,highlevel,class -e 'echo 1;'
  expect 2 "$vkl" --plugin /nonexistent/lib.so -e 'echo 1;'
  VKL_CONFIG=/nonexistent/vkl.ini expect 2 "$vkl" -e 'echo 1;'
  expect 0 "$vkl" --help
  stdout_has 'usage: vkl'
  ;;
list_and_help)
  expect 0 "$vkl" --list cy_
  [ -s "$out" ] || fail "--list cy_ printed nothing"
  grep -v '^cy_' "$out" && fail "--list cy_ printed other names"
  grep -qx cy_day "$out" || fail "--list cy_ lacks cy_day"
  sorted_first=$(head -n 1 "$out")
  all=$(mktemp)
  "$vkl" --list > "$all"
  [ "$(grep -c '^cy_' "$all")" -eq "$(wc -l < "$out")" ] || fail "--list and --list cy_ disagree"
  [ "$(grep '^cy_' "$all" | head -n 1)" = "$sorted_first" ] || fail "--list is not in registration order"
  rm -f "$all"
  expect 0 "$vkl" --list CY_DAY
  stdout_is cy_day
  expect 0 "$vkl" --help ifint
  stdout_has 'ifint('
  expect 1 "$vkl" --help no_such_function
  stderr_has 'unknown function no_such_function'
  ;;
code_and_stdin)
  expect 0 "$vkl" args.vkl one two
  stdout_is ran
  printf 'echo "from stdin";\n' | "$vkl" >"$out" 2>"$err" || fail "stdin script failed"
  stdout_is 'from stdin'
  expect 0 "$vkl" -e 'echo cy_day(), L"宽", "日线" = cy_day(), 2.5, nil, array("k": "v"); echo; echo 3;'
  stdout_is '日线 宽 1 2.5 nil array("k": "v")

3'
  ;;
test_runner)
  expect 0 "$vkl" --test passing.vkl
  [ "$(tail -n 1 "$out")" = "2 passed, 0 failed" ] || fail "bad summary for passing.vkl"
  expect 1 "$vkl" --test failing.vkl passing.vkl
  stdout_has 'failing.vkl:2: check failed: got "x", expected "y"'
  stdout_has 'failing.vkl:3: cannot apply + to nil and integer'
  [ "$(tail -n 1 "$out")" = "4 passed, 2 failed" ] || fail "bad summary for two files"
  expect 1 "$vkl" --test missing-file.vkl
  [ "$(tail -n 1 "$out")" = "0 passed, 1 failed" ] || fail "a missing test file must fail"
  ;;
rights)
  expect 0 "$vkl" -e 'm := vk_mutex("vkl_cli_rights", 0);'
  expect 0 "$vkl" --user somebody_else -e 'm := vk_mutex("vkl_cli_rights", 0);'
  expect 1 "$vkl" --deny highlevel -e 'm := vk_mutex("vkl_cli_rights", 0);'
  stderr_has '-e:1: vk_mutex: call rejected'
  expect 0 "$vkl" --deny sys,write,class -e 'm := vk_mutex("vkl_cli_rights", 0);'
  ;;
interrupt)
  "$vkl" -e 'while 1 do ;' >"$out" 2>"$err" &
  pid=$!
  sleep 1
  kill -INT "$pid"
  wait "$pid"
  got=$?
  [ "$got" -eq 1 ] || fail "interrupted run exited $got"
  stderr_has '-e:1: stopped'
  ;;
repl)
  # The interactive reader on a terminal (script(1) gives it one): each expression's value in
  # literal form, errors reported and the session going on, history kept in $HOME.
  home=$(mktemp -d)
  printf 'x := 1 + 2;\nx * 10;\narray(1, "k": L"w");\nnosuch(1);\n"still here";\n' |
    HOME="$home" script -qec "$vkl" /dev/null >"$out" 2>"$err"
  got=$?
  [ "$got" -eq 0 ] || fail "interactive session exited $got"
  stdout_has '30'
  stdout_has 'array(1, "k": L"w")'
  stdout_has 'unknown function nosuch'
  stdout_has '"still here"'
  grep -qF 'nosuch(1);' "$home/.vkl_history" || fail "history lacks the lines typed"
  rm -rf "$home"
  ;;
*)
  echo "unknown case $case_name"
  exit 2
  ;;
esac
[ "$failures" -eq 0 ]
