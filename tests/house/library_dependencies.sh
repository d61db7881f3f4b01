#!/bin/bash
# The library needs zlib, libcurl and the C and C++ run-time libraries only; what it imports beyond them is exactly what
# platform/q7platform.h declares, undefined and strong; its soname carries the major version.
set -eu
library=$1
root=$2
needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for name in $needed; do
  case $name in
    libz.so.* | libcurl.so.* | libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.* | ld-linux*) ;;
    libasan.so.* | libubsan.so.* | libtsan.so.*) ;; # in sanitized builds
    *)
      echo "unexpected dependency: $name"
      exit 1
      ;;
  esac
done
readelf -d "$library" | grep -q 'SONAME.*\[libq7common\.so\.[0-9]*\]' || { echo "no soname with the major version"; exit 1; }
declared=$(tr '\n' ' ' <"$root/platform/q7platform.h" | sed 's|/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/||g' | grep -oE 'Q7_API [^;]*;' |
  grep -oE '(Q7|J7)[A-Za-z0-9]+ *\(' | tr -d ' (' | grep -v '^Q7_API$' | sort -u)
imported=$(nm -D --undefined-only "$library" | awk '$1 == "U" {print $2}' | grep -E '^(Q7|J7)' | sort -u)
weak=$(nm -D "$library" | awk '$1 == "w" || $2 == "W" {print $NF}' | grep -E '^(Q7|J7|q7)' || true)
[ -z "$weak" ] || { echo "weak names: $weak"; exit 1; }
unknown=$(comm -13 <(printf '%s\n' "$declared") <(printf '%s\n' "$imported"))
[ -z "$unknown" ] || { echo "imported but not declared in q7platform.h: $unknown"; exit 1; }
echo "$(printf '%s\n' "$imported" | wc -l) platform functions imported"
