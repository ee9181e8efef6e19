#!/bin/sh
# Makes the Debian packages of a build (cpack -G DEB), checks what each one
# holds, unpacks the runtime and -dev packages into a temporary root and
# builds examples/linux-host against them (build_host_against_prefix.sh).
#
#   package_and_build_host.sh BUILD_DIR SOURCE_DIR [CMAKE_GENERATOR]
set -eu

build=$1
source=$2
generator=${3:-Ninja}
work=$(mktemp -d /tmp/lumora-deb-XXXXXX)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/cpack.log" 2>&1 || {
  cat "$work/cpack.log" >&2
  fail "cpack -G DEB"
}

package() {
  found=$(find "$work/packages" -maxdepth 1 -name "$1_*.deb" | head -n 1)
  [ -n "$found" ] || fail "no $1 package among: $(ls "$work/packages")"
  echo "$found"
}
runtime=$(package liblumora1)
dev=$(package liblumora-dev)
tools=$(package lumora-tools)

holds() {
  dpkg-deb -c "$1" >"$work/listing" || fail "cannot list $1"
  grep -q "$2" "$work/listing" || fail "$(basename "$1") lacks $2"
}
lacks() {
  dpkg-deb -c "$1" >"$work/listing" || fail "cannot list $1"
  if grep -q "$2" "$work/listing"; then fail "$(basename "$1") holds $2"; fi
}
holds "$runtime" '/liblumora\.so\.1'
holds "$runtime" '/share/lumora/sdk\.plist$'
lacks "$runtime" '/include/'
lacks "$runtime" '/liblumora\.so ->'
holds "$dev" '/include/lumora/lumora\.hpp$'
holds "$dev" '/liblumora\.so -> '
holds "$dev" '/pkgconfig/lumora\.pc$'
holds "$dev" '/LumoraBeaconSDKConfig\.cmake$'
lacks "$dev" '/liblumora\.so\.1\.'
for tool in lumora-doctor lumora-sim lumora-devserver lumora-decode; do
  holds "$tools" "/usr/bin/$tool\$"
done

version=$(dpkg-deb -f "$runtime" Version)
dpkg-deb -f "$dev" Depends | grep -q "liblumora1 (= $version)" ||
  fail "liblumora-dev does not depend on liblumora1 (= $version)"
dpkg-deb -I "$runtime" shlibs >"$work/shlibs" || fail "liblumora1 has no shlibs file"
grep -q "^liblumora 1 liblumora1 (>= $version)" "$work/shlibs" || fail "liblumora1 shlibs: $(cat "$work/shlibs")"
dpkg-deb -I "$runtime" postinst >"$work/postinst" || fail "liblumora1 has no postinst"
grep -q ldconfig "$work/postinst" || fail "liblumora1 does not run ldconfig"

root=$work/root
dpkg-deb -x "$runtime" "$root"
dpkg-deb -x "$dev" "$root"
sh "$(dirname "$0")/build_host_against_prefix.sh" "$root/usr" "$source" "$work" "$generator"
echo "PASS"
