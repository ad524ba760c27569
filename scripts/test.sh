#!/usr/bin/env bash
# Checks the include layering and the formatting, then builds and runs every
# test:
#  1. Windows x64: the library and unit tests cross-built with MinGW-w64 and run
#     under Wine, plus the determinism probe through RZFilterFunc.dll
#     (skip with RZF_SKIP_WINDOWS=1);
#  2. a normal build with warnings as errors (valgrind memcheck included), whose
#     determinism test compares the Linux library with the Windows records;
#  3. the libFuzzer harnesses, RZF_FUZZ_SECONDS (default 30) each
#     (skip with RZF_SKIP_FUZZ=1);
#  4. the tests again under AddressSanitizer and UndefinedBehaviorSanitizer
#     (skip with RZF_SKIP_SANITIZERS=1);
#  5. the Python package's tests (skip with RZF_SKIP_PYTHON=1).
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
jobs=$(nproc 2>/dev/null || echo 2)

# Each library folder includes only the floors below it.
/usr/bin/python3 scripts/check_layering.py
# Every C++ source of the library, tests, tool and benchmarks is formatted.
find RZFilterFunc tests tools bench \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 clang-format --dry-run --Werror

if [ "${RZF_SKIP_WINDOWS:-0}" != "1" ]; then
  export WINEPREFIX="$PWD/build/win/wine-prefix" WINEDEBUG=-all
  cmake -S . -B build/win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRZF_BUILD_TOOLS=OFF -DRZF_WARNINGS_AS_ERRORS=ON
  cmake --build build/win -j "$jobs"
  # One Wine server for the whole run instead of one per test program.
  wineserver_cmd=$(command -v wineserver || command -v wineserver-stable || echo /usr/lib/wine/wineserver)
  "$wineserver_cmd" -p60 || true
  ctest --test-dir build/win --output-on-failure
  export RZF_WINDOWS_PROBE="$PWD/build/win/tests/determinism/windows-probe.txt"
fi

cmake -S . -B build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRZF_WARNINGS_AS_ERRORS=ON \
  -DRZF_BUILD_BENCH=ON -DRZF_MEMCHECK=ON
cmake --build build/test -j "$jobs"
ctest --test-dir build/test --output-on-failure -j "$jobs"

if [ "${RZF_SKIP_FUZZ:-0}" != "1" ]; then
  ./scripts/fuzz.sh "${RZF_FUZZ_SECONDS:-30}"
fi

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
