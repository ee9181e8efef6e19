#!/bin/sh
# Installs a build into a temporary prefix and builds examples/linux-host
# against the installed package (build_host_against_prefix.sh).
#
#   install_and_build_host.sh BUILD_DIR SOURCE_DIR [CMAKE_GENERATOR]
set -eu

build=$1
source=$2
generator=${3:-Ninja}
work=$(mktemp -d /tmp/lumora-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

cmake --install "$build" --prefix "$prefix" >"$work/install.log" || {
  cat "$work/install.log" >&2
  fail "cmake --install"
}
[ -f "$prefix/share/lumora/sdk.plist" ] || fail "no sdk.plist under share/lumora"
[ -f "$prefix/include/lumora/lumora.hpp" ] || fail "no public headers"

sh "$(dirname "$0")/build_host_against_prefix.sh" "$prefix" "$source" "$work" "$generator"
echo "PASS"
