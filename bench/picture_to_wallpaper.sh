#!/usr/bin/env bash
# Picture to wallpaper: a photo-like 6000×4000 JPEG onto a 1920×1080 screen. `tapisol --apply`
# with no instance running (decode at reduced size in its helper, scale, write Tapisol.bmp,
# apply) against `feh --bg-fill` and `hsetroot -fill` on the same file, and `djpeg -scale 1/2` as
# the near-limit of decoding alone. Wall time and the peak resident memory of each command with
# the processes it starts, median of the runs.
#   bench/picture_to_wallpaper.sh [runs]        (default 11)
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-11}

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

# once NAME command...: runs the command once in a fresh home and adds its wall time and peak
# memory to the figures of NAME.
declare -A walls peaks
once() {
    local name=$1
    shift
    rm -rf "$work/home"
    mkdir -p "$work/home/run"
    chmod 700 "$work/home/run"
    local figures
    figures=$(HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_DATA_HOME=$work/home/data \
        XDG_RUNTIME_DIR=$work/home/run "$top/build/bin/tapisol-tree-usage" "$@" 2>&1 >/dev/null | tail -n1)
    walls[$name]+="${figures% *} "
    peaks[$name]+="${figures#* } "
}

median() { tr ' ' '\n' | grep . | sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }

# The commands take turns, run after run, so that whatever else the machine does at some moment
# weighs on all of them alike.
names=("tapisol --apply" "feh --bg-fill" "hsetroot -fill" "djpeg -scale 1/2")
for ((i = 0; i < runs; i++)); do
    once "${names[0]}" "$top/build/bin/tapisol" --apply "$picture"
    once "${names[1]}" feh --no-fehbg --bg-fill "$picture"
    once "${names[2]}" hsetroot -fill "$picture"
    once "${names[3]}" sh -c "djpeg -scale 1/2 '$picture' > /dev/null"
done

printf "6000x4000 JPEG onto a 1920x1080 screen, median of %d runs\n" "$runs"
printf "%-22s %10s %12s %14s\n" command "wall ms" "peak MiB" "× feh's time"
[[ -n "${TAPISOL_BENCH_SAMPLES:-}" ]] && for name in "${names[@]}"; do echo "$name: ${walls[$name]}"; done
feh_wall=$(median <<<"${walls[${names[1]}]}")
for name in "${names[@]}"; do
    wall=$(median <<<"${walls[$name]}")
    peak=$(median <<<"${peaks[$name]}")
    printf "%-22s %10s %12.1f %14.2f\n" "$name" "$wall" "$(echo "$peak / 1024" | bc -l)" "$(echo "$wall / $feh_wall" | bc -l)"
done
INNER
