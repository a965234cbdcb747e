#!/usr/bin/env bash
# Builds the whole-system benchmark and runs it: every measurement (or the
# ones named) on the sample and on generated libraries of 1,000 to 80,000
# fonts, printed as Markdown tables after the commit and the machine's load.
#
#   bash bench/whole_system.sh [--sizes 1000,20000] [--repetitions N] [MEASURE...]
#
# MEASURE: change, unchanged, memory, processes (see bench/whole_system.cpp).
# QBFA_BENCH_BUILD names the build folder (default build/bench).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${QBFA_BENCH_BUILD:-build/bench}

cmake -S . -B "$build" -DQBFA_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target qbfa_whole_bench -j"$(nproc)" >/dev/null

measures=(change unchanged processes memory)
for argument in "$@"; do
  case $argument in
    change | unchanged | processes | memory) measures=() ;;
  esac
done

changed=$(git status --porcelain --untracked-files=no | grep -q . && echo " (with uncommitted changes)" || true)
echo "commit $(git rev-parse --short HEAD)$changed, $(nproc) cores"
echo "load before:$(uptime | sed 's/.*load average//')"
"$build/bench/qbfa_whole_bench" "$@" "${measures[@]}"
echo
echo "load after:$(uptime | sed 's/.*load average//')"
