#!/usr/bin/env bash
# Installs a build into a scratch prefix, then builds and runs the integration examples against
# it twice: through the CMake package and through pkg-config.
#   scripts/test-install.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build="$1"
prefix="$(mktemp -d /tmp/tandri-prefix-XXXXXX)"
trap 'rm -rf "$prefix" "$build/examples"' EXIT

cmake --install "$build" --prefix "$prefix" >/dev/null
cmake -S examples -B "$build/examples" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$build/examples" -j "${JOBS:-2}"
for example in native_button manual_session hybrid_plugin; do
  echo "-- $example"
  "$build/examples/$example"
done

echo "-- pkg-config"
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" c++ examples/hybrid_plugin.cpp -o "$build/examples/pc" \
  $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs --static tandri)
"$build/examples/pc"
