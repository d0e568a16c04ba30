#!/bin/bash
# Usage: tests/kernel/fetch-kernels.sh VERSION...
#
# Brings Debian's arm64 kernels of these versions (5.10, 6.1, 6.12) to build/kernels/VERSION, and a
# statically linked busybox to build/kernels/busybox. Does nothing for what is there. A version whose
# suite the mirror no longer has is told and left out, and the status is 3. Needs no root, and leaves the
# machine's package lists, sources and architectures as they are: apt works on a state of its own below
# the build folder.
set -euo pipefail

root=$(dirname -- "$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")")
kernels=$root/build/kernels
work=$kernels/new

fail() {
  echo "fetch-kernels.sh: $*" >&2
  exit 1
}

# The release of Debian that has a kernel.
suiteOf() {
  case $1 in
    5.10) echo bullseye ;;
    6.1) echo bookworm ;;
    6.12) echo trixie ;;
    *) fail "there is no kernel $1; the kernels are 5.10, 6.1 and 6.12" ;;
  esac
}

[ $# -gt 0 ] || fail "name a kernel: 5.10, 6.1, 6.12"
mkdir -p "$kernels"
exec {lock}>"$kernels/lock"
flock "$lock"

# The mirror is the one that the machine itself uses for its release.
mirror=$(apt-get indextargets --no-release-info --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
  sed -n "s/ $(. /etc/os-release && echo "$VERSION_CODENAME") main\$//p" | head -n 1)
[ -n "$mirror" ] || fail "apt knows no mirror of this release"

# useSuite SUITE: from here on apt-get and apt-cache see this suite alone, and no installed package.
useSuite() {
  rm -rf "$work"
  mkdir -p "$work/root"
  echo "deb [arch=arm64 signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $1 main" \
    >"$work/sources.list"
  "$root/scripts/apt-configuration.sh" "$work" >"$work/apt.conf" || fail "cannot configure apt"
  # Without the option a mirror that cannot be reached is no failure.
  APT_CONFIG=$work/apt.conf apt-get -qq -o APT::Update::Error-Mode=any update </dev/null >"$work/log" 2>&1
}

# unpack PACKAGE: into $work/root.
unpack() {
  (cd "$work" && APT_CONFIG=$work/apt.conf apt-get -qq download "$1" </dev/null >"$work/log" 2>&1) ||
    fail "cannot download $1: $(cat "$work/log")"
  dpkg-deb --extract "$work/$1"_*.deb "$work/root" || fail "cannot unpack $1"
}

# What stands in $kernels is whole. The shell does not end at a command that fails here, since the caller
# asks for the status.
fetchKernel() {
  local version=$1 package
  useSuite "$(suiteOf "$version")" || return
  # The newest one of the suite, by the package that always depends on it.
  package=$(APT_CONFIG=$work/apt.conf apt-cache depends linux-image-arm64 |
    sed -n 's/^ *Depends: \(linux-image-.*-arm64\)$/\1/p')
  case $package in
    "linux-image-$version."*) ;;
    *) fail "$(suiteOf "$version") has no kernel $version: '$package'" ;;
  esac
  unpack "$package"
  mkdir "$work/kernel" || fail "cannot make $work/kernel"
  mv "$work"/root/boot/vmlinuz-* "$work/kernel/vmlinuz" || fail "$package has no kernel"
  # From 6.12 on below /usr.
  [ -d "$work/root/lib" ] || mv "$work/root/usr/lib" "$work/root/lib" || fail "$package has no modules"
  mv "$work"/root/lib/modules/*-arm64 "$work/kernel/modules" || fail "$package has no modules"
  echo "$package" >"$work/kernel/package" || fail "cannot write $work/kernel/package"
  mv "$work/kernel" "$kernels/$version" || fail "cannot make $kernels/$version"
}

fetchBusybox() {
  useSuite "$(suiteOf 6.1)" || fail "the package lists cannot be updated: $(cat "$work/log")"
  unpack busybox-static
  mv "$work/root/bin/busybox" "$kernels/busybox"
}

trap 'rm -rf "$work"' EXIT
[ -e "$kernels/busybox" ] || fetchBusybox
status=0
for version in "$@"; do
  suite=$(suiteOf "$version")
  [ ! -d "$kernels/$version" ] || continue
  if ! fetchKernel "$version"; then
    echo "fetch-kernels.sh: no kernel $version: the mirror's suite $suite cannot be had:" >&2
    cat "$work/log" >&2
    status=3
  fi
done
exit "$status"
