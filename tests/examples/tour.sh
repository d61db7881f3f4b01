#!/bin/bash
# The tour runs through, tells what it has really seen, keeps the log out of it, and leaves nothing behind.
set -u
tour=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/home" "$work/tmp"
export HOME=$work/home TMPDIR=$work/tmp USER=somebody
status=0
fail() {
  echo "$1"
  status=1
}

"$tour" >"$work/out" 2>"$work/err" || fail "the tour answered $?"
while IFS= read -r line; do
  grep -qF -- "$line" "$work/out" || fail "not told: $line"
done <<'LINES'
A lamp named "hall" shines at 100 percent and needs 60 W.
it shines at 40 percent and needs 24 W.
it answers 0, and sent again 100.
Referenced twice, the lamp counts 2 references.
in memory of its own, 0 references, and the same 100 percent.
Live lamps: 2 with the copy, 1 without it.
".hall.Color.g" reads 0.5.
finds "desk" and 70.
4 nodes read: ash elm oak yew.
"scene.q7d" matches "*.q7?".
"scene.txt" does not match "*.q7?".
Loaded, it is a lamp named "hall" of 100 percent and colour (0.9, 0.5, 0.25).
leaves the lamp at 80 percent; a round (answer 1) brings it to 0.
3 requests to an executor took 60000 samples of noise
three switches later it is at 100 percent.
lies at (4.000, -3.000, 5.000), as far from the origin: 7.07107.
The inverse brings it back: (3.000, 4.000, 5.000).
a new lamp is of class 4102, "LED lamp", and needs 5.85 W instead of 39 W.
one shines at 60, then 55.
A second application finds it in the settings: 65 percent.
A new lamp therefore shines at 65 percent; without the plug-in it needs 39 W.
That was the tour.
LINES
[ -z "$(find "$work/home" "$work/tmp" -mindepth 1)" ] || fail "left behind: $(find "$work/home" "$work/tmp" -mindepth 1)"
grep -qi 'somebody' "$work/out" && fail "the farewell is on the screen"

"$tour" --quiet >"$work/out" 2>/dev/null || fail "--quiet answered $?"
[ -s "$work/out" ] && fail "--quiet tells something"

"$tour" --help >"$work/out" || fail "--help answered $?"
grep -q '^Usage: tour' "$work/out" || fail "--help does not help"

"$tour" --nonsense >"$work/out" 2>"$work/err" && fail "--nonsense was taken"
grep -q nonsense "$work/err" || fail "--nonsense was not named"

"$tour" --quiet --plugins "$work" 2>"$work/err" && fail "a missing plug-in was not noticed"
grep -q 'loading the plug-in did not work' "$work/err" || fail "a missing plug-in was not named"

mkdir "$work/kept"
"$tour" --quiet --home "$work/kept" 2>/dev/null || fail "--home answered $?"
[ -n "$(find "$work/kept" -type f)" ] || fail "no settings in the home folder that was given"
[ "$status" = 0 ] || { echo "--- the tour:"; cat "$work/out"; echo "--- errors:"; cat "$work/err"; }
exit $status
