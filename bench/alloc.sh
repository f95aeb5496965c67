#!/bin/sh
# The allocator question, side by side in one run: glibc as it is, glibc tuned (the heap is not
# trimmed and large blocks stay on the heap: what mallopt(M_TRIM_THRESHOLD / M_MMAP_THRESHOLD)
# sets), and jemalloc (Debian's libjemalloc2, preloaded).
#   - CPU time and page faults of COUNT 256-device list reads (store_bench listread)
#   - fald's resident memory when idle, after start-up and after a burst of device-list reads
# Usage: bench/alloc.sh [BUILD_DIR] [COUNT]; BUILD_DIR holds fald and bench/store_bench (Release).
set -eu
build=${1:-build-rel}
count=${2:-2000}
jemalloc=/usr/lib/x86_64-linux-gnu/libjemalloc.so.2
# jemalloc held to a small footprint: one arena, no thread caches, freed pages returned at once.
small="${SMALL:-narenas:1,tcache:false,dirty_decay_ms:0,muzzy_decay_ms:0}"
tuned="glibc.malloc.trim_threshold=268435456:glibc.malloc.mmap_threshold=33554432"

run() {  # label, then env assignments for the command
    label=$1
    shift
    t=$(env "$@" /usr/bin/time -f "%U %S %R" "$build/bench/store_bench" listread "$count" 2>&1 | tail -1)
    echo "$t" | awk -v l="$label" -v n="$count" '{ printf "| %-14s | list read %6.1f us CPU | %5.1f page faults per read |", l, ($1 + $2) * 1e6 / n, $3 / n }'
    root=$(mktemp -d /tmp/fal_alloc.XXXXXX)
    env "$@" "$build/fald" --root "$root/r" --listen 127.0.0.1:18931 --no-auth >/dev/null 2>&1 &
    pid=$!
    sleep 1.5
    idle=$(awk '/VmRSS/ { print $2 }' /proc/$pid/status)
    i=0
    while [ $i -lt 300 ]; do
        curl -s -o /dev/null http://127.0.0.1:18931/api/v1/gateway/devices || true
        i=$((i + 1))
    done
    sleep 1
    busy=$(awk '/VmRSS/ { print $2 }' /proc/$pid/status)
    kill "$pid"
    wait "$pid" 2>/dev/null || true
    rm -rf "$root"
    printf " fald idle %5.1f MiB, after reads %5.1f MiB |\n" "$(echo "$idle / 1024" | bc -l)" "$(echo "$busy / 1024" | bc -l)"
}

for round in 1 2; do
    [ "${BEFORE:-}" ] && run "glibc (before)" FAL_ALLOC=glibc
    run glibc FAL_ALLOC=glibc
    run "glibc tuned" GLIBC_TUNABLES="$tuned"
    [ -e "$jemalloc" ] && run jemalloc LD_PRELOAD="$jemalloc"
    [ -e "$jemalloc" ] && run "jemalloc small" LD_PRELOAD="$jemalloc" MALLOC_CONF="$small"
done
