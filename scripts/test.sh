#!/usr/bin/env bash
# Installs what the tests need, builds Tapisol and runs the whole suite: unit, database,
# interface and end-to-end tests (the latter under Xvfb, each with its own display).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh --test
scripts/build.sh
cd build
ctest --output-on-failure --parallel "$(nproc)" "$@"
