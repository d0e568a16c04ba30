#!/bin/bash
# Usage: scripts/aarch64-sysroot.sh
#
# Makes build/sysroot-aarch64 from Debian's arm64 packages of the platform's libraries, of GoogleTest and
# of all that these need, for the presets `aarch64` and `aarch64-asan` and for the bundle. Does nothing
# when it is there. Needs no root, and leaves the machine's package lists, sources and architectures as
# they are: apt works on a state of its own below the build folder.
#
# In the sysroot, the file `packages` has the name and version of each package that it was made from,
# `contents` the package of each file, and `shlibs` what to depend on for each library (see deb-shlibs(5)).
set -euo pipefail

packages=(
  android-liblog-dev
  android-libutils-dev
  android-liblog
  android-libutils
  libasan8
  libgtest-dev
  libubsan1
)

self=$(readlink -f -- "${BASH_SOURCE[0]}")
build=$(dirname -- "$(dirname -- "$self")")/build
sysroot=$build/sysroot-aarch64
work=$sysroot.new
log=$sysroot.log

fail() {
  echo "aarch64-sysroot.sh: $*" >&2
  exit 1
}

# A sysroot has its name only when it is whole, and one that another version of this script made is made
# anew.
mkdir -p "$build"
exec {lock}>"$sysroot.lock"
flock "$lock"
recipe=$(sha256sum <"$self")
[ "$(cat "$sysroot/recipe" 2>/dev/null)" != "$recipe" ] || exit 0

rm -rf "$work"
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{apt,root}
scripts=$(dirname -- "$self")
"$scripts/debian-sources.sh" arm64 >"$work/apt/sources.list"
"$scripts/apt-configuration.sh" "$work/apt" >"$work/apt/apt.conf"

apt_get() {
  APT_CONFIG=$work/apt/apt.conf apt-get -qq "$@" </dev/null >"$log" 2>&1 ||
    fail "apt-get $1 failed: $(cat "$log")"
}
# Without the option a mirror that cannot be reached is no failure.
apt_get update -o APT::Update::Error-Mode=any
# No package is installed, so that all that the named ones need comes with them.
apt_get install --download-only --yes --no-install-recommends "${packages[@]}"
rm -f "$log"

for package in "$work"/apt/archives/*.deb; do
  dpkg-deb --extract "$package" "$work/root"
  dpkg-deb --show --showformat='${Package} ${Version}\n' "$package" >>"$work/root/packages"
  name=$(dpkg-deb --field "$package" Package)
  dpkg-deb --control "$package" "$work/control"
  [ ! -e "$work/control/shlibs" ] || cat "$work/control/shlibs" >>"$work/root/shlibs"
  rm -r "$work/control"
  dpkg-deb --fsys-tarfile "$package" | tar --list | sed "s|^\.|$name |" >>"$work/root/contents"
done
echo "$recipe" >"$work/root/recipe"

rm -rf "$sysroot"
mv "$work/root" "$sysroot"
