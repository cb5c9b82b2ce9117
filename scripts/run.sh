#!/usr/bin/env bash
# Installs what Tapisol needs, builds it and starts it. Arguments go to the program (e.g. /trace).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
scripts/build.sh
exec build/bin/tapisol "$@"
