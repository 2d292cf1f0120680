#!/usr/bin/env bash
# Runs an example shop (examples/gtk-shop, gtk4-shop or qt-shop: a window whose title holds
# "Example Shop", its checkout button 20 pixels above its bottom edge) against the local sandbox
# checkout, clicks its checkout button as a person does (a real click through the X server), and
# waits until the shop prints how the checkout ended. As root (CI, containers) Chromium's sandbox
# cannot start: a Qt shop runs with it off (docs/security.md), with no GPU and no background
# network use.
#   scripts/run-shop.sh SHOP_PROGRAM [EXPECTED_STATUS]   (default payment.success)
# With SHOP_SCREENSHOT=file.png, a picture of the shop's window once the checkout has ended
# (needs xwd and netpbm).
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ -z "${DISPLAY:-}" ]]; then exec scripts/with-display.sh "$0" "$@"; fi
shop="$(realpath "$1")"
expected="${2:-payment.success}"
limit="${SHOP_SECONDS:-120}"
if [[ "$(id -u)" == 0 ]]; then export QTWEBENGINE_DISABLE_SANDBOX=1; fi
export QTWEBENGINE_CHROMIUM_FLAGS="${QTWEBENGINE_CHROMIUM_FLAGS:---disable-gpu --disable-background-networking --disable-component-update}"

work=$(mktemp -d /tmp/shop.XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

# The sandbox checkout, paying by itself once its page is on view.
bash demo/sandbox-webapp/gen-certs.sh "$work/certs" >/dev/null 2>&1
# The server ends when its standard input closes: it gets one that stays open while we run.
mkfifo "$work/server" "$work/stdin"
exec 5<>"$work/stdin"
node demo/sandbox-webapp/server.js --cert-dir "$work/certs" --auto success <&5 >"$work/server" &
pids+=($!)
exec 3<"$work/server"
read -r -t "$limit" ports <&3 || { echo "run-shop: the sandbox server did not start"; exit 1; }
field() { node -e 'const p = JSON.parse(process.argv[1]); console.log(p[process.argv[2]]);' "$ports" "$1"; }
export SHOP_PROXY="$(field proxy)" SHOP_CERTIFICATE="$work/certs/leaf.pem"
export SHOP_CHECKOUT_HOST="$(field checkoutHost)" SHOP_CHECKOUT_DOMAIN="$(field domain)"
export SHOP_TRUSTED_HOSTS="$(field checkoutHost) $(field sandboxHost) $(field domain)"

# The shop, its bridge messages on standard error.
mkfifo "$work/log"
XDG_DATA_HOME="$work/data" TANDRI_LOG=stderr "$shop" >"$work/out" 2>"$work/log" &
pids+=($!)
shop_pid=$!
# Wait for the button page to tell the library it has loaded (a line of the bridge's log).
exec 4<"$work/log"
loaded=""
while IFS= read -r -t "$limit" line <&4; do
  if [[ "$line" == *onButtonFinishedLoad* ]]; then loaded=1; break; fi
done
cat <&4 >"$work/err" &
pids+=($!)
if [[ -z "$loaded" ]]; then echo "run-shop: the button page never loaded"; exit 1; fi

# A click in the middle of the checkout button: 20 px in from the window's bottom edge, 56 high.
window=$(timeout "$limit" xdotool search --sync --onlyvisible --name "Example Shop" | head -n 1)
[[ -n "$window" ]] || { echo "run-shop: the shop's window never showed"; exit 1; }
eval "$(xdotool getwindowgeometry --shell "$window")"
xdotool mousemove --window "$window" $((WIDTH / 2)) $((HEIGHT - 20 - 28)) click 1

# The shop prints each result as a line.
deadline=$((SECONDS + limit))
while (( SECONDS < deadline )); do
  if grep -qx "$expected" "$work/out"; then
    echo "run-shop: $expected"
    if [[ -n "${SHOP_SCREENSHOT:-}" ]]; then
      # The shop shows the outcome in its status line once its window is its own again.
      sleep 1
      xwd -silent -id "$window" | xwdtopnm 2>/dev/null | pnmtopng >"$SHOP_SCREENSHOT"
    fi
    exit 0
  fi
  if ! kill -0 "$shop_pid" 2>/dev/null; then break; fi
  inotifywait -qq -t 5 -e modify "$work/out" >/dev/null 2>&1 || true
done
echo "run-shop: no $expected; the shop printed:"; cat "$work/out"; tail -n 40 "$work/err" || true
exit 1
