#!/usr/bin/env bash
# Configures and builds Tapisol into build/ (programs in build/bin).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}"
cmake --build build --parallel "$(nproc)"
