#!/usr/bin/env bash
# Checks the include layering and the formatting, then builds and runs every
# test: a normal build with warnings as errors, then the same tests under
# AddressSanitizer and UndefinedBehaviorSanitizer, then the Python package's
# tests (RZF_SKIP_PYTHON=1 leaves them out).
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)

# Each library folder includes only the floors below it.
/usr/bin/python3 scripts/check_layering.py
# Every C++ source of the library, tests, tool and benchmarks is formatted.
find RZFilterFunc tests tools bench \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 clang-format --dry-run --Werror

cmake -S . -B build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRZF_WARNINGS_AS_ERRORS=ON \
  -DRZF_BUILD_BENCH=ON -DRZF_MEMCHECK=ON
cmake --build build/test -j "$jobs"
ctest --test-dir build/test --output-on-failure -j "$jobs"

if [ "${RZF_SKIP_SANITIZERS:-0}" != "1" ]; then
  cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=Debug -DRZF_WARNINGS_AS_ERRORS=ON \
    -DRZF_SANITIZE=address,undefined,float-cast-overflow
  cmake --build build/sanitize -j "$jobs"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build/sanitize --output-on-failure -j "$jobs"
fi

if [ "${RZF_SKIP_PYTHON:-0}" != "1" ]; then
  ./scripts/test-python.sh
fi
