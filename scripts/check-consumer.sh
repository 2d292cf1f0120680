#!/usr/bin/env bash
# Builds the program in tests/install against an installed library, through its CMake package
# (find_package(tandri 1.0 REQUIRED COMPONENTS gtk)) and through pkg-config (tandri-gtk), runs
# both and checks what they print: the library's version, and that the installed libtandri-gtk
# finds its web-process module beside itself. Then the merchant example (examples/gtk-shop), built
# both ways, pays against the sandbox checkout.
#   scripts/check-consumer.sh WORK_DIR [PREFIX]     (no PREFIX: the system's installation)
set -euo pipefail
cd "$(dirname "$0")/.."
work="$1"
prefix="${2:-}"
version="$(sed -n 's/^project([a-z_]* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"

if [ -n "$prefix" ]; then
  pcdir="$(dirname "$(find "$prefix" -name tandri-gtk.pc | head -n 1)")"
  export PKG_CONFIG_PATH="$pcdir"
fi
libdir="$(realpath "$(pkg-config --variable=libdir tandri-gtk)")"

check() {  # PROGRAM [LOADER_PATH]: with LOADER_PATH, run from the library's directory, the loader
  # told to find the libraries in "." (the library then hears its own name as a relative path)
  local out
  if [ -n "${2:-}" ]; then
    out="$(cd "$libdir" && LD_LIBRARY_PATH="$2" "$1")"
  else
    out="$("$1")"
  fi
  local expected
  expected="$(printf '%s\n%s' "$version" "$libdir/tandri-1/web-extensions")"
  local printedVersion printedDir
  printedVersion="$(sed -n 1p <<<"$out")"
  printedDir="$(sed -n 2p <<<"$out")"
  # An absolute path without links, whatever name the loader gave the library (/lib for /usr/lib,
  # ./libtandri-gtk.so.1): the web engine's processes need not share our working directory.
  if [ "$printedVersion" != "$version" ] ||
    [ "$printedDir" != "$libdir/tandri-1/web-extensions" ]; then
    echo "$1 printed:"; echo "$out"; echo "expected:"; echo "$expected"
    exit 1
  fi
  [ -f "$printedDir/libtandri_webext.so" ] || {
    echo "no web-process module in $printedDir"
    exit 1
  }
}

echo "-- CMake package"
cmake -S tests/install -B "$work/cmake" -G Ninja ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} \
  >/dev/null
cmake --build "$work/cmake" >/dev/null
check "$work/cmake/consumer"

echo "-- pkg-config"
rpath=()
[ -n "$prefix" ] && rpath=(-Wl,-rpath,"$libdir")
# shellcheck disable=SC2046
c++ tests/install/main.cpp -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs tandri-gtk) "${rpath[@]}"
check "$work/pc-consumer"
[ -e "$libdir/libtandri-gtk.so.1" ] && check "$work/pc-consumer" .

# The merchant example, built both ways, each paying once against the sandbox checkout.
echo "-- examples/gtk-shop"
cmake -S examples/gtk-shop -B "$work/gtk-shop" -G Ninja ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} \
  >/dev/null
cmake --build "$work/gtk-shop" >/dev/null
# shellcheck disable=SC2046
c++ -std=c++20 examples/gtk-shop/main.cpp -o "$work/gtk-shop-pc" \
  $(pkg-config --cflags --libs tandri-gtk) "${rpath[@]}"
bash scripts/run-gtk-shop.sh "$work/gtk-shop/gtk-shop"
bash scripts/run-gtk-shop.sh "$work/gtk-shop-pc"
echo "-- the installed library: version $version, web-process module in" \
  "$libdir/tandri-1/web-extensions"
