#!/bin/bash
# The studio as a user drives it. studio.sh STUDIO CASE runs one case: renders, saves, loads, runs scripts, breaks
# files, cancels, cuts pictures into parts, kills jobs, sends scenes, and looks at what is left behind.
set -u
studio=$1
case=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/home" "$work/tmp" "$work/here"
export HOME=$work/home TMPDIR=$work/tmp USER=somebody LC_ALL=C
cd "$work/here" || exit 1
status=0
fail() {
  echo "$*"
  status=1
}
# Runs the studio quietly; its answer has to be $1.
answers() {
  local wanted=$1 got
  shift
  "$studio" "$@" >out 2>err
  got=$?
  [ "$got" = "$wanted" ] || fail "studio $* answered $got instead of $wanted: $(cat err)"
}
# The last run has failed with one line that holds $1, and told nothing on standard output.
one_line() {
  [ "$(wc -l <err)" = 1 ] || fail "not one line: $(cat err)"
  grep -qF -- "$1" err || fail "\"$1\" is not in: $(cat err)"
  [ ! -s out ] || fail "standard output has: $(cat out)"
}
same() { cmp "$1" "$2" || fail "$1 and $2 differ"; }
# Nothing lies here but what is named.
only() {
  local there wanted
  rm -f out err
  there=$(find . -mindepth 1 | sed 's,^\./,,' | sort | tr '\n' ' ')
  wanted=$(printf '%s\n' "$@" | sort | tr '\n' ' ')
  [ "$there" = "$wanted" ] || fail "left behind: $there; expected: $wanted"
}
# A vase of some hundred triangles with a material, beside a box without one.
write_scene() {
  awk 'BEGIN {
    print "mtllib vase.mtl\no vase\nusemtl clay"
    for (i = 0; i < 12; i++) for (k = 0; k < 24; k++) {
      r = 1 + 0.3 * sin(i * 0.7); a = k / 24 * 6.2831853
      printf "v %.5f %.5f %.5f\n", r * cos(a), i * 0.2, -r * sin(a)
    }
    for (i = 0; i < 11; i++) for (k = 0; k < 24; k++) {
      a = i * 24 + k + 1; b = i * 24 + (k + 1) % 24 + 1
      print "f " a " " b " " b + 24 " " a + 24
    }
    print "o box\nusemtl none\nv 2 0 0\nv 3 0 0\nv 3 0 1\nv 2 0 1\nv 2 1 0\nv 3 1 0\nv 3 1 1\nv 2 1 1"
    print "f -8 -7 -6 -5\nf -4 -1 -2 -3\nf -8 -4 -3 -7\nf -7 -3 -2 -6\nf -6 -2 -1 -5\nf -5 -1 -4 -8"
  }' >vase.obj
  printf 'newmtl clay\nKd 0.7 0.4 0.3\nKs 0.3 0.3 0.3\nNs 30\nq7_texture 2\nq7_mirror 0.2\n' >vase.mtl
}
small="--size 64x48 -q"
# Waits until the studio that was started has loaded its scene: the log says so.
await_loaded() {
  local i
  for i in $(seq 400); do
    grep -qs 'meshes' "$HOME"/.*/*/logs/studio.log && break
    sleep 0.05
  done
  rm -f "$HOME"/.*/*/logs/studio.log
}

case_render() {
  answers 0 vase.obj -o a.png --size 64x48
  [ -s out ] || fail "nothing was told"
  grep -q '100 %' err || fail "no progress: $(cat err)"
  [ "$(head -c 4 a.png | tail -c 3)" = PNG ] || fail "no picture"
  for threads in 1 3 7; do
    answers 0 vase.obj -o b.png $small --threads $threads
    same a.png b.png
    [ ! -s out ] && [ ! -s err ] || fail "--quiet tells something: $(cat out err)"
  done
  answers 0 vase.obj -o - $small
  same a.png out
  answers 0 vase.obj -o - --size 64x48
  same a.png out
  answers 0 vase.obj $small
  same a.png picture.png
  answers 0 vase.obj -o c.png $small --samples 9
  cmp -s a.png c.png && fail "more samples change nothing"
  only vase.obj vase.mtl a.png b.png c.png picture.png
}

case_store() {
  answers 0 vase.obj --save a.q7d $small -o a.png
  answers 0 a.q7d --save b.q7d $small -o b.png
  answers 0 b.q7d --save b.q7d $small
  same a.q7d b.q7d
  same a.png b.png
  [ "$(head -c 4 a.q7d)" = Q7D8 ] || fail "not a chunked file"
  only vase.obj vase.mtl a.q7d b.q7d a.png b.png
}

case_help() {
  for command in "" merge serve send; do
    answers 0 $command --help
    grep -qi 'usage' out || fail "$command --help does not help"
    [ ! -s err ] || fail "$command --help complains: $(cat err)"
  done
  answers 1
  one_line FILE
  answers 1 vase.obj --nonsense
  one_line nonsense
  for size in 0x5 5 axb 5x 99999x5 5x5x5; do
    answers 1 vase.obj --size $size
    one_line "$size"
  done
  for tile in 0/3 4/3 3 a/b; do
    answers 1 vase.obj --tile $tile
    one_line "$tile"
  done
  answers 1 vase.obj --threads 0
  one_line threads
  answers 1 send vase.obj nowhere
  one_line nowhere
  only vase.obj vase.mtl
}

# refused FILE TEXT: rendering it fails with one line, and nothing is written over.
refused() {
  echo keep >out.png
  echo keep >out.q7d
  answers 1 "$1" -o out.png --save out.q7d --size 16x12
  one_line "$2"
  [ "$(cat out.png out.q7d)" = $'keep\nkeep' ] || fail "$1: something was written over"
}

case_hostile_obj() {
  local triangle='v 0 0 0\nv 1 0 0\nv 0 1 0\n'
  : >empty.obj
  printf 'hello\n' >text.obj
  head -c 20000 /dev/urandom >noise.obj
  printf "${triangle}f 1 2 9\n" >far.obj
  printf "${triangle}f 0 1 2\n" >zero.obj
  printf "${triangle}f -1 -2 -4\n" >negative.obj
  printf "${triangle}f 1 2\n" >corners.obj
  printf "${triangle}f 99999999999999 1 2\n" >huge.obj
  printf "${triangle}v 1e39 0 0\nf 1 2 4\n" >endless.obj
  mkdir folder.obj
  mkfifo pipe.obj
  ln -s /dev/zero device.obj
  for name in empty text noise; do refused $name.obj 'holds no triangles'; done
  for name in far zero negative corners huge; do refused $name.obj 'face 1 has a corner that is no vertex'; done
  refused endless.obj 'vertex 4 is not a point'
  for name in folder pipe device; do refused $name.obj 'is not a file'; done
  refused missing.obj 'No such file'
  cp vase.obj vase.txt
  refused vase.txt 'neither an .obj nor a .q7d file'
  # A material file is looked for beside the mesh, and nowhere else.
  printf "mtllib /dev/zero\nmtllib ../../../../../../dev/zero\n${triangle}usemtl a\nf 1 2 3\n" >outside.obj
  answers 0 outside.obj $small
}

case_hostile_store() {
  answers 0 vase.obj --save good.q7d $small
  local size id
  size=$(stat -c %s good.q7d)
  for bytes in 0 3 20 40 100 $((size / 2)) $((size - 1)); do
    head -c "$bytes" good.q7d >cut.q7d
    refused cut.q7d 'cut.q7d'
  done
  head -c 20000 /dev/urandom >noise.q7d
  refused noise.q7d 'is not a scene'
  # The version of the class of the scene: behind its id in the chain of classes.
  id=$(grep -obaP '\x00\x00\x10\x6e' good.q7d | sed -n 2p | cut -d: -f1)
  cp good.q7d newer.q7d
  printf '\x00\x09' | dd of=newer.q7d bs=1 seek=$((id + 4)) conv=notrunc 2>/dev/null
  refused newer.q7d 'Need Newer Version (class 4206/scene: 1 < 9)'
  # Any byte may be any other: the answer is a picture or one line, and never a crash.
  local i
  for i in $(seq 0 37 700); do
    cp good.q7d broken.q7d
    printf '\xff' | dd of=broken.q7d bs=1 seek="$i" conv=notrunc 2>/dev/null
    "$studio" broken.q7d -o broken.png --size 4x3 -q >out 2>err
    case $? in
      0) ;;
      1) one_line studio ;;
      *) fail "byte $i: answered something else: $(cat err)" ;;
    esac
  done
}

case_settings() {
  answers 0 vase.obj -o a.png -q --size 40x30 --samples 1 --remember
  answers 0 vase.obj -o b.png -q
  same a.png b.png
  answers 0 vase.obj -o b.png -q --size 64x48
  answers 0 vase.obj -o c.png -q
  same a.png c.png
  answers 0 vase.obj -o b.png --size 8x6 -q --forget
  # Parts are cut to the size that applies: 600 rows.
  answers 0 vase.obj -o c.part --samples 1 --tile 2/600
  grep -q 'rows 1 to 2 of 600' out || fail "the size was not forgotten: $(cat out)"
  find "$HOME" -name 'studio.log' | grep -q . || fail "no log in the user folder"
  grep -q 'vase.obj' "$(find "$HOME" -name studio.log)" || fail "the log does not tell what was done"
}

case_language() {
  LC_ALL=de_DE.UTF-8 "$studio" missing.obj 2>err && fail "a missing file was taken"
  grep -q 'kann nicht' err || fail "not German: $(cat err)"
  LC_ALL=fi_FI.UTF-8 "$studio" missing.obj 2>err && fail "a missing file was taken"
  grep -q 'avata' err || fail "not Finnish: $(cat err)"
}

case_cancel() {
  local signal pid
  for signal in INT TERM; do
    "$studio" vase.obj -o a.png --save a.q7d --size 4000x3000 -q >out 2>err &
    pid=$!
    await_loaded
    kill -$signal $pid
    wait $pid
    [ $? -gt 128 ] || fail "SIG$signal: another status"
    one_line cancelled
    only vase.obj vase.mtl
  done
}

case_tiles() {
  answers 0 vase.obj -o whole.png $small
  local n i
  for n in 1 3 7; do
    rm -f *.part
    for i in $(seq "$n"); do
      answers 0 vase.obj --tile "$i/$n" -o "$i.part" $small --threads $((i % 3 + 1))
    done
    answers 0 merge *.part -o joined.png -q
    same whole.png joined.png
  done
  # More parts than rows: some are empty.
  rm -f *.part
  answers 0 vase.obj -o whole6.png -q --size 8x6
  for i in $(seq 9); do answers 0 vase.obj --tile "$i/9" -o "$i.part" -q --size 8x6; done
  answers 0 merge *.part -o joined.png -q
  same whole6.png joined.png
  rm -f *.part
  answers 0 vase.obj --tile 1/2 $small
  answers 0 vase.obj --tile 2/2 $small
  answers 0 merge picture.1-of-2.part picture.2-of-2.part -o - -q
  same whole.png out
  echo keep >keep.png
  answers 1 merge picture.1-of-2.part -o keep.png
  one_line 'part 2 of 2 is missing'
  answers 1 merge picture.1-of-2.part picture.1-of-2.part -o keep.png
  one_line 'part 1 is there twice'
  answers 0 vase.obj --tile 2/2 -o other.part $small --samples 1
  answers 1 merge picture.1-of-2.part other.part -o keep.png
  one_line 'is a part of another picture than'
  head -c 300 picture.2-of-2.part >cut.part
  answers 1 merge picture.1-of-2.part cut.part -o keep.png
  one_line 'cut.part is damaged or cut off'
  answers 1 merge vase.obj -o keep.png
  one_line 'is not a part'
  [ "$(cat keep.png)" = keep ] || fail "a merge that failed has written"
}

# Jobs that are killed half-way are run again by the job engine; the picture is the same as that of one run.
case_jobs() {
  answers 0 vase.obj -o whole.png --size 240x180 -q
  cat >job.sh <<'JOB'
#!/bin/bash
# The first run of a part is killed while it works.
part=$1
if mkdir "tried.$part" 2>/dev/null; then
  "$STUDIO" vase.obj --tile "$part/6" -o "$part.part" --size 240x180 --samples 1024 -q &
  sleep 0.3
  kill -9 $!
  wait $! 2>/dev/null
  exit 1
fi
exec "$STUDIO" vase.obj --tile "$part/6" -o "$part.part" --size 240x180 -q
JOB
  chmod +x job.sh
  STUDIO=$studio parallel --will-cite -j 3 --retries 3 ./job.sh ::: 1 2 3 4 5 6 >out 2>err ||
    fail "the jobs have failed: $(cat err)"
  [ "$(ls -d tried.* | wc -l)" = 6 ] || fail "not every part was killed once"
  answers 0 merge ?.part -o joined.png -q
  same whole.png joined.png
  only vase.obj vase.mtl whole.png joined.png job.sh tried.{1,2,3,4,5,6} {1,2,3,4,5,6}.part
}

start_server() {
  mkdir -p into
  "$studio" serve --into into --patience 1 "$@" 0 >server.out 2>server.err &
  server=$!
  local i
  for i in $(seq 400); do
    port=$(sed -n 's/.*port \([0-9]*\).*/\1/p' server.out)
    [ -n "$port" ] && return
    sleep 0.05
  done
  fail "the server does not start: $(cat server.err)"
}

case_serve() {
  answers 0 vase.obj --save a.q7d $small
  start_server
  answers 0 send a.q7d "127.0.0.1:$port" -q
  same a.q7d into/a.q7d
  # Peers that go at once, break off, send nonsense, keep silent, ask for a path; then an honest one.
  exec 3<>"/dev/tcp/127.0.0.1/$port" && exec 3>&-
  exec 3<>"/dev/tcp/127.0.0.1/$port" && head -c 500 a.q7d >&3 && exec 3>&-
  exec 3<>"/dev/tcp/127.0.0.1/$port" && head -c 300000 /dev/urandom >&3 2>/dev/null
  exec 3>&-
  exec 3<>"/dev/tcp/127.0.0.1/$port" && sleep 1.5 && exec 3>&-
  mkdir -p deep
  cp a.q7d 'deep/.. x.q7d'
  answers 0 send 'deep/.. x.q7d' "localhost:$port" -q
  answers 0 send vase.obj "127.0.0.1:$port" -q
  answers 0 send a.q7d "127.0.0.1:$port" -q
  kill -INT $server
  wait $server || fail "the server answered $?"
  [ "$(ls -A into | tr '\n' ' ')" = '___x.q7d a-2.q7d a.q7d vase.q7d ' ] || fail "into: $(ls -A into)"
  same a.q7d into/vase.q7d
  same a.q7d into/a-2.q7d
  [ "$(grep -c 'nothing was received' server.err)" = 4 ] || fail "the server tells: $(cat server.err)"
  grep -q '4 scenes were received' server.out || fail "the server tells: $(cat server.out)"
  answers 1 send a.q7d "127.0.0.1:$port"
  one_line 'no connection'
  start_server --count 1
  answers 0 send a.q7d "127.0.0.1:$port" -q
  wait $server || fail "the server does not end after one scene"
  answers 1 serve --bind 203.0.113.1 7
  one_line 203.0.113.1
}

case_script() {
  cat >change.lua <<'LUA'
scene.clay.Hue = 0.6
scene.vase.Angles = q7.vector(20, 0, 0)
local lamp = q7.create("light", { Name = "lamp", Power = 0.5 })
lamp.Origin = q7.vector(0, 6, 3)
scene.Members:add(lamp)
LUA
  answers 0 vase.obj -o plain.png $small
  answers 0 vase.obj change.lua -o changed.png --save changed.q7d --size 64x48
  grep -q 'change.lua' out || fail "the script is not told of"
  cmp -s plain.png changed.png && fail "the script changes nothing"
  answers 0 changed.q7d -o again.png $small
  same changed.png again.png
  answers 0 changed.q7d --save again.q7d
  grep -q '4 lights' out || fail "no light was added: $(cat out)"
  same changed.q7d again.q7d
  local text
  for text in 'error("enough")' 'x =' 'scene.vase.Angles = 5' 'scene.nothing.Hue = 1' 'scene.Members:add(scene)' \
    'scene.clay.Hue = 7' 'scene.vase.Origin = q7.vector(0/0, 0, 0)'; do
    echo "$text" >bad.lua
    echo keep >keep.q7d
    answers 1 vase.obj bad.lua --save keep.q7d
    grep -qF bad.lua err || fail "$text: no script is named: $(cat err)"
    [ "$(wc -l <err)" = 1 ] || fail "$text: not one line: $(cat err)"
    [ "$(cat keep.q7d)" = keep ] || fail "$text: something was written over"
  done
  echo 'print("hello")' >hello.lua
  answers 0 vase.obj hello.lua -o - $small
  same plain.png out
  [ "$(cat err)" = hello ] || fail "printed: $(cat err)"
  # A script without end is ended by a signal.
  echo 'while true do end' >endless.lua
  rm -f "$HOME"/.*/*/logs/studio.log
  "$studio" vase.obj endless.lua -o endless.png $small >out 2>err &
  local pid=$!
  await_loaded
  sleep 0.2
  kill -INT $pid
  wait $pid
  [ $? = 130 ] || fail "an endless script: another status"
  one_line cancelled
  answers 1 vase.obj vase.mtl
  one_line 'no language'
}

# The script that comes with the studio fits the scene that comes with it.
case_evening() {
  answers 0 "$3" -o day.png --size 40x30 -q --samples 1
  answers 0 "$3" "$4" -o evening.png --size 40x30 -q --samples 1
  cmp -s day.png evening.png && fail "the evening is as bright as the day"
}

# Two million triangles: in less than a gibibyte of memory.
case_two_million() {
  awk 'BEGIN {
    n = 1001
    for (i = 0; i < n; i++) for (k = 0; k < n; k++) print "v " i " " (i * k) % 7 " " k
    for (i = 0; i < n - 1; i++) for (k = 0; k < n - 1; k++) { a = i * n + k + 1; print "f " a " " a + 1 " " a + n + 1 " " a + n }
  }' >large.obj
  answers 0 large.obj --save large.q7d -o large.png --size 40x30 -q --stats
  local memory
  memory=$(sed -n 's/^ *\([0-9]*\) MiB of memory.*/\1/p' err)
  [ -n "$memory" ] && [ "$memory" -lt 1024 ] || fail "$memory MiB of memory"
  answers 0 large.q7d --save again.q7d -q
  same large.q7d again.q7d
}

# Nothing is left open or allocated when the studio ends, well or badly.
case_valgrind() {
  local check="valgrind -q --leak-check=full --track-fds=yes --error-exitcode=99"
  head -c 3000 /dev/urandom >bad.obj
  $check "$studio" vase.obj -o a.png --save a.q7d -q --size 12x8 --samples 1 >out 2>err || fail "render: $(cat err)"
  $check "$studio" bad.obj -o b.png -q >out 2>>err
  [ $? = 1 ] || fail "a bad file: $(cat err)"
  $check "$studio" a.q7d -q --size 12x8 -o b.png --samples 1 >out 2>>err || fail "load: $(cat err)"
  grep -q 'Open file descriptor [3-9]' err && ! grep -q inherited err && fail "descriptors: $(cat err)"
  grep -q 'definitely lost' err && fail "memory: $(cat err)"
  true
}

write_scene
"case_$case" "$@"
left=$(find "$work/tmp" -mindepth 1)
[ -z "$left" ] || fail "left in the folder for temporary files: $left"
exit $status
