#!/bin/bash
# Usage: scripts/debian-tree.sh
#
# Makes build/debian-tree.tar, a Debian with nothing but its essential packages and apt, for the test that
# installs the program's package. apt has its lists, and the packages of the platform's libraries with
# all that these need, so that no mirror is needed any more. Does nothing when the file is there.
set -euo pipefail

self=$(readlink -f -- "${BASH_SOURCE[0]}")
root=$(dirname -- "$(dirname -- "$self")")
tree=$root/build/debian-tree.tar
log=$tree.log

fail() {
  echo "debian-tree.sh: $*" >&2
  exit 1
}

"$root/scripts/install-packages.sh" tree

# A tree that another version of this script made is made anew.
mkdir -p "$root/build"
exec {lock}>"$tree.lock"
flock "$lock"
recipe=$(sha256sum <"$self")
[ ! -e "$tree" ] || [ "$(cat "$tree.recipe" 2>/dev/null)" != "$recipe" ] || exit 0

work=$(mktemp -d "$tree.XXXXXX")
trap 'rm -rf "$work"' EXIT
architecture=$(dpkg --print-architecture)
"$root/scripts/debian-sources.sh" "$architecture" >"$work/sources.list"
apt-config dump | grep '^Acquire::' >"$work/apt.conf"
echo 'Acquire::GzipIndexes "true";' >>"$work/apt.conf"

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" mmdebstrap --mode=root --variant=minbase --format=tar --skip=cleanup/apt \
  --aptopt="$work/apt.conf" --dpkgopt=force-unsafe-io \
  --customize-hook='chroot "$1" apt-get clean' \
  --customize-hook='chroot "$1" apt-get install --yes --no-install-recommends --download-only \
    android-liblog android-libutils' \
  --customize-hook='rm -f "$1"/var/cache/apt/*.bin' \
  "$(. /etc/os-release && echo "$VERSION_CODENAME")" - "$work/sources.list" \
  >"$work/tree" 2>"$log" </dev/null || fail "mmdebstrap failed: $(cat "$log")"
rm -f "$log"
mv "$work/tree" "$tree"
echo "$recipe" >"$tree.recipe"
