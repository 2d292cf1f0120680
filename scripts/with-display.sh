#!/usr/bin/env bash
# Runs a command against the current display, or a private Xvfb when there is none.
#
# The private server picks its own free display number and writes it to us (-displayfd), so any
# number of these can start at once. (xvfb-run -a looks for a free number itself and then starts
# the server: two started in the same instant pick the same number and one of them fails.)
set -euo pipefail
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
  exec "$@"
fi

dir=$(mktemp -d "${TMPDIR:-/tmp}/with-display.XXXXXX")
xvfb_pid=""
cleanup() {
  if [[ -n "$xvfb_pid" ]]; then
    kill "$xvfb_pid" 2>/dev/null || true
    wait "$xvfb_pid" 2>/dev/null || true
  fi
  rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

mkfifo "$dir/displayfd"
# Local connections only; a test display needs no cookie.
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$dir/displayfd" 2>"$dir/xvfb.log" &
xvfb_pid=$!
# The server writes its display number once it accepts connections; nothing if it fails to start.
read -r number <"$dir/displayfd" || true
if [[ -z "${number:-}" ]]; then
  echo "with-display.sh: Xvfb did not start:" >&2
  cat "$dir/xvfb.log" >&2
  exit 1
fi

export DISPLAY=":$number"
set +e
"$@"
status=$?
set -e
exit "$status"
