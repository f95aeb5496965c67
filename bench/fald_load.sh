#!/usr/bin/env bash
# Load test of fald with wrk on loopback, bounded in time, beside nginx serving the same bytes.
#
#   bash bench/fald_load.sh [SECONDS_PER_RUN]      (default 5; 12 runs)
#
# Starts fald on a fresh factory-default root and measures, with 1, 16 and 64 connections:
#   read    GET   /api/v1/gateway/devices                (the device list)
#   write   PATCH /api/v1/service/portForwarding/{id}    (one rule, saved on every request)
#   static  GET   /bench.json                            (the device list's bytes, from www/)
#   nginx   GET   /bench.json                            (the same bytes from nginx: the yardstick)
# interleaved (each connection count runs all four in turn, nginx first), and fald's idle RSS
# before the load. Prints one markdown table. BUILD_DIR (default build/) is where fald is built.
set -euo pipefail
cd "$(dirname "$0")/.."
duration="${1:-5}"
build="${BUILD_DIR:-build}"
command -v wrk >/dev/null || { echo "wrk is missing (bash scripts/deps.sh)" >&2; exit 1; }
nginx_bin="$(command -v nginx || echo /usr/sbin/nginx)"
[ -x "$nginx_bin" ] || { echo "nginx is missing (bash scripts/deps.sh)" >&2; exit 1; }
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target fald >/dev/null

work="$(mktemp -d /tmp/fald-bench-XXXXXX)"
pid=""
nginx_pid=""
cleanup() {
  [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
  [ -n "$nginx_pid" ] && kill "$nginx_pid" 2>/dev/null && wait "$nginx_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# All of wrk's connections come from one address: let them all in (the default is 32).
"$build/fald" --root "$work/root" --listen 127.0.0.1:0 --max-per-client 128 >"$work/out" 2>"$work/err" &
pid=$!
for _ in $(seq 100); do grep -qE ':[0-9]+/' "$work/out" && break; sleep 0.05; done
port="$(grep -oE '127\.0\.0\.1:[0-9]+' "$work/out" | head -1 | cut -d: -f2)"
[ -n "$port" ] || { cat "$work/err" >&2; exit 1; }
base="http://127.0.0.1:$port"
c() { curl -s --noproxy '*' "$@"; }

rss_idle="$(awk '/VmRSS/ {print $2}' /proc/$pid/status)"
token="$(c -X POST "$base/api/v1/gateway/login" -d '{"userName":"admin","password":"admin"}' |
  sed -n 's/.*"token":"\([0-9a-f]*\)".*/\1/p')"
[ -n "$token" ] || { echo "login failed" >&2; exit 1; }
auth="Authorization: Bearer $token"
mkdir -p "$work/root/www"
c -H "$auth" "$base/api/v1/gateway/devices" >"$work/root/www/bench.json"
size="$(stat -c %s "$work/root/www/bench.json")"
rule="$(c -H "$auth" -X POST "$base/api/v1/service/portForwarding" \
  -d '{"active":true,"serviceType":"http","localIP":"192.168.1.50","localPort":80,"publicPort":8080}' |
  sed -n 's/.*"id":\([0-9]*\).*/\1/p')"
[ -n "$rule" ] || { echo "rule create failed" >&2; exit 1; }
cat >"$work/patch.lua" <<'LUA'
wrk.method = "PATCH"
wrk.body = '{"active":true}'
wrk.headers["Content-Type"] = "application/json"
LUA

# nginx on a free loopback port, in the foreground (a job of this script), serving the same file.
nginx_port="$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')"
mkdir -p "$work/nginx"
chmod a+rx "$work" "$work/root" "$work/root/www"  # nginx's workers run as an unprivileged user
chmod a+r "$work/root/www/bench.json"
cat >"$work/nginx/nginx.conf" <<CONF
daemon off;
worker_processes auto;
pid $work/nginx/nginx.pid;
error_log $work/nginx/error.log;
events { worker_connections 1024; }
http {
  access_log off;
  default_type application/json;
  client_body_temp_path $work/nginx/body;
  keepalive_requests 1000000;
  server { listen 127.0.0.1:$nginx_port; root $work/root/www; }
}
CONF
"$nginx_bin" -c "$work/nginx/nginx.conf" -e "$work/nginx/error.log" &
nginx_pid=$!
nginx_base="http://127.0.0.1:$nginx_port"
for _ in $(seq 100); do c -fo /dev/null "$nginx_base/bench.json" && break; sleep 0.05; done

# wrk's figures: "p50 p99 req/s" (latencies in ms); fails on non-2xx answers, socket errors and
# time-outs.
run() {
  local conns="$1"; shift
  local threads=$((conns < 2 ? conns : 2))
  local out
  out="$(wrk -t"$threads" -c"$conns" -d"${duration}s" --latency "$@")"
  if grep -qE "Non-2xx|Socket errors" <<<"$out"; then echo "failed answers: $out" >&2; exit 1; fi
  awk '
    function ms(v) { if (v ~ /us$/) return v / 1000; if (v ~ /ms$/) return v + 0; if (v ~ /s$/) return v * 1000; return v }
    /^ +50%/ { p50 = ms($2) } /^ +99%/ { p99 = ms($2) } /^Requests\/sec/ { rps = $2 }
    END { printf "%.2f %.2f %.0f\n", p50, p99, rps }' <<<"$out"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

echo "fald load, $duration s per run, $(nproc) CPUs, load average $(cut -d' ' -f1 /proc/loadavg);" \
  "device list and static file: $size bytes"
echo
echo "| route | conns | p50 ms | p99 ms | req/s | of nginx |"
echo "|---|---|---|---|---|---|"
for conns in 1 16 64; do
  read -r np50 np99 nrps < <(run "$conns" "$nginx_base/bench.json")
  read -r p50 p99 rps < <(run "$conns" -H "$auth" "$base/api/v1/gateway/devices")
  echo "| read GET /gateway/devices | $conns | $p50 | $p99 | $rps | $(ratio "$rps" "$nrps") |"
  read -r p50 p99 rps < <(run "$conns" -H "$auth" -s "$work/patch.lua" "$base/api/v1/service/portForwarding/$rule")
  echo "| write PATCH /service/portForwarding/$rule | $conns | $p50 | $p99 | $rps | |"
  read -r p50 p99 rps < <(run "$conns" "$base/bench.json")
  echo "| static GET /bench.json | $conns | $p50 | $p99 | $rps | $(ratio "$rps" "$nrps") |"
  echo "| nginx GET /bench.json | $conns | $np50 | $np99 | $nrps | 1.00 |"
done
echo
echo "fald idle RSS (default root, before the load): $((rss_idle / 1024)).$(((rss_idle % 1024) * 10 / 1024)) MiB" \
  "($rss_idle KiB); after the load: $(awk '/VmRSS/ {print $2}' /proc/$pid/status) KiB"
