#!/usr/bin/env bash
# The product's main job. Until the desktop demo exists, this builds the library and runs the
# checkout's paths end to end: page messages through a bridge to the stores and back on the
# simulated platform, the frame-labelled channel and the native checkout request in a real
# WebKit view (under Xvfb when there is no display), and the sandbox checkout web application.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/main -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTANDRI_BENCH=OFF \
  -DTANDRI_GTK=ON >/dev/null
cmake --build build/main -j "${JOBS:-2}"
ctest --test-dir build/main --output-on-failure -R 'Message|Encod|Bridge|Storage|gtk|sandbox'
