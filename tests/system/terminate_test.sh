#!/bin/sh
# systerminate ends the vkl process itself: terminate_test.sh VKL
vkl="$1"
out=$("$vkl" -e 'echo "before"; systerminate(3); echo "after";')
status=$?
[ "$status" -eq 3 ] || { echo "exit status $status, expected 3"; exit 1; }
[ "$out" = "before" ] || { echo "output '$out', expected 'before'"; exit 1; }
"$vkl" -e 'systerminate(); echo "after";' >/dev/null || { echo "systerminate() did not exit 0"; exit 1; }
[ -z "$("$vkl" -e 'systerminate(); echo "after";')" ] || { echo "ran on after systerminate()"; exit 1; }
exit 0
