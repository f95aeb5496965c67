#!/usr/bin/env bash
# Line coverage of the library (frame/, host/ and the families) from the test suite, with gcovr.
# Fails when it is below the bar.   scripts/coverage.sh [MIN_PERCENT]   default 90
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
min="${1:-90}"
dir="${FAL_COVERAGE_BUILD:-build-cov}"
# The tests run many threads over the same code: counters must be updated atomically, or racing
# increments leave counts that gcov prints in a form gcovr cannot parse.
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DFAL_BENCH=OFF \
  "-DCMAKE_CXX_FLAGS=--coverage -fprofile-update=atomic" \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$dir" -j"$(nproc)" --target fal_tests falctl
find "$dir" -name '*.gcda' -delete
(cd "$dir" && ./tests/fal_tests --gtest_brief=1 >/dev/null)
filters=()
for d in frame host gateway network mediashare qos security service wifi; do
  filters+=(--filter "$PWD/$d/")
done
gcovr -r . --object-directory "$dir" "${filters[@]}" --exclude-directories '.*/CMakeFiles/[0-9.]+$' \
  --print-summary --gcov-ignore-parse-errors --fail-under-line "$min" \
  --txt "$dir/coverage.txt" --html-details "$dir/coverage.html" | tail -n 3
