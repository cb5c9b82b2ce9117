#!/usr/bin/env bash
# Reduced-size decode of a photo-sized JPEG: Tapisol's imaging module (helper process, 1/2-scale
# libjpeg decode, smooth scaling, 24-bit BMP written) beside `djpeg -scale 1/2` (the near-limit:
# the same reduced decode, streamed, no scaling) and `vipsthumbnail` (libvips' shrink-on-load).
# The picture: 6000×4000 ImageMagick plasma:fractal at quality 90; the target: 1620×1080, the size
# vipsthumbnail gives for a 1920×1080 box. Each tool runs N times; the best and the median wall
# time and the largest peak resident memory are printed side by side.
#   bench/decode_bench.sh [runs]          (default 7; BUILD_DIR defaults to build)
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-7}
build=${BUILD_DIR:-build}

need=()
for pkg in libjpeg-turbo-progs libvips-tools imagemagick time; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || need+=("$pkg")
done
if ((${#need[@]})); then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${need[@]}"
fi
[[ -x $build/bin/tapisol-decode-bench ]] || cmake --build "$build" --target tapisol-decode-bench

picture=$build/bench/plasma-6000x4000-q90.jpg
if [[ ! -s $picture ]]; then
    mkdir -p "$(dirname "$picture")"
    convert -size 6000x4000 -seed 42 plasma:fractal -quality 90 "$picture"
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# measure NAME COMMAND...: wall milliseconds and peak resident KiB of each run, one line per run.
measure() {
    local name=$1
    shift
    for ((i = 0; i < runs; i++)); do
        local start=$EPOCHREALTIME
        /usr/bin/time -f '%M' -o "$work/rss" "$@" >"$work/out" 2>/dev/null
        local end=$EPOCHREALTIME
        local rss
        rss=$(tail -n 1 "$work/rss")
        # Tapisol's own line adds the helper's peak, which /usr/bin/time does not see.
        if [[ $name == tapisol* ]]; then
            read -r _ helper self <"$work/out"
            rss=$((helper + self))
        fi
        awk -v s="$start" -v e="$end" -v r="$rss" 'BEGIN { printf "%.1f %d\n", (e - s) * 1000, r }'
    done >"$work/$name.runs"
}

measure tapisol "$build/bin/tapisol-decode-bench" "$picture" 1620 1080 "$work/tapisol.bmp"
measure tapisol-no-save "$build/bin/tapisol-decode-bench" "$picture" 1620 1080
measure djpeg djpeg -scale 1/2 -outfile /dev/null "$picture"
measure vipsthumbnail vipsthumbnail "$picture" -s 1920x1080 -o "$work/vips.v"

printf "6000×4000 JPEG (q90) to 1620×1080, %d runs each (2 shared cores: compare the best times)\n" "$runs"
printf "%-26s %10s %12s %14s\n" tool "best ms" "median ms" "peak RSS MiB"
for name in tapisol tapisol-no-save djpeg vipsthumbnail; do
    label=$name
    [[ $name == tapisol ]] && label="tapisol (+BMP write)"
    [[ $name == tapisol-no-save ]] && label="tapisol (decode+scale)"
    [[ $name == djpeg ]] && label="djpeg -scale 1/2"
    sort -n "$work/$name.runs" | awk -v n="$label" '
        { t[NR] = $1; if ($2 > m) m = $2 }
        END { printf "%-26s %10.0f %12.0f %14.1f\n", n, t[1], t[int((NR + 1) / 2)], m / 1024 }'
done
echo "tapisol's memory is the helper's peak plus the calling program's peak."
