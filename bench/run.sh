#!/bin/sh
# Builds the benchmarks in Release (build-bench/), runs them and prints the ratios of the
# database paths to the bare work they wrap. Extra arguments go to fal_bench
# (e.g. --benchmark_filter=Lock).
set -eu

src=$(cd "$(dirname "$0")/.." && pwd)
build="$src/build-bench"

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DFAL_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target fal_bench

out=$(mktemp /tmp/fal_bench.XXXXXX.json)
trap 'rm -f "$out"' EXIT INT TERM

# 1.7.1 takes the minimum time as a plain number of seconds.
"$build/bench/fal_bench" --benchmark_min_time=0.2 \
    --benchmark_out="$out" --benchmark_out_format=json "$@"

python3 - "$out" <<'PY'
import json, sys

with open(sys.argv[1]) as f:
    runs = {b["name"]: b for b in json.load(f)["benchmarks"]
            if b.get("run_type", "iteration") == "iteration" and not b.get("error_occurred")}

def ns(name):
    b = runs.get(name) or next((v for k, v in runs.items() if k.startswith(name + "/")), None)
    if b is None:
        return None
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
    return b["real_time"] * scale

def line(label, num, den, target):
    a, b = ns(num), ns(den)
    if a is None or b is None:
        print(f"{label:<34} n/a")
        return
    r = a / b
    verdict = "ok" if r <= target else "MISSED"
    print(f"{label:<34} {a / 1e3:12.3f} us / {b / 1e3:12.3f} us = {r:5.2f}x  "
          f"(target <= {target}x: {verdict})")

print()
print("Ratios")
for n in (16, 256, 4096):
    line(f"read N={n} (lock+clone / deep copy)",
         f"BM_LockCloneUnlock/{n}", f"BM_BareDeepCopy/{n}", 1.5)
line("save N=256 (cycle / bare write)",
     "BM_ChangeSaveCycle", "BM_BareWrite", 1.3)
for name in ("BM_LockUnlockUncontended", "BM_LockUnlockKey"):
    t = ns(name)
    if t is None:
        print(f"{name:<34} n/a")
    else:
        verdict = "ok" if t < 1000 else "MISSED"
        print(f"{name:<34} {t:12.1f} ns  (target < 1000 ns: {verdict})")
PY
