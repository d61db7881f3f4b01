#!/bin/bash
# The host program that the README shows compiles as printed, runs, and prints what the README says.
set -eu
root=$1
build=$2
sanitize=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^```c$/ {on = 1; next} /^```$/ {if (on) exit} on' "$root/README.md" >"$work/host.c"
awk '/^```text$/ {on = 1; next} /^```$/ {if (on) exit} on' "$root/README.md" >"$work/expected"
[ -s "$work/host.c" ] || { echo "the README shows no program"; exit 1; }
flags=${sanitize:+-fsanitize=$sanitize}
# shellcheck disable=SC2086
cc -std=c11 -Wall -Wextra -Werror $flags -I"$root" "$work/host.c" -o "$work/host" -L"$build/lib" -Wl,--no-as-needed -lq7common \
  -lq7platform -Wl,-rpath,"$build/lib"
mkdir "$work/home"
HOME=$work/home USER=root "$work/host" >"$work/actual"
grep -vE '^[0-9][^ ]* .{12}/ *[0-9]+: ' "$work/actual" >"$work/plain" || true
diff "$work/expected" "$work/plain"
