#!/usr/bin/env bash
# Thumbnails of a folder of N photo-sized JPEGs (6000×4000, smooth gradients with sensor-like
# noise, quality 90, about 6.5 MB each) into a 160×120 box: Tapisol's ThumbnailBatch with two
# workers (two decoding helpers, each writing its JPEG) beside `vipsthumbnail -s 160x120` run two
# at a time (xargs -P2), once with 25 files per vipsthumbnail and once with one file each. Wall
# time and pictures per second, side by side; each tool runs RUNS times and the best run counts.
#   bench/thumbnails.sh [N] [RUNS]        (defaults 500 and 2; BUILD_DIR defaults to build)
# The photos are made once into $BUILD_DIR/bench/photos-6000x4000/ (eight different ones, each
# copied with a comment of its own to make N files; making the eight takes a few minutes).
set -euo pipefail
cd "$(dirname "$0")/.."
count=${1:-500}
runs=${2:-2}
build=${BUILD_DIR:-build}

need=()
for pkg in libvips-tools imagemagick; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || need+=("$pkg")
done
if ((${#need[@]})); then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${need[@]}"
fi
[[ -x $build/bin/tapisol-thumbnails-bench ]] || cmake --build "$build" --target tapisol-thumbnails-bench

photos=$build/bench/photos-6000x4000
mkdir -p "$photos/bases"
for seed in 1 2 3 4 5 6 7 8; do
    base=$photos/bases/base-$seed.jpg
    [[ -s $base ]] && continue
    echo "making photo $seed of 8..." >&2
    convert -size 6000x4000 -seed "$seed" plasma:fractal -blur 0x2 -attenuate 0.25 +noise Gaussian \
        -quality 90 "jpg:$base.part" && mv "$base.part" "$base"
done
# Copies that differ by a JPEG comment right after the start marker: no two files are the same.
/usr/bin/python3 - "$photos" "$count" <<'PY'
import os, sys
folder, count = sys.argv[1], int(sys.argv[2])
bases = [open(os.path.join(folder, "bases", f"base-{s}.jpg"), "rb").read() for s in range(1, 9)]
for i in range(count):
    path = os.path.join(folder, f"photo-{i:04d}.jpg")
    if os.path.exists(path):
        continue
    comment = f"bench photo {i}".encode()
    data = bases[i % 8]
    with open(path + ".part", "wb") as out:
        out.write(data[:2] + b"\xff\xfe" + (len(comment) + 2).to_bytes(2, "big") + comment + data[2:])
    os.rename(path + ".part", path)
PY
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The first N photos only, whatever the cache holds.
mkdir "$work/in"
for ((i = 0; i < count; i++)); do
    ln -s "$(realpath "$photos")/photo-$(printf %04d "$i").jpg" "$work/in/"
done
cat "$work"/in/*.jpg >/dev/null # every run reads from the page cache

# once NAME COMMAND...: one run into an empty output folder; its wall time in milliseconds.
once() {
    local name=$1
    shift
    rm -rf "$work/out" && mkdir "$work/out"
    local start=$EPOCHREALTIME
    "$@" >/dev/null
    local end=$EPOCHREALTIME
    local made
    made=$(find "$work/out" -type f | wc -l)
    ((made == count)) || { echo "$name made $made thumbnails of $count" >&2; exit 1; }
    awk -v s="$start" -v e="$end" 'BEGIN { printf "%.0f", (e - s) * 1000 }'
}

tapisol() { "$build/bin/tapisol-thumbnails-bench" "$work/in" "$work/out" 2; }
vips_batch() { find "$work/in" -name '*.jpg' -print0 | xargs -0 -P2 -n25 vipsthumbnail -s 160x120 -o "$work/out/%s.jpg"; }
vips_single() { find "$work/in" -name '*.jpg' -print0 | xargs -0 -P2 -n1 vipsthumbnail -s 160x120 -o "$work/out/%s.jpg"; }
names=("tapisol ThumbnailBatch, 2 workers" "vipsthumbnail -P2, 25 files a run" "vipsthumbnail -P2, 1 file a run")
commands=(tapisol vips_batch vips_single)
# The tools take turns run after run, so that a busy moment of the machine falls on all of them.
best=()
for ((r = 0; r < runs; r++)); do
    for i in "${!commands[@]}"; do
        ms=$(once "${names[i]}" "${commands[i]}")
        if [[ -z ${best[i]:-} ]] || ((ms < best[i])); then best[i]=$ms; fi
    done
done
for i in "${!commands[@]}"; do
    echo "${names[i]} ${best[i]}"
done >"$work/results"

size=$(du -k "$photos/bases/base-1.jpg" | cut -f1)
printf "%d JPEGs of 6000×4000 (q90, ~%d MB) into 160×120 on %d cores; best of %d runs\n" \
    "$count" $((size / 1024)) "$(nproc)" "$runs"
printf "%-36s %10s %12s\n" tool "wall s" "pictures/s"
while read -r line; do
    name=${line% *}
    ms=${line##* }
    awk -v n="$name" -v ms="$ms" -v c="$count" 'BEGIN { printf "%-36s %10.2f %12.1f\n", n, ms / 1000, c * 1000 / ms }'
done <"$work/results"
