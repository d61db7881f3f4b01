#!/bin/bash
# The pictures of the documentation can be drawn in every format and language, and the home folder stays as it was.
set -u
pictures=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/home" "$work/txt" "$work/svg" "$work/png"
export HOME=$work/home
status=0
fail() {
  echo "$1"
  status=1
}

"$pictures" "$work/txt" txt german 2>"$work/err" || fail "txt answered $?"
"$pictures" "$work/svg" 2>>"$work/err" || fail "svg answered $?"
"$pictures" "$work/png" png 2>>"$work/err" || fail "png answered $?"
for name in dialog group group-pressed compass-north-east compass-south compass-west canvas; do
  [ "$(head -c 8 "$work/txt/$name.txt")" = "drawing " ] || fail "$name.txt is no drawing"
  [ "$(head -c 5 "$work/svg/$name.svg")" = "<?xml" ] || fail "$name.svg is no SVG"
  [ "$(head -c 4 "$work/png/$name.png" | tail -c 3)" = "PNG" ] || fail "$name.png is no PNG"
done
while IFS='|' read -r name line; do
  grep -qF -- "$line" "$work/txt/$name.txt" || fail "$name.txt has no $line"
done <<'LINES'
dialog|"Lamp"
dialog|"Abbrechen"
group|"Point light"
compass-north-east|polyline 150,135 185,100
compass-south|polyline 150,135 150,220
canvas|image 12,12 96 96
LINES
cmp -s "$work/txt/group.txt" "$work/txt/group-pressed.txt" && fail "the press is not seen"
"$pictures" "$work/none" txt 2>/dev/null && fail "a missing folder was not noticed"
"$pictures" >/dev/null 2>&1 && fail "no folder was not noticed"
"$pictures" --help | grep -q '^Usage: pictures' || fail "--help does not help"
[ -z "$(find "$work/home" -mindepth 1)" ] || fail "the home folder was used"
[ "$status" = 0 ] || cat "$work/err"
exit $status
