#!/usr/bin/env bash
# Installs a build configured with -DTANDRI_QT=ON into a scratch prefix, checks what the Qt
# platform put there, builds examples/qt-shop against the installed library (pkg-config
# tandri-qt) and pays with it against the sandbox checkout under Xvfb.
#   scripts/test-qt-install.sh BUILD_DIR [SCREENSHOT.png]
set -euo pipefail
cd "$(dirname "$0")/.."
build="$(realpath "$1")"
screenshot="${2:-}"
work="$(mktemp -d /tmp/tandri-qt-install-XXXXXX)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
fail() { echo "test-qt-install: $*"; exit 1; }
libdir="$(dirname "$(find "$prefix" -name 'libtandri-qt.so.1' | head -n 1)")"
[ -f "$libdir/libtandri-qt.so.1" ] || fail "no libtandri-qt.so.1"
soname="$(readelf -d "$libdir/libtandri-qt.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
[ "$soname" = "libtandri-qt.so.1" ] || fail "libtandri-qt.so: SONAME '$soname'"
! readelf -d "$libdir/libtandri-qt.so.1" | grep -qF "$build" || fail "libtandri-qt.so.1 names the build tree"
readelf -d "$libdir/libtandri-qt.so.1" | grep -q 'NEEDED.*\[libtandri.so.1\]' ||
  fail "libtandri-qt.so.1 does not need libtandri.so.1"
[ -f "$prefix/include/tandri/qt.hpp" ] || fail "no public header qt.hpp"
[ -f "$libdir/cmake/tandri/tandriQtTargets.cmake" ] || fail "no CMake targets for tandri::qt"

# The example, built as a merchant builds it: nothing of the source tree on its paths.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
cmake -S examples/qt-shop -B "$work/shop" -G Ninja >/dev/null
cmake --build "$work/shop" >/dev/null
SHOP_SCREENSHOT="$screenshot" LD_LIBRARY_PATH="$libdir" bash scripts/run-qt-shop.sh "$work/shop/qt-shop"
