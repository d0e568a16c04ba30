#!/bin/bash
# Usage: ./run.sh [OPTION]...
#
# Builds the program where that is needed and becomes it, with the options that are given, or without
# any with `--stdout --iter=1`. Standard output is the program's alone; the build speaks up, on standard
# error, only when it fails.
set -euo pipefail

root=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
folder=$root/build/release

build() {
  "$root/scripts/configure.sh" release && cmake --build "$folder" --target tarnwick
}

"$root/scripts/install-packages.sh" build

# One build at a time, however many runs are started together.
mkdir -p "$folder"
exec {lock}>"$folder/.run-lock"
flock "$lock"
if ! output=$(build </dev/null 2>&1); then
  printf '%s\n' "$output" >&2
  echo "run.sh: the build failed" >&2
  exit 1
fi
exec {lock}>&-

[ $# -gt 0 ] || set -- --stdout --iter=1
exec "$folder/tarnwick" "$@"
