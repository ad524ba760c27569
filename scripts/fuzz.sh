#!/usr/bin/env bash
# Builds the libFuzzer harnesses (clang, AddressSanitizer + UndefinedBehaviorSanitizer)
# and runs each one for a while; fails on any finding (crash, sanitizer report,
# leak, timeout, allocation above the limit).
#
#   scripts/fuzz.sh [seconds per harness] [harness ...]
#
# Every harness first replays its committed corpus and regression inputs, then
# fuzzes from a working copy of its corpus under build/fuzz/corpus/ (kept
# between runs, so longer runs build on earlier ones). Findings are written to
# build/fuzz/findings/<harness>/. RZF_FUZZ_JOBS runs that many processes per
# harness in parallel (libFuzzer's -jobs/-workers).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
shift || true
all=(filter_user cfilter chns_filter_func chns_bessel_filter_fun cfir_func integral_diff)
if [ $# -gt 0 ]; then harnesses=("$@"); else harnesses=("${all[@]}"); fi
jobs=${RZF_FUZZ_JOBS:-1}

clang=$(command -v clang++-14 || command -v clang++ || true)
if [ -z "$clang" ]; then
  echo "fuzz.sh: clang++ not found (scripts/install-deps.sh installs it)" >&2
  exit 1
fi

build=build/fuzz
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER="$clang" \
  -DRZF_BUILD_FUZZERS=ON -DRZF_BUILD_TESTS=OFF -DRZF_BUILD_TOOLS=OFF \
  -DRZF_WARNINGS_AS_ERRORS=OFF -DRZF_SANITIZE=address,undefined >/dev/null
targets=()
for h in "${harnesses[@]}"; do targets+=(--target "fuzz_$h"); done
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" "${targets[@]}"

# Limits: an input may take at most 10 s and no single allocation may exceed
# 64 MiB (no call on a fuzz input needs more than a few MiB), 2 GiB in all.
limits=(-timeout=10 -malloc_limit_mb=64 -rss_limit_mb=2048 -max_len=4096)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:allocator_may_return_null=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

failed=()
for h in "${harnesses[@]}"; do
  exe="$build/tests/fuzz/fuzz_$h"
  seeds=tests/fuzz/corpus/$h
  regressions=tests/fuzz/regressions/$h
  work="$build/corpus/$h"
  findings="$build/findings/$h"
  mkdir -p "$work" "$findings"
  cp -n "$seeds"/* "$work"/ 2>/dev/null || true

  echo "== $h: replaying the committed inputs"
  replay=("$seeds")
  if [ -d "$regressions" ]; then replay+=("$regressions"); fi
  if ! "$exe" "${limits[@]}" -runs=0 -artifact_prefix="$findings/" "${replay[@]}" \
      >"$findings/replay.log" 2>&1; then
    tail -40 "$findings/replay.log"
    failed+=("$h (replay)")
    continue
  fi

  echo "== $h: fuzzing for ${seconds} s"
  log="$findings/fuzz.log"
  if [ "$jobs" -gt 1 ]; then
    run=(-jobs="$jobs" -workers="$jobs")
  else
    run=()
  fi
  if "$exe" "${limits[@]}" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="$findings/" "${run[@]}" "$work" >"$log" 2>&1; then
    grep -E "stat::number_of_executed_units|Done [0-9]+ runs" "$log" | tail -n 2 || true
  else
    tail -60 "$log"
    failed+=("$h")
  fi
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz.sh: findings in: ${failed[*]} (inputs in $build/findings/)" >&2
  exit 1
fi
echo "fuzz.sh: no findings in ${harnesses[*]}"
