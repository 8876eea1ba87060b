#!/bin/bash
# md5 of random binaries of many lengths against md5sum: writes a script test holding each
# input as a literal and md5sum's digest, then runs it with `vkl --test`.
# Usage: md5_agrees.sh VKL WORKDIR
set -euo pipefail
vkl=$1
work=$2
mkdir -p "$work"
script=$work/md5_agrees.vkl
: > "$script"
for n in $(seq 1 130) 183 447 448 1000 4095 4096 4097 65536 100003; do
  head -c "$n" /dev/urandom > "$work/input"
  literal=$(od -An -v -tx1 "$work/input" | tr -d ' \n' | sed 's/../\\x&/g')
  digest=$(md5sum "$work/input" | cut -d' ' -f1 | tr a-f A-F)
  half=$(( (n + 1) / 2 ))
  head -c "$half" "$work/input" > "$work/prefix"
  prefix_digest=$(md5sum "$work/prefix" | cut -d' ' -f1 | tr a-f A-F)
  printf 'data := b"%s";\ncheck(md5(data, %d), "%s");\ncheck(md5(data, %d), "%s");\n' \
    "$literal" "$n" "$digest" "$half" "$prefix_digest" >> "$script"
done
exec "$vkl" --test "$script"
