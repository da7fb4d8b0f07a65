#!/usr/bin/env bash
# Fresh-machine set-up: install what is missing from Debian's packages, build,
# then run either the bundled examples ("examples") or the whole test suite
# ("test"). Safe to run again: it installs only what is absent.
set -euo pipefail
cd "$(dirname "$0")"

what=${1:-test}
packages="g++ cmake make mpich libmpich-dev libgtest-dev libbenchmark-dev"
# The fuzz targets (fuzz/run) need Debian's default clang and its runtime
# libraries, libFuzzer among them, which clang only recommends.
packages="$packages clang libclang-rt-dev"

missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq $missing
fi

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
cmake --build build -j2

case "$what" in
  examples) ./examples/run ;;
  test)     ctest --test-dir build --output-on-failure -j2 --timeout 900 ;;
  *) echo "usage: ./setup.sh [examples|test]" >&2; exit 2 ;;
esac
