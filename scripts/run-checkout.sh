#!/usr/bin/env bash
# The product's main job: a complete checkout in the demo merchant on the real platform
# (WebKitGTK web views, the cairo presenter, the SQLite store), headless under Xvfb when there is
# no display. The demo taps its checkout button, the sandbox checkout page picks a card and pays,
# and the result is printed as JSON; a picture of each screen goes to build/main/screenshots.
# Arguments go to the demo (default: --auto success). Without --auto it opens the window for a
# person to use.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/main -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTANDRI_BENCH=OFF \
  -DTANDRI_GTK=ON >/dev/null
cmake --build build/main -j "${JOBS:-2}" --target tandri-demo
args=("$@")
[ ${#args[@]} -eq 0 ] && args=(--auto success --screenshots build/main/screenshots)
exec scripts/with-display.sh build/main/src/Platform/Gtk/tandri-demo "${args[@]}"
