#!/usr/bin/env bash
# Runs a command against the current display, or a private Xvfb when there is none.
set -euo pipefail
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
  exec "$@"
fi
exec xvfb-run -a -s "-screen 0 1280x1024x24" "$@"
