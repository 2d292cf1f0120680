#!/usr/bin/env bash
# Builds the Debian packages of a build (configured with -DTANDRI_GTK=ON) with CPack, installs
# them into the system, builds and runs a program against that installation (no prefix), then
# purges them and checks that the system is as it was before: no file of theirs left.
# Needs root (or sudo); refuses to run while any of its packages is installed already.
#   scripts/test-debs.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build="$(realpath "$1")"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
packages=(libtandri1 libtandri-dev libtandri-gtk1 libtandri-gtk-dev libtandri-gtk4-1
  libtandri-gtk4-dev libtandri-qt1 libtandri-qt-dev)
apt=(-o DPkg::Lock::Timeout=600)  # another apt-get may be running: wait for it
for p in "${packages[@]}"; do
  if dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "installed"; then
    echo "test-debs: $p is installed already; not touching it"
    exit 1
  fi
done

work="$(mktemp -d /tmp/tandri-debs-XXXXXX)"
installed=0
cleanup() {
  if [ "$installed" -ne 0 ]; then
    $SUDO apt-get purge -y -qq "${apt[@]}" "${packages[@]}" >/dev/null 2>&1 || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

(cd "$build" && cpack -G DEB -B "$work/debs" >/dev/null)
rm -rf "$work/debs/_CPack_Packages"
ls -l "$work/debs"/*.deb
# The packages of the toolkits this build has.
built=()
for p in "${packages[@]}"; do
  if compgen -G "$work/debs/${p}_*.deb" >/dev/null; then built+=("$p"); fi
done
packages=("${built[@]}")

# Every path the packages hold, and which of them the system has before they come.
for deb in "$work/debs"/*.deb; do
  dpkg-deb --fsys-tarfile "$deb" | tar -t | sed -e 's|^\./|/|' -e 's|/$||' | grep -v '^\.\?$'
done | sort -u >"$work/files.txt"
present() {
  while read -r f; do
    if [ -e "$f" ] || [ -L "$f" ]; then echo "$f"; fi
  done <"$work/files.txt"
}
present >"$work/present-before.txt"
# And everything where they install, to see that nothing else is left either.
places=(/usr/include /usr/lib /usr/share/doc)
snapshot() { { find "${places[@]}" -xdev 2>/dev/null || true; } | sort; }
snapshot >"$work/before.txt"

installed=1
(cd "$work/debs" && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${apt[@]}" \
  ./*.deb >/dev/null)
dpkg -L libtandri-gtk1 | grep -q '/tandri-1/web-extensions/libtandri_webext\.so$'
if [[ " ${packages[*]} " == *" libtandri-gtk4-1 "* ]]; then
  dpkg -L libtandri-gtk4-1 | grep -q '/tandri-1/web-process-extensions/libtandri_webext6\.so$'
  # A GTK 4 application's packages pull in nothing of GTK 3.
  ! dpkg-deb -f "$work"/debs/libtandri-gtk4-1_*.deb Depends | grep -q 'gtk-3\|webkit2gtk'
fi
if [[ " ${packages[*]} " == *" libtandri-qt1 "* ]]; then
  # A Qt application's packages pull in no GTK.
  ! dpkg-deb -f "$work"/debs/libtandri-qt1_*.deb Depends | grep -q 'gtk'
fi

bash scripts/check-consumer.sh "$work"

DEBIAN_FRONTEND=noninteractive $SUDO apt-get purge -y -qq "${apt[@]}" "${packages[@]}" >/dev/null
installed=0
present >"$work/present-after.txt"
snapshot >"$work/after.txt"
if ! diff -u "$work/present-before.txt" "$work/present-after.txt" ||
  ! diff -u "$work/before.txt" "$work/after.txt"; then
  echo "test-debs: files left after purging (above)"
  exit 1
fi
echo "-- the packages installed, served a program and went away without a trace"
