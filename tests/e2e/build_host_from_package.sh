#!/bin/sh
#   build_host_from_package.sh install|deb BUILD_DIR SOURCE_DIR [CMAKE_GENERATOR]
# Installs a build (cmake --install, or its Debian packages made with cpack,
# checked and unpacked), builds examples/linux-host against it with CMake and
# with pkg-config, and runs both for one second with no D-Bus service reachable.
# CXX, CXXFLAGS and LDFLAGS, when set, are used for both host builds (a
# sanitizer build of the library needs the same flags in its host).
set -eu

mode=$1
build=$2
source=$3
generator=${4:-Ninja}
work=$(mktemp -d /tmp/lumora-host-XXXXXX)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# logged NAME COMMAND...: runs the command, its output shown only when it fails.
logged() {
  log=$work/$1.log
  shift
  "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    fail "$*"
  }
}

install_prefix() {
  prefix=$work/prefix
  logged install cmake --install "$build" --prefix "$prefix"
  [ -f "$prefix/share/lumora/sdk.plist" ] || fail "no sdk.plist under share/lumora"
}

install_packages() {
  logged cpack cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/packages"

  package() {
    found=$(find "$work/packages" -maxdepth 1 -name "$1_*.deb" | head -n 1)
    [ -n "$found" ] || fail "no $1 package among: $(ls "$work/packages")"
    echo "$found"
  }
  runtime=$(package liblumora1)
  dev=$(package liblumora-dev)
  tools=$(package lumora-tools)

  # holds|lacks PACKAGE PATTERN
  check() {
    dpkg-deb -c "$2" >"$work/listing" || fail "cannot list $2"
    if grep -q "$3" "$work/listing"; then found=holds; else found=lacks; fi
    [ "$found" = "$1" ] || fail "$(basename "$2") $found $3"
  }
  check holds "$runtime" '/share/lumora/sdk\.plist$'
  check lacks "$runtime" '/include/'
  check lacks "$runtime" '/liblumora\.so ->'
  check lacks "$dev" '/liblumora\.so\.1\.'
  for tool in lumora-doctor lumora-sim lumora-devserver lumora-decode; do
    check holds "$tools" "/usr/bin/$tool\$"
  done

  version=$(dpkg-deb -f "$runtime" Version)
  dpkg-deb -f "$dev" Depends | grep -q "liblumora1 (= $version)" ||
    fail "liblumora-dev does not depend on liblumora1 (= $version)"
  dpkg-deb -I "$runtime" shlibs >"$work/shlibs" || fail "liblumora1 has no shlibs file"
  grep -q "^liblumora 1 liblumora1 (>= $version)" "$work/shlibs" || fail "liblumora1 shlibs: $(cat "$work/shlibs")"
  dpkg-deb -I "$runtime" postinst >"$work/postinst" || fail "liblumora1 has no postinst"
  grep -q ldconfig "$work/postinst" || fail "liblumora1 does not run ldconfig"
  prefix=$work/root/usr
  dpkg-deb -x "$runtime" "$work/root"
  dpkg-deb -x "$dev" "$work/root"
}

case $mode in
install) install_prefix ;;
deb) install_packages ;;
*) fail "unknown mode $mode" ;;
esac

pcfile=$(find "$prefix" -name lumora.pc | head -n 1)
[ -n "$pcfile" ] || fail "no lumora.pc"
libdir=$(dirname "$(dirname "$pcfile")")

logged configure cmake -S "$source/examples/linux-host" -B "$work/cmake-host" -G "$generator" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Debug
logged build cmake --build "$work/cmake-host"

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
echo "PASS"
