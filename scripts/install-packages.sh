#!/bin/bash
# Usage: scripts/install-packages.sh GROUP...
#
# Installs what is missing of the Debian 12 packages of the groups:
#
#   build   what the program is built with
#   bundle  what the bundle for AArch64 is made with
#   package what the Debian packages are made with
#   tree    what scripts/debian-tree.sh makes the clean tree with
#   check   what the program is built with, and what test.sh runs without arguments
#   test    all of these, and what the rest of test.sh runs
#   bench   what the program is built with, and what bench/run measures with and against
#
# Uses neither the network nor sudo if all of them are installed. Prints on standard error alone: what it
# installs, apt's progress if that is a terminal, and one line if it fails. All that apt printed is then in
# build/install-packages.log.
set -euo pipefail

scripts=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
. "$scripts/logged.sh"

build_packages=(
  android-liblog-dev
  android-libutils-dev
  cmake
  g++
  ninja-build
)

bundle_packages=(
  cmake
  debian-archive-keyring
  g++-aarch64-linux-gnu
  ninja-build
)

package_packages=(
  "${build_packages[@]}"
  "${bundle_packages[@]}"
  dpkg-dev
  file                # CPack tells programs from other files by it
)

# The package is installed in this tree, to test it.
tree_packages=(
  debian-archive-keyring
  mmdebstrap
)

check_packages=(
  "${build_packages[@]}"
  blueprint-tools     # bpfmt
  clang
  clang-format
  clang-tidy
  git                 # which files differ from the main branch
  libbenchmark-dev    # the benches are built, too
  libtraceevent-dev   # the benches compare with it
  libgtest-dev
  mandoc
  mount
  python3
  strace
  util-linux
)

test_packages=(
  "${check_packages[@]}"
  "${package_packages[@]}"
  "${tree_packages[@]}"
  bash-completion
  device-tree-compiler
  e2fsprogs
  erofs-utils
  f2fs-tools
  fish
  gcovr               # for test.sh coverage
  groff-base          # what man formats with
  libc++-dev
  libc++abi-dev
  libclang-rt-14-dev  # the sanitizers' runtimes
  lintian
  llvm                # names and lines in the sanitizers' reports
  man-db
  patch
  qemu-system-arm
  qemu-user-static
  rsync
  valgrind
  xfsprogs
  zsh
)

bench_packages=(
  "${build_packages[@]}"
  atop
  findutils
  libbenchmark-dev
  libtraceevent-dev
  procps
  python3
  sysstat
  util-linux
  valgrind
)

fail() {
  echo "install-packages.sh: $*" >&2
  exit 1
}

[ $# -gt 0 ] || fail "name a group of packages: build, bundle, package, tree, check, test, bench"
wanted=()
for group in "$@"; do
  case $group in
    build) wanted+=("${build_packages[@]}") ;;
    bundle) wanted+=("${bundle_packages[@]}") ;;
    package) wanted+=("${package_packages[@]}") ;;
    tree) wanted+=("${tree_packages[@]}") ;;
    check) wanted+=("${check_packages[@]}") ;;
    test) wanted+=("${test_packages[@]}") ;;
    bench) wanted+=("${bench_packages[@]}") ;;
    *) fail "there is no group '$group'; the groups are build, bundle, package, tree, check, test and bench" ;;
  esac
done

command -v dpkg-query >/dev/null || fail "no Debian system; install what ${wanted[*]} are here"
# A package that dpkg has never heard of has no line in its answer, and a status for the whole query.
installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${wanted[@]}" \
  2>/dev/null || true)
missing=()
for package in "${wanted[@]}"; do
  # A package can be in several groups.
  [[ " ${missing[*]} " == *" $package "* ]] || grep -Fqx "installed $package" <<<"$installed" ||
    missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null ||
    fail "installing packages needs root or sudo; as root: apt-get install ${missing[*]}"
  as_root=(sudo)
fi

echo "Installing ${missing[*]}" >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
: >"$work/log"

# apt_get OPTION...: apt's output is added to the log.
apt_get() {
  local status=0
  logged "$work/output" "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 apt-get -q \
    -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0 "$@" || status=$?
  cat "$work/output" >>"$work/log"
  return "$status"
}

# failAfter WHAT: prints the first error of the log, from which the others follow, and keeps the log.
failAfter() {
  local log=$scripts/../build/install-packages.log reason remedy="fix that, then try again"
  reason=$(sed -n '/^E: /{s///p;q}' "$work/log")
  [ -n "$reason" ] || reason=$(tail -n 1 "$work/log")
  [[ $reason != "Failed to fetch "* ]] || remedy="check the network, then try again"
  if ! { mkdir -p "${log%/*}" && cp "$work/log" "$log"; } 2>/dev/null; then
    log=$(mktemp)
    cp "$work/log" "$log"
  fi
  fail "$1: ${reason:-no message}; $remedy (log: $(realpath "$log"))"
}

# Without the option a mirror that cannot be reached is no failure. If some answered, the packages may be
# there.
apt_get update -o APT::Update::Error-Mode=any || grep -Eq '^(Hit|Get):' "$work/log" ||
  failAfter "cannot update the package lists"
apt_get install --yes --no-install-recommends "${missing[@]}" || failAfter "cannot install packages"
