#!/usr/bin/env bash
# Builds libfal and serves requests with falctl on the gateway root ./gateway-root (created from
# the factory defaults when it has no database). With no arguments falctl reads JSON request
# lines on standard input (batch mode); any arguments are passed to falctl instead.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target falctl
export FAL_ROOT="${FAL_ROOT:-$PWD/gateway-root}"
if [ $# -eq 0 ]; then
  echo "falctl: serving $FAL_ROOT; one JSON request per line, e.g." >&2
  echo '  {"family":"gateway","op":"GatewayAbout"}' >&2
  exec ./build/falctl batch
fi
exec ./build/falctl "$@"
