#!/usr/bin/env bash
# Builds libfal, falctl, fald and the tests for an ARM gateway with Debian's cross toolchains and
# runs the whole test suite under qemu-user; prints the stripped size of libfal.so.
#   scripts/cross.sh arm64|armhf [ctest arguments...]
# Installs what is missing (the cross toolchain, qemu-user and the <arch> dev packages, after
# dpkg --add-architecture). Builds in build-<arch>/ (FAL_CROSS_BUILD chooses another), for size
# as firmware ships (FAL_CROSS_BUILD_TYPE, default MinSizeRel).
set -euo pipefail
cd "$(dirname "$0")/.."
arch=${1:-}
case "$arch" in
  arm64) triple=aarch64-linux-gnu; qemu=qemu-aarch64 ;;
  armhf) triple=arm-linux-gnueabihf; qemu=qemu-arm ;;
  *) echo "usage: scripts/cross.sh arm64|armhf [ctest arguments...]" >&2; exit 2 ;;
esac
shift
dir=${FAL_CROSS_BUILD:-build-$arch}
jobs=$(nproc)

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
packages=(cmake make pkg-config ccache qemu-user "crossbuild-essential-$arch"
  "libstdc++6:$arch" "libjson-c-dev:$arch" "libgtest-dev:$arch" "libgmock-dev:$arch"
  "libmicrohttpd-dev:$arch")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}" >&2
  dpkg --print-foreign-architectures | grep -qx "$arch" || $sudo dpkg --add-architecture "$arch"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq || echo "apt-get update failed in part; going on with the indexes at hand" >&2
  if ! $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"; then
    # fald is optional: without its HTTP library for the target, everything else is still built.
    echo "retrying without libmicrohttpd-dev:$arch (fald will not be built)" >&2
    rest=()
    for p in "${missing[@]}"; do [ "$p" = "libmicrohttpd-dev:$arch" ] || rest+=("$p"); done
    $sudo apt-get install -y -qq --no-install-recommends "${rest[@]}"
  fi
fi

start=$(date +%s)
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/debian-cross.cmake" \
  -DFAL_CROSS_TRIPLE="$triple" -DFAL_CROSS_QEMU="$qemu" -DFAL_DEB_ARCH="$arch" \
  -DCMAKE_BUILD_TYPE="${FAL_CROSS_BUILD_TYPE:-MinSizeRel}" -DFAL_BENCH=OFF \
  -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null
cmake --build "$dir" -j"$jobs"
built=$(date +%s)
status=0
ctest --test-dir "$dir" --output-on-failure -j"$jobs" "$@" || status=$?
done_at=$(date +%s)

lib=$(readlink -f "$dir/libfal.so")
"$triple-strip" -o "$dir/libfal.so.stripped" "$lib"
echo "cross $arch: build $((built - start)) s, tests $((done_at - built)) s under $qemu;" \
  "stripped libfal.so $(stat -c %s "$dir/libfal.so.stripped") bytes"
exit $status
