#!/usr/bin/env bash
# Installs a build (configured with -DTANDRI_GTK=ON, and maybe -DTANDRI_GTK4=ON, -DTANDRI_QT=ON)
# into a scratch prefix, checks what it holds, then builds and runs programs against it through
# the CMake package and through pkg-config.
#   scripts/test-install.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build="$(realpath "$1")"
work="$(mktemp -d /tmp/tandri-install-XXXXXX)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null

fail() { echo "test-install: $*"; exit 1; }
# Headers: include/tandri/*.hpp and nothing else.
stray="$(find "$prefix/include" -mindepth 1 ! -path "$prefix/include/tandri" \
  ! -regex "$prefix/include/tandri/[^/]*\.hpp")"
[ -z "$stray" ] || fail "not a public header: $stray"
# Nothing of the build tree's tests and tools, no loose images.
stray="$(find "$prefix" -iname '*simulat*' -o -iname '*scenario*' -o -name 'tandri-sim' \
  -o -name '*.png' -o -name 'generate_assets')"
[ -z "$stray" ] || fail "installed for tests only: $stray"
libdir="$(dirname "$(find "$prefix" -name 'libtandri.so.1' -o -name 'libtandri.a' | head -n 1)")"
# The platform libraries built: GTK 3's always, GTK 4's when configured.
platforms=(libtandri-gtk)
if [ -e "$libdir/libtandri-gtk4.so.1" ] || [ -e "$libdir/libtandri-gtk4.a" ]; then
  platforms+=(libtandri-gtk4)
fi
if [ -e "$libdir/libtandri-qt.so.1" ]; then
  platforms+=(libtandri-qt)
  [ -f "$libdir/cmake/tandri/tandriQtTargets.cmake" ] || fail "no CMake targets for tandri::qt"
fi
if [ -e "$libdir/libtandri.so.1" ]; then
  for lib in libtandri "${platforms[@]}"; do
    soname="$(readelf -d "$libdir/$lib.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
    [ "$soname" = "$lib.so.1" ] || fail "$lib.so: SONAME '$soname'"
    target="$(readlink -f "$libdir/$lib.so")"
    [ -f "$target" ] && [[ "$target" == *.so.1.* ]] || fail "$lib.so leads to no versioned file"
    # An installed library never looks into the build tree.
    ! readelf -d "$libdir/$lib.so.1" | grep -qF "$build" || fail "$lib.so.1 names the build tree"
  done
  for lib in "${platforms[@]}"; do
    readelf -d "$libdir/$lib.so.1" | grep -q 'NEEDED.*\[libtandri.so.1\]' ||
      fail "$lib.so.1 does not need libtandri.so.1"
  done
  # Each toolkit's library stays with its own toolkit.
  ! readelf -d "$libdir/libtandri-gtk.so.1" | grep -q 'NEEDED.*\[libgtk-4' ||
    fail "libtandri-gtk.so.1 needs GTK 4"
  if [ -e "$libdir/libtandri-gtk4.so.1" ]; then
    ! readelf -d "$libdir/libtandri-gtk4.so.1" | grep -q 'NEEDED.*\[libgtk-3' ||
      fail "libtandri-gtk4.so.1 needs GTK 3"
  fi
fi
[ -f "$libdir/tandri-1/web-extensions/libtandri_webext.so" ] || fail "no web-process module"
if [[ " ${platforms[*]} " == *" libtandri-gtk4 "* ]]; then
  [ -f "$libdir/tandri-1/web-process-extensions/libtandri_webext6.so" ] ||
    fail "no web-process module for WebKitGTK 6.0"
fi

bash scripts/check-consumer.sh "$work" "$prefix"
