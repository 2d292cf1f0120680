#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need. Idempotent: apt-get update runs
# only when something is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsimdjson-dev liburiparser-dev nlohmann-json3-dev iso-codes libstb-dev
  libplist-dev libsqlite3-dev libsecret-1-dev gnome-keyring dbus libb64-dev
  nodejs openssl curl file dpkg-dev
  libwebkit2gtk-4.1-dev libsoup-3.0-dev xvfb xauth xdotool inotify-tools
  libwebkitgtk-6.0-dev libgtk-4-dev libadwaita-1-dev libxtst-dev
  qt6-base-dev qt6-webengine-dev qt6-webchannel-dev x11-apps netpbm
)
if [ -n "${TANDRI_EXTRA_PACKAGES:-}" ]; then
  read -r -a extra <<<"$TANDRI_EXTRA_PACKAGES"
  packages+=("${extra[@]}")
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
