#!/usr/bin/env bash
# Runs every test of the project on a fresh Debian 12 machine:
#   1. installs the Debian packages that are missing,
#   2. builds with warnings as errors and runs all tests,
#   3. builds again with AddressSanitizer and UndefinedBehaviorSanitizer and
#      runs all tests once more.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc)
export CTEST_OUTPUT_ON_FAILURE=1

suite() {
  local dir=$1
  shift
  echo "=== $dir"
  cmake -S . -B "$dir" -DQBFA_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  ctest --test-dir "$dir" -j"$jobs" --timeout 600
}

suite build/ci-plain
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  suite build/ci-asan -DQBFA_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=Debug

# The database fuzzer for about a minute, seeded with the fixtures. Any
# crash, sanitizer report or hang fails the run and leaves the input in
# build/ci-fuzz/ for a regression file under tests/sqlite2/hostile.
echo "=== build/ci-fuzz"
CC=clang CXX=clang++ cmake -S . -B build/ci-fuzz -DQBFA_BUILD_FUZZ=ON >/dev/null
cmake --build build/ci-fuzz -j"$jobs"
mkdir -p build/ci-fuzz/corpus
build/ci-fuzz/fuzz/database_fuzzer -max_total_time=60 -max_len=32768 -timeout=10 \
  -rss_limit_mb=2048 -artifact_prefix=build/ci-fuzz/ build/ci-fuzz/corpus ../shared/fixtures

echo "All tests passed."
