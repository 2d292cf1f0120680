#!/usr/bin/env bash
# Builds the program in tests/install against an installed library, through its CMake package
# (find_package(tandri 1.0 REQUIRED COMPONENTS gtk|gtk4)) and through pkg-config (tandri-gtk,
# tandri-gtk4), runs both and checks what they print: the library's version, and that the
# installed platform library finds its web-process module beside itself. Then the merchant
# example for the toolkit (examples/gtk-shop, examples/gtk4-shop), built both ways, pays against
# the sandbox checkout; the Qt example (examples/qt-shop) likewise. Each toolkit whose pkg-config
# file is installed is checked.
#   scripts/check-consumer.sh WORK_DIR [PREFIX]     (no PREFIX: the system's installation)
set -euo pipefail
cd "$(dirname "$0")/.."
work="$1"
prefix="${2:-}"
version="$(sed -n 's/^project([a-z_]* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"

if [ -n "$prefix" ]; then
  pcdir="$(dirname "$(find "$prefix" -name tandri.pc | head -n 1)")"
  export PKG_CONFIG_PATH="$pcdir"
fi

checked=0
for toolkit in gtk gtk4; do
  pc="tandri-$toolkit"
  pkg-config --exists "$pc" || continue
  checked=$((checked + 1))
  case "$toolkit" in
    gtk) modules=web-extensions module=libtandri_webext.so extra="" ;;
    gtk4) modules=web-process-extensions module=libtandri_webext6.so extra=libadwaita-1 ;;
  esac
  libdir="$(realpath "$(pkg-config --variable=libdir "$pc")")"
  expectedDir="$libdir/tandri-1/$modules"

  check() {  # PROGRAM [LOADER_PATH]: with LOADER_PATH, run from the library's directory, the
    # loader told to find the libraries in "." (the library then hears its own name as a relative
    # path)
    local out
    if [ -n "${2:-}" ]; then
      out="$(cd "$libdir" && LD_LIBRARY_PATH="$2" "$1")"
    else
      out="$("$1")"
    fi
    local printedVersion printedDir
    printedVersion="$(sed -n 1p <<<"$out")"
    printedDir="$(sed -n 2p <<<"$out")"
    # An absolute path without links, whatever name the loader gave the library (/lib for
    # /usr/lib, ./libtandri-gtk.so.1): the web engine's processes need not share our working
    # directory.
    if [ "$printedVersion" != "$version" ] || [ "$printedDir" != "$expectedDir" ]; then
      echo "$1 printed:"; echo "$out"; echo "expected:"; printf '%s\n%s\n' "$version" "$expectedDir"
      exit 1
    fi
    [ -f "$printedDir/$module" ] || { echo "no web-process module in $printedDir"; exit 1; }
  }

  echo "-- $toolkit: CMake package"
  cmake -S tests/install -B "$work/cmake-$toolkit" -G Ninja -DTOOLKIT="$toolkit" \
    ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} >/dev/null
  cmake --build "$work/cmake-$toolkit" >/dev/null
  check "$work/cmake-$toolkit/consumer"

  echo "-- $toolkit: pkg-config"
  rpath=()
  [ -n "$prefix" ] && rpath=(-Wl,-rpath,"$libdir")
  # shellcheck disable=SC2046
  c++ tests/install/main.cpp -o "$work/pc-consumer-$toolkit" \
    $(pkg-config --cflags --libs "$pc") "${rpath[@]}"
  check "$work/pc-consumer-$toolkit"
  [ -e "$libdir/lib$pc.so.1" ] && check "$work/pc-consumer-$toolkit" .

  # The merchant example, built both ways, each paying once against the sandbox checkout.
  example="examples/$toolkit-shop"
  echo "-- $example"
  cmake -S "$example" -B "$work/$toolkit-shop" -G Ninja ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} \
    >/dev/null
  cmake --build "$work/$toolkit-shop" >/dev/null
  # shellcheck disable=SC2046
  c++ -std=c++20 "$example/main.cpp" -o "$work/$toolkit-shop-pc" \
    $(pkg-config --cflags --libs "$pc" $extra) "${rpath[@]}"
  bash scripts/run-shop.sh "$work/$toolkit-shop/$toolkit-shop"
  bash scripts/run-shop.sh "$work/$toolkit-shop-pc"
  echo "-- the installed $pc: version $version, web-process module in $expectedDir"
done
# The Qt platform: the Qt example, built both ways, each paying once.
if pkg-config --exists tandri-qt; then
  checked=$((checked + 1))
  libdir="$(realpath "$(pkg-config --variable=libdir tandri-qt)")"
  rpath=()
  [ -n "$prefix" ] && rpath=(-Wl,-rpath,"$libdir")
  echo "-- examples/qt-shop"
  cmake -S examples/qt-shop -B "$work/qt-shop" -G Ninja ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} \
    >/dev/null
  cmake --build "$work/qt-shop" >/dev/null
  # shellcheck disable=SC2046
  c++ -std=c++20 examples/qt-shop/main.cpp -o "$work/qt-shop-pc" \
    $(pkg-config --cflags --libs tandri-qt) "${rpath[@]}"
  bash scripts/run-shop.sh "$work/qt-shop/qt-shop"
  bash scripts/run-shop.sh "$work/qt-shop-pc"
fi
[ "$checked" -gt 0 ] || { echo "check-consumer: no tandri-gtk, tandri-gtk4 or tandri-qt installed"; exit 1; }
