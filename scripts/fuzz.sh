#!/usr/bin/env bash
# Builds the libFuzzer target with clang (AddressSanitizer, UndefinedBehaviorSanitizer) and runs it
# on a copy of the seed corpus in fuzz/corpus/.
#   scripts/fuzz.sh [SECONDS]   default 60
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
seconds="${1:-60}"
dir="${FAL_FUZZ_BUILD:-build-fuzz}"
CC=clang CXX=clang++ cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DFAL_FUZZ=ON -DFAL_TESTS=OFF -DFAL_BENCH=OFF \
  -DFAL_SANITIZE=address,undefined,fuzzer-no-link >/dev/null
cmake --build "$dir" -j"$(nproc)" --target fal_fuzz
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp fuzz/corpus/* "$work/"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
# The target works in a root of its own, so every path it is given is absolute. Crash reproducers
# land in the build directory.
dir="$(cd "$dir" && pwd)"
rc=0
"$dir/fuzz/fal_fuzz" -max_total_time="$seconds" -timeout=20 -max_len=8192 -print_final_stats=1 \
  -artifact_prefix="$dir/" -dict="$PWD/fuzz/fal.dict" "$work" >"$dir/fuzz.log" 2>&1 || rc=$?
grep -aE '^(#[0-9]+ +DONE|stat::number_of_executed_units|==[0-9]+==|fal_fuzz:|SUMMARY)' "$dir/fuzz.log" || true
[ "$rc" -eq 0 ] || echo "fuzzing failed ($rc): see $dir/fuzz.log" >&2
exit "$rc"
