#!/usr/bin/env bash
# Scan of a picture folder against find: builds tapisol-scan-bench in build/ and runs it on a
# generated tree of 100,000 files in 1,000 folders (kept under $TMPDIR between runs).
#   bench/scan_bench.sh [--tree DIR] [--runs N] [--no-cold]
# Cold-cache figures need the right to write /proc/sys/vm/drop_caches (root on a machine of one's
# own); elsewhere only the warm figures are printed.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
[[ -f $build/build.ninja || -f $build/Makefile ]] || cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" --target tapisol-scan-bench
exec "$build/bin/tapisol-scan-bench" "$@"
