#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs qbfa.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build/demo -DQBFA_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo -j"$(nproc)"
build/demo/cli/qbfa --version
