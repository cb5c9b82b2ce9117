#!/usr/bin/env bash
# Picture to wallpaper: a photo-like 6000×4000 JPEG onto a 1920×1080 screen. `tapisol --apply`
# with no instance running (decode at reduced size in its helper, scale, write Tapisol.bmp,
# apply) against `feh --bg-fill` and `hsetroot -fill` on the same file, and `djpeg -scale 1/2` as
# the near-limit of decoding alone. Wall time and the peak resident memory of each command with
# the processes it starts, median of the runs.
#   bench/picture_to_wallpaper.sh [runs]        (default 5)
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}

scripts/deps.sh --test
missing=()
for pkg in feh hsetroot libjpeg-turbo-progs; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
done
if ((${#missing[@]})); then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
[[ -x build/bin/tapisol && -x build/bin/tapisol-tree-usage ]] || scripts/build.sh

TAPISOL_XVFB_SCREEN=1920x1080x24 exec tests/e2e/with-display.sh bash -s "$runs" "$PWD" <<'INNER'
set -euo pipefail
runs=$1
top=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
picture=$work/photo.jpg
convert -seed 7 -size 6000x4000 plasma:fractal -quality 90 "$picture"

# measure NAME command...: prints the median wall time and peak memory of `runs` runs.
measure() {
    local name=$1
    shift
    local walls=() peaks=()
    for ((i = 0; i < runs; i++)); do
        rm -rf "$work/home"
        mkdir -p "$work/home/run"
        chmod 700 "$work/home/run"
        local figures
        figures=$(HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_DATA_HOME=$work/home/data \
            XDG_RUNTIME_DIR=$work/home/run "$top/build/bin/tapisol-tree-usage" "$@" 2>&1 >/dev/null | tail -n1)
        walls+=("${figures% *}")
        peaks+=("${figures#* }")
    done
    local wall peak
    wall=$(printf '%s\n' "${walls[@]}" | sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }')
    peak=$(printf '%s\n' "${peaks[@]}" | sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }')
    printf "%-22s %10s %12.1f\n" "$name" "$wall" "$(echo "$peak / 1024" | bc -l)"
}

printf "6000x4000 JPEG onto a 1920x1080 screen, median of %d runs\n" "$runs"
printf "%-22s %10s %12s\n" command "wall ms" "peak MiB"
measure "tapisol --apply" "$top/build/bin/tapisol" --apply "$picture"
measure "feh --bg-fill" feh --no-fehbg --bg-fill "$picture"
measure "hsetroot -fill" hsetroot -fill "$picture"
measure "djpeg -scale 1/2" sh -c "djpeg -scale 1/2 '$picture' > /dev/null"
INNER
