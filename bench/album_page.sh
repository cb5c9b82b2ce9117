#!/usr/bin/env bash
# The album window on one page of 5,000 pictures whose thumbnails exist: from the window made with
# that page chosen to the first screenful of thumbnails drawn, and the resident memory after
# scrolling to the end, under Xvfb at 1366×768, beside the goals of 200 ms and 100 MB.
#   bench/album_page.sh [pictures] [runs]
set -euo pipefail
cd "$(dirname "$0")/.."
pictures=${1:-5000}
runs=${2:-3}
[[ -x build/bin/tapisol-album-page-bench ]] || { scripts/deps.sh --test >/dev/null; scripts/build.sh >/dev/null; }
bench=$PWD/build/bin/tapisol-album-page-bench
[[ -n ${TAPISOL_BUILD_DIR:-} ]] && bench=$TAPISOL_BUILD_DIR/bin/tapisol-album-page-bench
for run in $(seq "$runs"); do
    echo "--- run $run"
    # Each run in a fresh process and a fresh display; the thumbnail files are made anew, so the
    # first screenful reads them from the page cache as a page opened again would.
    TAPISOL_XVFB_SCREEN=1366x768x24 tests/e2e/with-display.sh "$bench" "$PWD/data/lang" "$pictures" 2>/dev/null
done
