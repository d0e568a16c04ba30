#!/bin/bash
# Usage: scripts/install-packages.sh GROUP...
#
# Installs what is missing of the Debian 12 packages of the groups:
#
#   build   what the program is built with
#   bundle  what the bundle for AArch64 is made with
#   package what the Debian packages are made with
#   test    all of these, and what test.sh runs
#   bench   what the program is built with, and what bench/run measures with and against
#
# Touches neither the network nor sudo when all of them are there. Everything that is said goes to
# standard error.
set -euo pipefail

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

test_packages=(
  "${package_packages[@]}"
  bash-completion
  blueprint-tools     # bpfmt
  clang
  clang-format
  clang-tidy
  device-tree-compiler
  e2fsprogs
  fish
  gcovr               # for test.sh coverage
  groff-base          # what man formats with
  libbenchmark-dev    # the benches are checked, too
  libc++-dev
  libc++abi-dev
  libclang-rt-14-dev  # the sanitizers' runtimes
  libgtest-dev
  lintian
  llvm                # names and lines in the sanitizers' reports
  man-db
  mandoc
  mmdebstrap          # makes the clean tree in which the package is installed
  mount
  patch
  python3
  qemu-system-arm
  qemu-user-static
  rsync
  strace
  util-linux
  valgrind
  zsh
)

bench_packages=(
  "${build_packages[@]}"
  atop
  findutils
  libbenchmark-dev
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

[ $# -gt 0 ] || fail "name a group of packages: build, bundle, package, test, bench"
wanted=()
for group in "$@"; do
  case $group in
    build) wanted+=("${build_packages[@]}") ;;
    bundle) wanted+=("${bundle_packages[@]}") ;;
    package) wanted+=("${package_packages[@]}") ;;
    test) wanted+=("${test_packages[@]}") ;;
    bench) wanted+=("${bench_packages[@]}") ;;
    *) fail "there is no group '$group'; the groups are build, bundle, package, test and bench" ;;
  esac
done

command -v dpkg-query >/dev/null || fail "no Debian system; install what ${wanted[*]} are here"
# A package that dpkg has never heard of has no line in its answer, and a status for the whole query.
installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${wanted[@]}" \
  2>/dev/null || true)
missing=()
for package in "${wanted[@]}"; do
  grep -Fqx "installed $package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null ||
    fail "installing packages needs root or sudo; as root: apt-get install ${missing[*]}"
  as_root=(sudo)
fi

echo "Installing ${missing[*]}" >&2
# Standard input stays with the caller: it may be meant for the program.
apt_get() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq \
    -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0 "$@" </dev/null >&2
}
apt_get update || fail "the package lists cannot be updated; missing: ${missing[*]}"
apt_get install --yes --no-install-recommends "${missing[@]}" || fail "cannot install ${missing[*]}"
