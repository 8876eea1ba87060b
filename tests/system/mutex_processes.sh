#!/bin/sh
# The named mutex between vkl processes: mutex_processes.sh VKL.
# A holder keeps the data mutex (taken twice, given back once) and then blocks on a mutex that
# a waiter keeps; the waiter blocks on the data mutex. A third process sees exclusion and a
# time-out; when the holder is killed the waiter gets the data mutex as abandoned, and after
# the waiter ends holding it, the next process gets it as abandoned too.
vkl="$1"
name="mutex_processes_$$"
dir=$(mktemp -d)
holder=""
waiter=""
cleanup() {
  [ -n "$holder" ] && kill -9 "$holder" 2>/dev/null
  [ -n "$waiter" ] && kill -9 "$waiter" 2>/dev/null
  rm -rf "$dir"
  rm -f /dev/shm/*"$name"*
}
trap cleanup EXIT
failures=0
fail() {
  echo "FAIL: $*"
  for f in "$dir"/*.out; do echo "--- $f"; cat "$f"; done
  failures=$((failures + 1))
}

# wait_for FILE TEXT: until the file shows the text (at most about 20 seconds).
wait_for() {
  tries=0
  until grep -q "$2" "$1" 2>/dev/null; do
    tries=$((tries + 1))
    [ "$tries" -gt 200 ] && return 1
    sleep 0.1
  done
}

"$vkl" -e "
b := vk_mutex(\"${name}_block\");
formatwriteln(\"%s\", \"block held\");
d := vk_mutex(\"${name}_data\", 0);
while d.Wait(0) = 0 do d.Release();
formatwriteln(\"%d\", d.Wait(-1));
" >"$dir/waiter.out" 2>&1 &
waiter=$!
wait_for "$dir/waiter.out" "block held" || fail "the waiter did not take its mutex"

"$vkl" -e "
d := vk_mutex(\"${name}_data\");
d.Wait(0);
d.Release();
formatwriteln(\"%s\", \"data held\");
b := vk_mutex(\"${name}_block\");
formatwriteln(\"%s\", \"never\");
" >"$dir/holder.out" 2>&1 &
holder=$!
wait_for "$dir/holder.out" "data held" || fail "the holder did not take the data mutex"

got=$("$vkl" -e "d := vk_mutex(\"${name}_data\", 0); echo d.Wait(200), d.Release();")
[ "$got" = "258 0" ] || fail "a third process got '$got' while the data mutex was held"

kill -9 "$holder"
wait "$holder" 2>/dev/null
holder=""
wait "$waiter"
status=$?
waiter=""
[ "$status" -eq 0 ] || fail "the waiter ended with $status"
grep -q "^128" "$dir/waiter.out" || fail "the waiter did not get the mutex as abandoned"
grep -q never "$dir/holder.out" && fail "the holder got past the waiter's mutex"

got=$("$vkl" -e "d := vk_mutex(\"${name}_data\", 0); echo d.Wait(1000), d.Release();")
[ "$got" = "128 0" ] || fail "after the waiter ended holding it: '$got'"
[ "$failures" -eq 0 ]
