#!/usr/bin/env bash
# Builds the normal and the sanitizer configuration and runs the whole suite in both.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh normal sanitize
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
for dir in build build-asan; do
  echo "== tests in $dir"
  ctest --test-dir "$dir" --output-on-failure -j2 || status=1
done
exit $status
