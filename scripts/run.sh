#!/usr/bin/env bash
# Builds the rzfilter tool and runs its main job on the built-in defaults.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DRZF_BUILD_TESTS=OFF
cmake --build build/release -j "$(nproc 2>/dev/null || echo 2)" --target rzfilter
./build/release/tools/rzfilter "$@"
