#!/bin/bash
# Usage: packaging/packages.sh
#
# Makes the Debian packages build/tarnwick_VERSION_amd64.deb and build/tarnwick_VERSION_arm64.deb, of the
# presets `release` and `aarch64`. The same tree and tools give the same bytes.
set -euo pipefail

root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
umask 022

"$root/scripts/install-packages.sh" package
"$root/scripts/aarch64-sysroot.sh"

for preset in release aarch64; do
  build=$root/build/$preset
  "$root/scripts/configure.sh" "$preset"
  cmake --build "$build" --target tarnwick -- --quiet
  rm -rf "$build/package"
  cpack --config "$build/CPackConfig.cmake" -B "$build/package"
  mv "$build"/package/*.deb "$root/build/"
done
