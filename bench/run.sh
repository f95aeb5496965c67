#!/bin/sh
# Builds the benchmarks in Release (build-bench/), runs them and prints the ratios of the
# database paths to the bare work they wrap. Extra arguments go to fal_bench
# (e.g. --benchmark_filter=Lock, or --benchmark_repetitions=1 for a quick look).
#
# Each benchmark is repeated, repetitions of different benchmarks interleaved at random, and the
# ratios use the fastest repetition (and show the median ones): on a busy machine the fastest run
# is the one least disturbed. CPU-bound benchmarks are compared on CPU time, the saves (which
# wait for fsync) on wall-clock time.
set -eu

src=$(cd "$(dirname "$0")/.." && pwd)
build="$src/build-bench"

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DFAL_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target fal_bench

out=$(mktemp /tmp/fal_bench.XXXXXX.json)
trap 'rm -f "$out"' EXIT INT TERM

# 1.7.1 takes the minimum time as a plain number of seconds.
"$build/bench/fal_bench" --benchmark_min_time=0.2 --benchmark_repetitions=3 \
    --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=false \
    --benchmark_out="$out" --benchmark_out_format=json "$@"

python3 - "$out" <<'PY'
import json, statistics, sys

SCALE = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
runs = {}
with open(sys.argv[1]) as f:
    for b in json.load(f)["benchmarks"]:
        if b.get("run_type", "iteration") != "iteration" or b.get("error_occurred"):
            continue
        s = SCALE[b.get("time_unit", "ns")]
        runs.setdefault(b["run_name"], []).append((b["real_time"] * s, b["cpu_time"] * s))

def times(name, clock):
    rows = runs.get(name) or next((v for k, v in runs.items() if k.startswith(name + "/")), None)
    if not rows:
        return None
    values = [r[0] if clock == "real" else r[1] for r in rows]
    return min(values), statistics.median(values)

def ratio(label, num, den, target, clock):
    a, b = times(num, clock), times(den, clock)
    if a is None or b is None:
        print(f"{label:<40} n/a")
        return
    r, rmed = a[0] / b[0], a[1] / b[1]
    verdict = "ok" if r <= target else "MISSED"
    print(f"{label:<40} {a[0] / 1e3:11.2f} us / {b[0] / 1e3:11.2f} us = {r:5.2f}x "
          f"(median {rmed:5.2f}x; {clock}; target <= {target}x: {verdict})")

print()
print("Ratios (fastest repetition)")
for n in (16, 256, 4096):
    ratio(f"read N={n}: lock+clone / deep copy",
          f"BM_LockCloneUnlock/{n}", f"BM_BareDeepCopy/{n}", 1.5, "cpu")
ratio("save N=256: cycle / bare write", "BM_ChangeSaveCycle", "BM_BareWrite", 1.3, "real")
for name in ("BM_LockUnlockUncontended", "BM_LockUnlockKey"):
    t = times(name, "cpu")
    if t is None:
        print(f"{name:<40} n/a")
    else:
        verdict = "ok" if t[0] < 1000 else "MISSED"
        print(f"{name:<40} {t[0]:11.1f} ns (median {t[1]:.1f} ns; cpu; target < 1000 ns: {verdict})")
PY
