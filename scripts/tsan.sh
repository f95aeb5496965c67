#!/usr/bin/env bash
# Builds the library and the stress program alone under ThreadSanitizer and runs the stress.
#   scripts/tsan.sh [SECONDS]   default 20
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
seconds="${1:-20}"
dir="${FAL_TSAN_BUILD:-build-tsan}"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFAL_SANITIZE=thread -DFAL_BENCH=OFF >/dev/null
cmake --build "$dir" -j"$(nproc)" --target fal_stress
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:${TSAN_OPTIONS:-}"
"$dir/tests/fal_stress" --seconds "$seconds" --threads 4 >"$dir/stress.out"
tail -n 1 "$dir/stress.out"
