#!/usr/bin/env bash
# Installs what is missing, builds the library, its tools and the tests (no benchmarks: bench/run.sh
# builds those) and runs every test.
#   scripts/test.sh            normal build in build/
#   scripts/test.sh --sanitize AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
dir=build
args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DFAL_BENCH=OFF)
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  args=(-DCMAKE_BUILD_TYPE=Debug -DFAL_SANITIZE=address,undefined -DFAL_BENCH=OFF)
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:${ASAN_OPTIONS:-}"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
fi
cmake -S . -B "$dir" "${args[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)"
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
