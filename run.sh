#!/bin/bash
# Usage: ./run.sh [OPTION]...
#
# Installs the packages that are missing, builds the program if needed and replaces itself with it, with the
# given options or with `--stdout --iter=1`. `--help` neither installs nor builds.
#
# Standard output is the program's alone. On standard error: what is installed, the progress of the build if
# that is a terminal, the whole output of a build that fails, and warnings about the options (see
# scripts/advise.sh).
set -euo pipefail

root=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
folder=$root/build/release
program=$folder/tarnwick
. "$root/scripts/logged.sh"
. "$root/scripts/advise.sh"

build() {
  "$root/scripts/configure.sh" release && cmake --build "$folder" --target tarnwick
}

# The program prints its usage on standard error, and so does this.
printHelp() {
  cat >&2 <<HELP
Usage: ./run.sh [OPTION]...

Runs the program with these options; without any: --stdout --iter=1.
The program is not built yet. Any other call installs the Debian packages that are missing
(as root or with sudo), builds it below $root/build and runs it.
README.md lists the program's options.
HELP
}

# foreignPath: prints a path that the build has to write and this user may not: another user's file in the
# build folder, or the folder that the build folder would be made in. Prints nothing if there is none.
foreignPath() {
  if [ -e "$folder" ]; then
    find "$folder" ! -type l ! -writable ! -user "$(id -u)" -print -quit 2>/dev/null
  elif [ -e "$root/build" ]; then
    [ -w "$root/build" ] || echo "$root/build"
  elif [ ! -w "$root" ]; then
    echo "$root"
  fi
}

# A source that is newer than the program may not be in it.
isUpToDate() {
  [ -r "$program" ] && [ -x "$program" ] &&
    [ -z "$(find "$root"/{CMakeLists.txt,CMakePresets.json,cli,cmake,collector,proc,sysstat,trace} \
      -type f -newer "$program" -print -quit 2>/dev/null)" ]
}

# runAsBuilt PATH: for a user who may not write PATH. Ends the script unless the program is up to date.
runAsBuilt() {
  local lock owner
  # The owner may be building.
  if { exec {lock}<"$folder/.run-lock"; } 2>/dev/null; then
    flock --shared "$lock"
    exec {lock}<&-
  fi
  isUpToDate && return
  owner=$(stat -c %U -- "$1")
  echo "run.sh: cannot build: no permission to write $1, which belongs to $owner;" \
    "run as $owner, copy the tree, or as root: chown -R $(id -un) $root" >&2
  exit 1
}

for option; do
  if [ "$option" = --help ]; then
    # A program that was built elsewhere may not start here.
    [ ! -x "$program" ] || ! "$program" "$@" || exit 0
    printHelp
    exit 0
  fi
done

"$root/scripts/install-packages.sh" build

foreign=$(foreignPath)
if [ -n "$foreign" ]; then
  runAsBuilt "$foreign"
else
  # One build at a time, however many runs are started together.
  mkdir -p "$folder"
  exec {lock}>"$folder/.run-lock"
  flock "$lock"
  if ! logged "$folder/run.log" build; then
    cat "$folder/run.log" >&2
    echo "run.sh: the build failed" >&2
    exit 1
  fi
  exec {lock}>&-
fi

[ $# -gt 0 ] || set -- --stdout --iter=1
(advise "$@") >&2 </dev/null || true
exec "$program" "$@"
