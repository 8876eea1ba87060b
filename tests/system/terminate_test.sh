#!/bin/sh
# systerminate ends the vkl process itself: terminate_test.sh VKL
vkl="$1"
out=$("$vkl" -e 'echo "before"; systerminate(3); echo "after";')
status=$?
[ "$status" -eq 3 ] || { echo "exit status $status, expected 3"; exit 1; }
[ "$out" = "before" ] || { echo "output '$out', expected 'before'"; exit 1; }
"$vkl" -e 'systerminate(); echo "after";' >/dev/null || { echo "systerminate() did not exit 0"; exit 1; }
[ -z "$("$vkl" -e 'systerminate(); echo "after";')" ] || { echo "ran on after systerminate()"; exit 1; }
# Named mutexes this process alone had open, held or not, do not outlive it.
name="terminate_test_$$"
"$vkl" -e "m := vk_mutex(\"$name\"); h := syscreatemutex(\"${name}_h\", 1); systerminate(0);"
left=$(ls -A /dev/shm | grep -F "$name")
rm -f /dev/shm/*"$name"*
[ -z "$left" ] || { echo "systerminate left $left in /dev/shm"; exit 1; }
exit 0
