#!/bin/sh
# Shared-memory objects the tests leave behind: `shm_objects.sh record FILE` before them,
# `shm_objects.sh check FILE` after them. An object is left behind when it is new since the
# record and no live process has it mapped (so that objects in use by programs running beside
# the tests do not count).
mode="$1"
list="$2"
if [ "$mode" = record ]; then
  ls -A /dev/shm >"$list"
  exit 0
fi
left=$(ls -A /dev/shm | while IFS= read -r name; do
  grep -qaxF -- "$name" "$list" 2>/dev/null && continue
  cat /proc/[0-9]*/maps 2>/dev/null | grep -qaF -- "/dev/shm/$name" && continue
  echo "$name"
done)
rm -f "$list"
[ -z "$left" ] && exit 0
echo "left in /dev/shm by the tests:"
echo "$left"
exit 1
