#!/usr/bin/env bash
# Builds what the soak needs and runs it: `qbfa host` with the plug-in on a
# private session bus, beside the project's SQLite 2 writer committing
# transactions that move fonts between sets, with a front-application switch
# every 20 ms and a listener process reading every publication. Prints its
# figures at the end; exit status 1 when a check failed.
#
#   bash scripts/soak.sh [--asan] [SECONDS]     # default 600 seconds
#
# --asan builds and runs everything (the host, the plug-in, the listener and
# the soak itself) with AddressSanitizer and UndefinedBehaviorSanitizer.
# QBFA_SOAK_BUILD names the build folder (default build/soak or
# build/soak-asan).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=600
sanitize=
for argument in "$@"; do
  case $argument in
    --asan) sanitize=address,undefined ;;
    '' | *[!0-9]*)
      echo "usage: bash scripts/soak.sh [--asan] [SECONDS]" >&2
      exit 2
      ;;
    *) seconds=$argument ;;
  esac
done

if [[ -n $sanitize ]]; then
  build=${QBFA_SOAK_BUILD:-build/soak-asan}
  configuration=(-DQBFA_SANITIZE="$sanitize" -DCMAKE_BUILD_TYPE=Debug)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  build=${QBFA_SOAK_BUILD:-build/soak}
  configuration=(-DCMAKE_BUILD_TYPE=Release)
fi

# Only the soak and the programs it runs; the output only when a step fails.
if ! output=$(cmake -S . -B "$build" "${configuration[@]}" 2>&1 &&
  cmake --build "$build" -j"$(nproc)" --target qbfa_soak 2>&1); then
  echo "$output" >&2
  exit 1
fi
changed=$(git status --porcelain --untracked-files=no | grep -q . && echo " with uncommitted changes" || true)
echo "soak: $seconds s, built in $build from $(git rev-parse --short HEAD)$changed, $(nproc) cores," \
  "load$(uptime | sed 's/.*load average//')"
"$build/tests/soak/qbfa_soak" --seconds "$seconds"
