# Shared by ./run, ./test and .ci/run: makes sure that the Debian packages named by the caller are installed.
# Only the missing ones are installed, as root or through sudo; without either, one line names them.

# What a build of everything needs beyond the compiler.
build_packages="g++ cmake ninja-build ccache pkg-config gettext zlib1g-dev libcurl4-openssl-dev libsqlite3-dev libcairo2-dev libfontconfig-dev libfreetype-dev libpng-dev libcli11-dev liblua5.4-dev libedit-dev libtinyobjloader-dev"
# What the tests need on top of it.
test_packages="libgtest-dev libgmock-dev locales binutils python3 parallel valgrind"
# What the checks of .ci/run need on top of both.
check_packages="clang clang-format clang-tidy libclang-rt-14-dev abigail-tools libbenchmark-dev"

missing_packages() {
  for package in "$@"; do
    state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) || state=
    [ "$state" = "install ok installed" ] || printf '%s ' "$package"
  done
}

install_packages() {
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  if [ "$(id -u)" = 0 ]; then
    as_root=
  elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
    as_root=sudo
  else
    echo "These packages are missing and cannot be installed from here: $missing" >&2
    echo "Install them with: apt-get install $missing" >&2
    return 1
  fi
  echo "Installing: $missing"
  export DEBIAN_FRONTEND=noninteractive
  # shellcheck disable=SC2086
  { $as_root apt-get update -qq && $as_root apt-get install -y -qq --no-install-recommends $missing; } \
    >"${TMPDIR:-/tmp}/q7-packages.log" 2>&1 || {
    tail -n 20 "${TMPDIR:-/tmp}/q7-packages.log" >&2
    echo "Installing failed: $missing" >&2
    return 1
  }
}

# configure PRESET [cmake options]: only when there is no build yet; a build notices changes by itself.
configure() {
  preset=$1
  shift
  folder=build
  [ "$preset" = release ] || folder=build-$preset
  [ -f "$folder/build.ninja" ] || cmake --preset "$preset" "$@" >"/tmp/q7-configure-$preset.$$" 2>&1 || {
    cat "/tmp/q7-configure-$preset.$$" >&2
    rm -f "/tmp/q7-configure-$preset.$$"
    rm -f "$folder/build.ninja"
    return 1
  }
  rm -f "/tmp/q7-configure-$preset.$$"
}

# run_tests FOLDER [ctest options]: runs the tests of a build, prints what failed and the closing line.
run_tests() {
  folder=$1
  shift
  log=$folder/tests.log
  ctest --test-dir "$folder" -j "$(nproc)" --output-on-failure "$@" >"$log" 2>&1
  status=$?
  if [ "$status" != 0 ]; then
    grep -vE '^ *[0-9]+/[0-9]+ Test .* Passed|^ *Start ' "$log" | tail -n 200
  fi
  failed=$(sed -n 's/.* tests passed, \([0-9]*\) tests failed out of \([0-9]*\).*/\1/p' "$log" | tail -n 1)
  total=$(sed -n 's/.* tests passed, \([0-9]*\) tests failed out of \([0-9]*\).*/\2/p' "$log" | tail -n 1)
  if [ -z "$total" ]; then
    echo "No test ran; see $log" >&2
    echo "0 passed, 1 failed"
    return 1
  fi
  echo "$((total - failed)) passed, $failed failed"
  [ "$failed" = 0 ] && [ "$status" = 0 ]
}
