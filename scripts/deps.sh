#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when they are missing.
#   scripts/deps.sh [--console] [PACKAGE ...]   --console: also what scripts/console-checks.sh needs
set -euo pipefail
extra=()
if [ "${1:-}" = "--console" ]; then
  shift
  extra=(chromium)
  command -v node >/dev/null || extra+=(nodejs)
  command -v npm >/dev/null || extra+=(npm)
fi
packages=(cmake g++ make pkg-config libjson-c-dev libgtest-dev libgmock-dev libbenchmark-dev
  libmicrohttpd-dev libcpp-httplib-dev nginx-light wrk clang libclang-rt-14-dev gcovr libsqlite3-dev dpkg-dev
  "${extra[@]}" "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}" >&2
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
