#!/bin/bash
# Usage: scripts/configure.sh PRESET [CMAKE_OPTION]...
#
# Configures a preset to build the program: without tests where nothing has been built yet, or where the tree
# was copied with the build folder of another place; as it was configured before otherwise, so that a folder
# of test.sh keeps its tests, unless what they need has gone.
set -euo pipefail

root=$(dirname -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")")
preset=$1
shift

if ! command -v cmake >/dev/null; then
  echo "configure.sh: there is no cmake; scripts/install-packages.sh build installs it" >&2
  exit 1
fi

configure() {
  cmake -S "$root" --preset "$preset" "$@"
}

if ! grep -Fqx "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$root/build/$preset/CMakeCache.txt" 2>/dev/null; then
  configure --fresh "$@" -DTARNWICK_TESTS=OFF
else
  configure "$@" || configure "$@" -DTARNWICK_TESTS=OFF
fi
