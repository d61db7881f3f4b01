#!/bin/bash
# Every public header compiles alone, as C11 and as C++17, without a warning.
set -u
root=$1
status=0
cd "$root" || exit 1
for header in core/*.h app/*.h io/*.h math/*.h ui/*.h lang/*.h platform/q7platform.h platform/posix/*.h plugins/*/*.h; do
  [ -f "$header" ] || continue
  "${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror -I. -fsyntax-only -x c "$header" || status=1
  "${CXX:-c++}" -std=c++17 -Wall -Wextra -Wpedantic -Werror -I. -fsyntax-only -x c++ "$header" || status=1
done
exit $status
