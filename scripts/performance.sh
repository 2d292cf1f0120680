#!/usr/bin/env bash
# Measures every figure of docs/performance.md on this machine and writes the page and its
# plot again. Takes a few minutes; run it on a quiet machine.
# Environment: N (round trips, default 5000), RUNS (demo start-ups and timeline processes,
# default 5), TAPS (checkouts per timeline process, default 6), BUILD (the Release build tree,
# default build/perf), TIMELINE_ONLY=1 (only the tap-to-checkout section and its plot),
# TOOLKITS_ONLY=1 (only GTK 3 and GTK 4 side by side), CHROMIUM_ONLY=1 (only the Qt WebEngine
# platform's round trips and tap to checkout, from its own build tree BUILD_QT, default
# build/perf-qt).
set -euo pipefail
cd "$(dirname "$0")/.."
N="${N:-5000}"
RUNS="${RUNS:-5}"
TAPS="${TAPS:-6}"
TANDRI_EXTRA_PACKAGES="time python3 binutils" bash scripts/install-deps.sh

build="${BUILD:-build/perf}"
out=$build/results

# Chromium (Qt WebEngine): the library's round trip over the engine's bare web-channel echo,
# three times, and tap to checkout in the Qt demo, each from a process of its own.
chromium() {
  local qt="${BUILD_QT:-build/perf-qt}"
  cmake -S . -B "$qt" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTANDRI_QT=ON -DTANDRI_BENCH=OFF \
    >/dev/null
  cmake --build "$qt" -j "${JOBS:-2}" --target qt_library_round_trip tandri-qt-demo
  # Chromium's sandbox cannot start as root (docs/security.md).
  if [ "$(id -u)" = 0 ]; then export QTWEBENGINE_DISABLE_SANDBOX=1; fi
  export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --disable-background-networking --disable-component-update"
  echo "== Chromium: round trips ($N each), tap to checkout"
  : >"$out/round-trip-qt.txt"
  for round in 1 2 3; do
    scripts/with-display.sh "$qt/src/Platform/Qt/qt_library_round_trip" "$N" \
      --json "$out/round-trip-qt-$round.json" | grep "^ratio" | sed "s/^/qt /" |
      tee -a "$out/round-trip-qt.txt"
  done
  : >"$out/timeline-qt.txt"
  local data
  data="$(realpath -m "$out/qt-demo-data")"
  for run in $(seq "$RUNS"); do
    rm -rf "$data"
    # A run that does not pay is said, and counts for nothing.
    XDG_DATA_HOME="$data" scripts/with-display.sh "$qt/src/Platform/Qt/tandri-qt-demo" \
      --auto success --timeout 120 >/dev/null 2>"$out/qt-demo.err" || echo "qt demo run $run failed"
    sed -n 's/.*tap to checkout shown \([0-9]*\) ms.*/\1/p' "$out/qt-demo.err" |
      tee -a "$out/timeline-qt.txt"
  done
  python3 scripts/write-performance-page.py "$out" docs/performance.md --chromium
}
if [ "${CHROMIUM_ONLY:-0}" = 1 ]; then
  mkdir -p "$out"
  chromium
  exit 0
fi

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTANDRI_GTK=ON -DTANDRI_GTK4=ON \
  -DTANDRI_BENCH=ON >/dev/null
cmake --build "$build" -j "${JOBS:-2}"
mkdir -p "$out"
gtk="$build/src/Platform/Gtk"

# GTK 3 (WebKitGTK 4.1) and GTK 4 (WebKitGTK 6.0) in one run: the library's round trip over the
# engine's bare echo, and tap to checkout, each toolkit's runs taken in turn.
toolkits() {
  echo "== GTK 3 and GTK 4 side by side: round trips ($N each), tap to checkout"
  for toolkit in gtk3 gtk4; do : >"$out/round-trip-$toolkit.txt"; done
  for round in 1 2 3; do
    for toolkit in gtk3 gtk4; do
      program="$gtk/library_round_trip"
      [ "$toolkit" = gtk4 ] && program="$gtk/library_round_trip4"
      GDK_BACKEND=x11 scripts/with-display.sh "$program" "$N" \
        --json "$out/round-trip-$toolkit-$round.json" | grep "^ratio" |
        sed "s/^/$toolkit /" | tee -a "$out/round-trip-$toolkit.txt"
    done
  done
  for toolkit in gtk3 gtk4; do
    program="$gtk/checkout_timeline"
    [ "$toolkit" = gtk4 ] && program="$gtk/checkout_timeline4"
    GDK_BACKEND=x11 scripts/with-display.sh "$program" --runs "$RUNS" --taps "$TAPS" \
      --json "$out/timeline-$toolkit.json" >"$out/timeline-$toolkit.txt"
    echo "-- $toolkit tap to checkout"; sed -n '1,12p' "$out/timeline-$toolkit.txt"
  done
  python3 scripts/write-performance-page.py "$out" docs/performance.md --toolkits
}
if [ "${TOOLKITS_ONLY:-0}" = 1 ]; then
  toolkits
  exit 0
fi


if [ "${TIMELINE_ONLY:-0}" != 1 ]; then
echo "== round trips in a real WebKit view ($N each)"
scripts/with-display.sh "$gtk/library_round_trip" "$N" --json "$out/round-trip.json" |
  tee "$out/round-trip.txt"
"$gtk/plot_round_trip" "$out/round-trip.json" docs/performance-round-trip.png
echo "-- two more runs, to show how much the ratios move on this machine"
: >"$out/round-trip-repeats.txt"
for _ in 1 2; do
  scripts/with-display.sh "$gtk/library_round_trip" "$N" | grep "^ratio" | tee -a "$out/round-trip-repeats.txt"
done
echo "-- the same with a one-letter stored value (what carrying the record costs)"
TANDRI_ROUND_TRIP_SMALL=1 scripts/with-display.sh "$gtk/library_round_trip" "$N" |
  tee "$out/round-trip-small.txt"
fi

echo "== tap to checkout against the sandbox, and the bare engine's load of the same page"
scripts/with-display.sh "$gtk/checkout_timeline" --runs "$RUNS" --taps "$TAPS" \
  --json "$out/timeline.json" | tee "$out/timeline.txt"
"$gtk/plot_timeline" "$out/timeline.json" docs/performance-timeline.png
if [ "${TIMELINE_ONLY:-0}" = 1 ]; then
  TIMELINE_BUILD="$build" python3 scripts/write-performance-page.py "$out" docs/performance.md \
    --timeline-only
  exit 0
fi

echo "== start-up and heap on the simulated platform"
"$build/tandri_bench" --benchmark_filter='Startup|HeapPerBridge' --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_format=json >"$out/startup.json"

echo "== the demo: process start to the button page's first load ($RUNS runs)"
: >"$out/demo-startup.txt"
for _ in $(seq "$RUNS"); do
  scripts/with-display.sh "$gtk/tandri-demo" --auto success --timeout 60 2>&1 >/dev/null |
    grep "button page loaded" >>"$out/demo-startup.txt" || true
done
cat "$out/demo-startup.txt"

echo "== sizes (stripped of debug information)"
: >"$out/sizes.txt"
for lib in "$build/libtandri.so" "$gtk/libtandri-gtk.so" \
  "$gtk/tandri-1/web-extensions/libtandri_webext.so"; do
  strip --strip-debug -o "$out/stripped.so" "$lib"
  echo "$(basename "$lib") $(stat -c %s "$out/stripped.so")" >>"$out/sizes.txt"
done
rm -f "$out/stripped.so"
cat "$out/sizes.txt"

echo "== memory of tandri-sim over long scenarios"
: >"$out/memory.txt"
for messages in 1000 10000; do
  scenario="$out/messages-$messages.jsonl"
  {
    echo '{"event":"button.arm","profile":{"apiKey":"k"},"purchaseInfo":{"total":"1.00"}}'
    echo '{"event":"message","view":"button","body":{"name":"registerMessagePaths","id":"0","merchantMessagePath":"p.rx","checkoutMessagePath":"c.rx"}}'
    for ((i = 1; i <= messages; i++)); do
      if ((i % 2)); then
        echo "{\"event\":\"message\",\"view\":\"button\",\"body\":{\"name\":\"set\",\"id\":\"$i\",\"data\":{\"key\":\"k$((i % 10))\",\"value\":{\"n\":$i,\"text\":\"value number $i\"}}}}"
      else
        echo "{\"event\":\"message\",\"view\":\"button\",\"body\":{\"name\":\"get\",\"id\":\"$i\",\"data\":\"k$(((i - 1) % 10))\"}}"
      fi
    done
  } >"$scenario"
  /usr/bin/time -f "%M %e" -o "$out/time.txt" "$build/tools/sim/tandri-sim" "$scenario" >/dev/null
  echo "$messages $(cat "$out/time.txt")" >>"$out/memory.txt"
done
cat "$out/memory.txt"

TIMELINE_BUILD="$build" python3 scripts/write-performance-page.py "$out" docs/performance.md
toolkits
chromium
echo "== docs/performance.md written"
