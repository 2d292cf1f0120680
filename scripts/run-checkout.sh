#!/usr/bin/env bash
# The product's main job. Until the desktop demo exists, this builds the library and runs the
# message path end to end on the simulated platform (page message in, response script out).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/main -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTANDRI_BENCH=OFF >/dev/null
cmake --build build/main -j "${JOBS:-2}"
ctest --test-dir build/main --output-on-failure -R 'Message|Encod|Bridge|Checkout'
