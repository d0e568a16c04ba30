#!/bin/bash
# Usage: packaging/bundle.sh
#
# Makes build/tarnwick-aarch64.tar.gz: one folder with the program for AArch64 and all that it needs at
# run time, to be unpacked anywhere on a device. The same tree and packages give the same bytes.
#
#   tarnwick/tarnwick   what is started (launcher.cpp)
#   tarnwick/program/   the program as the preset `aarch64` builds it
#   tarnwick/loader/    Debian's dynamic loader, under the program's name
#   tarnwick/lib/       Debian's libraries
#   tarnwick/licences/  their copyright notices, and the licences that these name
#   tarnwick/packages   the Debian packages and versions that they come from
set -euo pipefail

root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
build=$root/build/aarch64
sysroot=$root/build/sysroot-aarch64
archive=$root/build/tarnwick-aarch64.tar.gz
umask 022

fail() {
  echo "bundle.sh: $*" >&2
  exit 1
}

"$root/scripts/install-packages.sh" bundle
"$root/scripts/aarch64-sysroot.sh"

"$root/scripts/configure.sh" aarch64
cmake --build "$build" --target tarnwick tarnwick_launcher -- --quiet

staging=$(mktemp -d "$root/build/bundle.XXXXXX")
trap 'rm -rf "$staging"' EXIT
bundle=$staging/tarnwick
mkdir -p "$bundle"/{loader,program,lib,licences}
cp "$build/packaging/tarnwick_launcher" "$bundle/tarnwick"
cp "$build/tarnwick" "$bundle/program/tarnwick"

# Where the libraries of Debian are, as the loader's path has it.
folders=(/lib/aarch64-linux-gnu /usr/lib/aarch64-linux-gnu /usr/lib/aarch64-linux-gnu/android /usr/lib/p7zip)

needed() {
  aarch64-linux-gnu-readelf --dynamic --wide "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'
}

# take PATH TARGET: a file of the sysroot, with the notice of the package that it is from.
take() {
  local path=$1 package
  path=/$(realpath --relative-to="$sysroot" "$sysroot$path")
  package=$(awk -v path="$path" '$2 == path { print $1 }' "$sysroot/contents")
  [ -n "$package" ] || fail "$path is of no package"
  cp "$sysroot$path" "$2"
  cp "$sysroot/usr/share/doc/$package/copyright" "$bundle/licences/$package"
  grep "^$package " "$sysroot/packages" >>"$staging/packages"
}

# takeLibrary NAME: a shared library, and all that it needs in turn.
takeLibrary() {
  local name=$1 folder
  [ ! -e "$bundle/lib/$name" ] || return 0
  for folder in "${folders[@]}"; do
    if [ -e "$sysroot$folder/$name" ]; then
      take "$folder/$name" "$bundle/lib/$name"
      takeNeeded "$bundle/lib/$name"
      return
    fi
  done
  fail "$name is not in the sysroot"
}

takeNeeded() {
  local name
  for name in $(needed "$1"); do
    # The loader is a library too, and is there before all others.
    [ "$name" = ld-linux-aarch64.so.1 ] || takeLibrary "$name"
  done
}

take /lib/ld-linux-aarch64.so.1 "$bundle/loader/tarnwick"
takeNeeded "$bundle/program/tarnwick"
LC_ALL=C sort -u "$staging/packages" >"$bundle/packages"

# The notices name licences that every Debian system has in this folder.
licences=/usr/share/common-licenses
grep -rhoE "$licences/[A-Za-z0-9.-]*[A-Za-z0-9]" "$bundle/licences" | sort -u |
  while read -r licence; do
    [ ! -e "$licence" ] || cp -L "$licence" "$bundle/licences/"
  done

tar --create --sort=name --format=ustar --owner=0 --group=0 --numeric-owner --mtime=@0 \
  --mode='u=rwX,go=rX' --directory "$staging" tarnwick | gzip -9n >"$staging/archive"
mv "$staging/archive" "$archive"
echo "$archive"
