#!/bin/bash
# Usage: ./test.sh [coverage]
#
# Checks all that a commit has to pass, in the order below, and stops at the first step that fails; what takes
# longer has commands of its own, see tests/README.md. With `coverage` only the tests run that reach the program
# by this machine's kernel; how much of it they reach is printed, with every line that they do not. The last
# line sums up the tests that ctest runs in all builds, `N passed, N failed`; a step that fails for another
# reason than a test counts as one failure, so that the line never says 0 failed where the status is not 0.
set -euo pipefail

cd "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")"
exec </dev/null

jobs=$(nproc)
passed=0
failed=0
skipped=0
step=

begin() {
  step=$*
  printf '\n=== %s (after %d s)\n' "$step" "$SECONDS"
}

sumUp() {
  local status=$?
  echo
  if [ "$status" -ne 0 ]; then
    echo "FAILED: $step"
    [ "$failed" -gt 0 ] || failed=1
  fi
  [ "$skipped" -eq 0 ] || echo "$skipped skipped"
  echo "$passed passed, $failed failed"
  exit "$status"
}
trap sumUp EXIT

# Address space layout as random as newer kernels make it leaves no room for the sanitizers' shadow.
fixedLayout=()
if setarch --addr-no-randomize true 2>/dev/null; then
  fixedLayout=(setarch --addr-no-randomize)
fi

# The made-up device of the tests needs a user namespace, which a chroot or a setting can forbid to an
# ordinary user.
asRoot=()
if [ "$(id -u)" -ne 0 ] && ! unshare --user true 2>/dev/null; then
  asRoot=(sudo)
fi

# build PRESET [CMAKE_OPTION]...
build() {
  local preset=$1
  begin "build $preset"
  cmake --preset "$preset" -DTARNWICK_TESTS=ON -DTARNWICK_BENCHES=ON "${@:2}"
  # Building runs the test programs too, for the names of their tests.
  "${fixedLayout[@]}" cmake --build --preset "$preset" -- --quiet
}

# run PRESET [CTEST_OPTION]...: the tests of a build. The counts are those of ctest's line for each test; a
# test that was skipped has not passed.
run() {
  local preset=$1 log=build/$1/ctest.log status=0
  begin "test $preset"
  "${asRoot[@]}" "${fixedLayout[@]}" ctest --preset "$preset" "${@:2}" --parallel "$jobs" --output-on-failure --no-tests=error \
    2>&1 | tee "$log" || status=$?
  local counts
  counts=$(awk '
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: / {
      if (/ Passed +[0-9.]+ sec/) ++passed
      else if (/\*\*\*Skipped|\*\*\*Not Run \(Disabled\)/) ++skipped
      else ++failed
    }
    END { print passed + 0, failed + 0, skipped + 0 }' "$log")
  local p f s
  read -r p f s <<<"$counts"
  passed=$((passed + p)) failed=$((failed + f)) skipped=$((skipped + s))
  return "$status"
}

coverage() {
  begin "packages"
  scripts/install-packages.sh test

  # Counts that an earlier build has left do not fit.
  mkdir -p build/coverage
  find build/coverage -name '*.gcda' -delete
  build coverage -DTARNWICK_BENCHES=OFF
  # The rest looks at what is made of the program, and not at what it does. The stress tests would lose the
  # counts of all: they kill the program, and fail its calls, also while it adds its own counts to them.
  run coverage --exclude-regex '^(build|packaging|stress)'

  begin "coverage"
  local report=build/coverage/coverage.json status=0
  # Left out are the branches that the compiler makes of its own: to clean up after an exception, and where none
  # can be taken.
  gcovr --root . --exclude-directories '.*/CompilerIdCXX' --exclude tests/ --exclude cli/main.cpp \
    --exclude-throw-branches --exclude-unreachable-branches --json "$report" --print-summary \
    --fail-under-line 95 --fail-under-branch 85 build/coverage || status=$?
  python3 - "$report" <<'END'
import json
import sys

for file in json.load(open(sys.argv[1]))["files"]:
    text = open(file["file"]).read().splitlines()
    for line in file["lines"]:
        if line["count"] == 0 and not line["gcovr/noncode"]:
            number = line["line_number"]
            print(f"{file['file']}:{number}: not reached: {text[number - 1].strip()}")
END
  return "$status"
}

case $* in
  "") ;;
  coverage) coverage; exit ;;
  *) echo "Usage: ./test.sh [coverage]" >&2; exit 2 ;;
esac

begin "packages"
scripts/install-packages.sh test

begin "format"
find . -path ./build -prune -o -path './.*' -prune -o \
  -type f \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 clang-format --dry-run --Werror

build release
run release

begin "build libcxx"
cmake --preset libcxx
cmake --build --preset libcxx -- --quiet

begin "test libcxx"
# The unit tests stay out: their library is linked to the other C++ library.
"${asRoot[@]}" env TARNWICK=build/libcxx/tarnwick PYTHONDONTWRITEBYTECODE=1 \
  python3 -m unittest discover -s tests/device -p test_trees.py

begin "sysroot"
scripts/aarch64-sysroot.sh
build aarch64
begin "bundle"
packaging/bundle.sh
begin "packages for Debian"
packaging/packages.sh
scripts/debian-tree.sh
run aarch64 --label-exclude kernel

begin "kernels"
tests/kernel/fetch-kernels.sh 6.1
run aarch64 --label-regex kernel

build clang

begin "clang-tidy"
# Each file's findings in one piece; of a clean file only the number of warnings in foreign headers
# would be told.
tidy() {
  local output
  output=$(clang-tidy -p build/clang --quiet --warnings-as-errors='*' "$1" 2>&1) && return
  printf '%s\n' "$output"
  return 1
}
export -f tidy
python3 -c '
import json
for entry in json.load(open("build/clang/compile_commands.json")):
    print(entry["file"], end="\0")' |
  sort -zu | xargs -0 -P "$jobs" -n 1 bash -c 'tidy "$1"' tidy

# What waits a minute for the program's own periods has run above.
for sanitizer in asan tsan; do
  build "$sanitizer"
  run "$sanitizer" --label-exclude slow
done
