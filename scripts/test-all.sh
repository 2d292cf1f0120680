#!/usr/bin/env bash
# Builds everything from nothing and runs every test:
#   1. a warnings-as-errors build (the GTK platform for GTK 3 and, in the same tree, for GTK 4,
#      and the Qt WebEngine platform), all tests through CTest (the real-engine tests under Xvfb
#      when there is no display), then its installation and its Debian packages (installed into
#      the system, built against and purged), the example shop of each toolkit paying in both;
#   2. an AddressSanitizer + UndefinedBehaviorSanitizer build (GTK 3), all tests again;
#   3. a ThreadSanitizer build of the unit tests (answers that come from other threads);
#   4. the libFuzzer targets (clang, with both sanitizers), each for a bounded time.
# Environment: FUZZ_SECONDS (default 60 per target), JOBS (default 2).
set -euo pipefail
cd "$(dirname "$0")/.."

# Each stage says when it starts, so a slow run shows where its time went.
stage() { echo "== $1 [$((SECONDS / 60)) min $((SECONDS % 60)) s]"; }

bash scripts/install-deps.sh

JOBS="${JOBS:-2}"
FUZZ_SECONDS="${FUZZ_SECONDS:-60}"

stage "build (warnings as errors)"
cmake -S . -B build/ci -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTANDRI_WERROR=ON \
  -DTANDRI_GTK=ON -DTANDRI_GTK4=ON -DTANDRI_QT=ON
cmake --build build/ci -j "$JOBS"
stage "tests"
ctest --test-dir build/ci --output-on-failure -j "$JOBS"
packaging_start=$SECONDS
stage "the installed library: a program built against its CMake package and pkg-config"
bash scripts/test-install.sh build/ci
stage "the Debian packages: installed, built against, purged"
bash scripts/test-debs.sh build/ci
echo "== packaging took $((SECONDS - packaging_start)) s"

stage "Secret Service tests against a throw-away keyring"
bash scripts/test-secret-service.sh build/ci/tandri_tests

stage "build (AddressSanitizer + UndefinedBehaviorSanitizer)"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTANDRI_WERROR=ON \
  -DTANDRI_SANITIZE=address,undefined -DTANDRI_BENCH=OFF -DTANDRI_GTK=ON
cmake --build build/asan -j "$JOBS"
stage "tests under sanitizers"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build/asan --output-on-failure -j "$JOBS"

stage "build (ThreadSanitizer) and the unit tests under it"
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTANDRI_WERROR=ON \
  -DTANDRI_SANITIZE=thread -DTANDRI_BENCH=OFF -DTANDRI_GTK=OFF
cmake --build build/tsan -j "$JOBS" --target tandri_tests tandri-sim
TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build/tsan --output-on-failure -j "$JOBS"

stage "fuzzing (${FUZZ_SECONDS}s per target)"
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTANDRI_WERROR=ON -DTANDRI_FUZZ=ON -DTANDRI_SANITIZE=address,undefined -DTANDRI_BENCH=OFF
cmake --build build/fuzz -j "$JOBS" --target tandri_fuzzers
for target in build/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  corpus="build/fuzz/corpus/$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "fuzz/seeds/$name" ] && seeds=("fuzz/seeds/$name")
  # The bridge targets start from the replayed flows.
  case "$name" in
    fuzz_mobile|fuzz_manual|fuzz_merchant|fuzz_checkout) seeds+=(tests/scenarios fuzz/seeds/bridges) ;;
  esac
  echo "-- $name"
  "$target" -max_total_time="$FUZZ_SECONDS" -max_len=8192 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/" "$corpus" "${seeds[@]}" 2>&1 | tail -n 12
done
stage "all passed"
