#!/usr/bin/env bash
# Runs the Secret Service tests against a real keyring: a private session bus with a
# gnome-keyring daemon unlocked on a throw-away keyring directory.
#   scripts/test-secret-service.sh [path to tandri_tests]
set -euo pipefail
tests="$(realpath "${1:-build/dev/tandri_tests}")"
scratch="$(mktemp -d /tmp/tandri-keyring-XXXXXX)"
trap 'rm -rf "$scratch"' EXIT
mkdir -m 700 -p "$scratch/data" "$scratch/run" "$scratch/home"

inner='
set -euo pipefail
printf "%s" test-password | gnome-keyring-daemon --unlock --components=secrets >/dev/null
for _ in $(seq 50); do
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null \
    | grep -q "boolean true" && break
  sleep 0.1
done
TANDRI_REQUIRE_SECRET_SERVICE=1 "$0" --gtest_filter="SecretService*"
'
XDG_DATA_HOME="$scratch/data" XDG_RUNTIME_DIR="$scratch/run" HOME="$scratch/home" \
  dbus-run-session -- bash -c "$inner" "$tests"
