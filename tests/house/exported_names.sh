#!/bin/bash
# The names that leave the library are exactly those of the rooms' exports.txt: nothing is missing, nothing leaks.
set -eu
library=$1
root=$2
expected=$(cat "$root"/*/exports.txt | grep -E '^[A-Za-z_]' | sort -u)
actual=$(nm -D --defined-only "$library" | awk '{print $3}' | grep -vE '^(__asan|__ubsan|__tsan|__sanitizer|__gcov|mangle_path|_init$|_fini$)' | sort -u)
if [ "$expected" != "$actual" ]; then
  diff <(printf '%s\n' "$expected") <(printf '%s\n' "$actual") || true
  exit 1
fi
echo "$(printf '%s\n' "$actual" | wc -l) names"
