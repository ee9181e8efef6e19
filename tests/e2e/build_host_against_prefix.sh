#!/bin/sh
# Builds examples/linux-host against an installed SDK under PREFIX twice
# (CMake's find_package, then pkg-config) and runs both programs for one
# second with no D-Bus service reachable.
#
#   build_host_against_prefix.sh PREFIX SOURCE_DIR WORK_DIR [CMAKE_GENERATOR]
#
# CXX, CXXFLAGS and LDFLAGS, when set, are used for both host builds (a
# sanitizer build of the library needs the same flags in its host).
set -eu

prefix=$1
source=$2
work=$3
generator=${4:-Ninja}

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

pcfile=$(find "$prefix" -name lumora.pc | head -n 1)
[ -n "$pcfile" ] || fail "no lumora.pc"
libdir=$(dirname "$(dirname "$pcfile")")

cmake -S "$source/examples/linux-host" -B "$work/cmake-host" -G "$generator" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug >"$work/configure.log" || {
  cat "$work/configure.log" >&2
  fail "configuring the host against the installed package"
}
cmake --build "$work/cmake-host" || fail "building the host with find_package"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# lumora.pc finds its prefix by itself; --define-prefix (which would misplace
# a multiarch glib-2.0.pc) is asked of it alone and must give a working answer.
flags="$(pkg-config --define-prefix --cflags --libs lumora) $(pkg-config --cflags --libs glib-2.0)" ||
  fail "pkg-config lumora"
# shellcheck disable=SC2086 # the flags are a word list
${CXX:-c++} -std=c++20 ${CXXFLAGS:-} "$source/examples/linux-host/main.cpp" $flags ${LDFLAGS:-} \
  -o "$work/pkgconfig-host" || fail "building the host with pkg-config"

# Both buses point at a socket that does not exist, so nothing real is touched;
# the user-defaults file goes to the work directory.
run_host() {
  name=$1
  program=$2
  status=0
  env DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/no-such-bus" \
    DBUS_SESSION_BUS_ADDRESS="unix:path=$work/no-such-bus" \
    XDG_CONFIG_HOME="$work/config" LD_LIBRARY_PATH="$libdir" \
    "$program" 1 >"$work/$name.out" 2>&1 || status=$?
  cat "$work/$name.out"
  [ "$status" -eq 0 ] || fail "$name host exited with $status"
  grep -q '^\[host\] onInitialized$' "$work/$name.out" || fail "$name host never initialized"
  grep -q '^\[host\] isScanning=true$' "$work/$name.out" || fail "$name host did not start"
}

run_host cmake "$work/cmake-host/lumora-linux-host"
run_host pkgconfig "$work/pkgconfig-host"
