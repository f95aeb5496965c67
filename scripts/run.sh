#!/usr/bin/env bash
# Builds fald and serves the gateway's REST API on the root ./gateway-root (created from the
# factory defaults when it has no database), on 127.0.0.1:8080 unless FALD_LISTEN says otherwise.
# Any arguments are passed to fald (e.g. --no-auth, --log-level 2). Ctrl-C stops it gracefully.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target fald
root="${FAL_ROOT:-$PWD/gateway-root}"
listen="${FALD_LISTEN:-127.0.0.1:8080}"
cat >&2 <<EOF
fald: http://$listen/api/v1 (routes), http://$listen/api/v1/openapi.json (OpenAPI)
      default admin login: user "admin", password "admin"
        curl -s -X POST http://$listen/api/v1/gateway/login -d '{"userName":"admin","password":"admin"}'
      read-only login: user "viewer", password "viewer"
EOF
exec ./build/fald --root "$root" --listen "$listen" "$@"
