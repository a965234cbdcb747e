#!/usr/bin/env bash
# Runs every test of the project on a fresh Debian 12 machine:
#   1. installs the Debian packages that are missing,
#   2. builds with warnings as errors and runs all tests,
#   3. builds again with AddressSanitizer and UndefinedBehaviorSanitizer,
#      runs all tests once more and soaks the whole system for 30 seconds,
#   4. builds the watcher's tests with ThreadSanitizer and runs them,
#   5. builds what is shipped with Clang, installs it and makes the Debian
#      package, and runs both without the build tree,
#   6. fuzzes every parser of outside input for about a minute in all.
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

# Release: GCC's -O3 finds warnings that -O2 does not.
suite build/ci-plain -DCMAKE_BUILD_TYPE=Release
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
suite build/ci-asan -DQBFA_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=Debug

# Half a minute of the soak (scripts/soak.sh runs it for longer), built by
# the suite above: the host, the plug-in and the listener under both
# sanitizers beside the SQLite 2 writer, with a switch every 20 ms.
echo "=== soak, 30 s"
build/ci-asan/tests/soak/qbfa_soak --seconds 30
unset ASAN_OPTIONS UBSAN_OPTIONS

# The watcher's threads under ThreadSanitizer: the watcher task, its stop and
# its handover to the main thread, and the refresh it leads to. Only those
# tests and what they link are built; they are run directly, as ctest would
# look for every other test executable too.
echo "=== build/ci-tsan"
tsan_tests=(watch_task_tests watch_watcher_tests watch_refresh_tests)
cmake -S . -B build/ci-tsan -DQBFA_WERROR=ON -DQBFA_SANITIZE=thread -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build/ci-tsan -j"$jobs" --target "${tsan_tests[@]}"
for test in "${tsan_tests[@]}"; do
  TSAN_OPTIONS=halt_on_error=1 build/ci-tsan/tests/watch/"$test"
done

# What a user installs, built by the other compiler: qbfa, the plug-in, the
# host framework and the man page, then the installed tree and the package
# tried without the build tree.
echo "=== build/ci-clang-release"
CC=clang CXX=clang++ cmake -S . -B build/ci-clang-release -DQBFA_WERROR=ON \
  -DCMAKE_BUILD_TYPE=Release -DQBFA_BUILD_TESTS=OFF >/dev/null
cmake --build build/ci-clang-release -j"$jobs"
bash tests/packaging/installed_tree_test.sh build/ci-clang-release

# About a minute of fuzzing in all, shared by every fuzz target. A finding
# fails the run and is left under tests/ as a regression file.
bash scripts/fuzz.sh 1

echo "All tests passed."
