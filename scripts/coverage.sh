#!/usr/bin/env bash
# Measures how much of the library the C++ test suite executes: line and
# branch coverage per library file, from a --coverage build in build/coverage.
# Usage: scripts/coverage.sh [report-file]   (default build/coverage/summary.txt)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
report=${1:-build/coverage/summary.txt}

cmake -S . -B build/coverage -DCMAKE_BUILD_TYPE=Debug -DRZF_BUILD_FUZZERS=OFF \
  -DCMAKE_CXX_FLAGS="--coverage" -DCMAKE_EXE_LINKER_FLAGS="--coverage" \
  -DCMAKE_SHARED_LINKER_FLAGS="--coverage" >/dev/null
cmake --build build/coverage -j "$jobs"
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage -j "$jobs" --output-on-failure >/dev/null
mkdir -p "$(dirname "$report")"
gcovr --root . --filter 'RZFilterFunc/' --object-directory build/coverage \
  --exclude-throw-branches --exclude-unreachable-branches \
  --output "$report" --print-summary
gcovr --root . --filter 'RZFilterFunc/' --object-directory build/coverage \
  --exclude-throw-branches --exclude-unreachable-branches \
  --branches --output "${report%.txt}.branches.txt" >/dev/null
echo "per-file lines: $report, branches: ${report%.txt}.branches.txt"
