#!/bin/bash
# Usage: ./test.sh [--resume] [all | coverage | PART...]
#
# Checks the tree, and installs what that takes.
#
#   ./test.sh            what finds most, in about seven minutes: before every commit
#   ./test.sh all        everything that has to pass, in less than an hour
#   ./test.sh coverage   how much of the program the tests reach
#   ./test.sh PART...    parts of `all`: format release asan tsan aarch64 bundle packages kernel libcxx clang tidy
#   ./test.sh --resume   continues at the step at which the last run of the same lane failed
#
# tests/README.md says what the lanes leave out. Each step's output is in build/test/. The last line sums up all tests
# that ctest has run, `N passed, N failed`; a step that fails for another reason than a test counts as one failure.
set -euo pipefail

cd "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")"
exec </dev/null

parts=$(sed -n 's/^#.* parts of `all`: //p' test.sh)
for word in "$@"; do
  case " --resume all coverage $parts " in
    *" $word "*) continue ;;
  esac
  case $word in
    -h | --help)
      sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//p}' test.sh
      exit
      ;;
  esac
  echo "test.sh: there is no part '$word'; the parts are $parts" >&2
  exit 2
done

group=test
case $* in
  "" | --resume) group=check ;;
esac
if ! scripts/install-packages.sh "$group"; then
  echo "0 passed, 1 failed"
  exit 1
fi
PYTHONDONTWRITEBYTECODE=1 exec python3 tests/lanes/main.py "$@"
