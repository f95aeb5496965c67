#!/bin/sh
# The store's benchmarks (bench/README.md, "The store"): builds store_bench in Release
# (build-bench/) and runs the saves against SQLite at 256 and 4,096 devices, the reads beside a
# writer, and, when valgrind is there, the instructions of one 256-device list read.
# Usage: bench/store.sh [ROUNDS] [READER_SECONDS]
set -eu
src=$(cd "$(dirname "$0")/.." && pwd)
build="$src/build-bench"
rounds=${1:-60}
seconds=${2:-6}

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DFAL_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target store_bench
bench="$build/bench/store_bench"

echo "| devices | libfal saves/s | median ms | write() B/save | SQLite saves/s | median ms | write() B/save | libfal/SQLite |"
echo "|---|---|---|---|---|---|---|---|"
"$bench" saves 256 "$rounds"
"$bench" saves 4096 "$((rounds / 2))"
"$bench" readers "$seconds"

if command -v valgrind >/dev/null; then
    instructions() {
        valgrind --tool=callgrind --callgrind-out-file=/dev/null "$bench" listread "$1" 2>&1 |
            awk '/Collected/ { print $NF }'
    }
    one=$(instructions 1)
    eleven=$(instructions 11)
    echo "256-device list read: $(( (eleven - one) / 10 )) instructions (callgrind)"
fi
