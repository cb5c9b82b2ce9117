#!/usr/bin/env bash
# The slideshow player `defilor` on a project of N photo-sized JPEGs (6000×4000, q90, as
# bench/thumbnails.sh makes them, each with a caption), full screen on a 1920×1080 Xvfb:
#  - the time from the player's start to its first slide painted,
#  - how far each slide change lands from its planned time (slides of EXPO seconds), against the
#    goal of one 60 Hz frame,
#  - the player's peak resident memory (its decoding helper apart, shown beside it);
# beside feh, full screen on the same pictures (time to its first picture, its memory).
#   bench/player.sh [N] [CHANGES] [RUNS]     (defaults 200, 12 and 3; BUILD_DIR defaults to build)
# PHOTOS=folder uses photo-NNNN.jpg files made earlier (bench/thumbnails.sh keeps them in
# $BUILD_DIR/bench/photos-6000x4000/); otherwise they are made there (a few minutes the first time).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${BUILD_DIR:-build}
expo=${EXPO:-2}

if [[ ${1:-} == --inner ]]; then
    # Inside the display: one run of the player until CHANGES slide changes, its timings and
    # memory to stdout.
    work=$2
    changes=$3
    start=$(date +%s%3N)
    "$build/bin/defilor" /tpdiaporama --timings 2>"$work/timings" &
    player=$!
    peak=0 helper_peak=0
    while kill -0 "$player" 2>/dev/null; do
        rss=$(awk '/^VmRSS/ {print $2}' "/proc/$player/status" 2>/dev/null || echo 0)
        if ((rss > peak)); then peak=$rss; fi
        for helper in $(pgrep -P "$player" tapisol-decoder || true); do
            h=$(awk '/^VmRSS/ {print $2}' "/proc/$helper/status" 2>/dev/null || echo 0)
            if ((h > helper_peak)); then helper_peak=$h; fi
        done
        if (($(grep -c '^defilor-timing slide' "$work/timings" || true) > changes)); then
            hwm=$(awk '/^VmHWM/ {print $2}' "/proc/$player/status")
            if ((hwm > peak)); then peak=$hwm; fi
            kill "$player"
            break
        fi
        sleep 0.05
    done
    wait "$player" 2>/dev/null || true
    echo "start $start"
    echo "peak $peak"
    echo "helper $helper_peak"
    grep '^defilor-timing slide' "$work/timings" | awk '{print "slide", $3, $4}'
    exit 0
fi

if [[ ${1:-} == --peer-inner ]]; then
    # Inside the display: feh on the same pictures, full screen, the same time per slide. It
    # decodes the first picture before it makes its window, so the window's mapping is when the
    # slide reaches the screen. Its peak memory is read over CHANGES slides.
    list=$2
    changes=$3
    start=$(date +%s%3N)
    feh --fullscreen --hide-pointer --slideshow-delay "$expo" --filelist "$list" 2>/dev/null &
    peer=$!
    until xdotool search --onlyvisible --class feh >/dev/null 2>&1; do
        kill -0 "$peer" 2>/dev/null || { echo "feh ended before its first picture" >&2; exit 1; }
        sleep 0.005
    done
    shown=$(date +%s%3N)
    peak=0
    end=$((shown + changes * expo * 1000))
    while (($(date +%s%3N) < end)) && kill -0 "$peer" 2>/dev/null; do
        rss=$(awk '/^VmHWM/ {print $2}' "/proc/$peer/status" 2>/dev/null || echo 0)
        if ((rss > peak)); then peak=$rss; fi
        sleep 0.1
    done
    kill "$peer" 2>/dev/null || true
    wait "$peer" 2>/dev/null || true
    echo "first $((shown - start))"
    echo "peak $peak"
    exit 0
fi

count=${1:-200}
changes=${2:-12}
runs=${3:-3}

need=()
for pkg in xvfb imagemagick dbus procps xdotool feh; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || need+=("$pkg")
done
if ((${#need[@]})); then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${need[@]}"
fi
[[ -x $build/bin/defilor && -x $build/bin/tapisol-player-bench ]] ||
    cmake --build "$build" --target defilor tapisol-player-bench tapisol-decoder tapisol_data

photos=${PHOTOS:-$build/bench/photos-6000x4000}
if [[ ! -s $photos/photo-$(printf %04d $((count - 1))).jpg ]]; then
    # The same photos as bench/thumbnails.sh: eight bases, copies told apart by a JPEG comment.
    mkdir -p "$photos/bases"
    for seed in 1 2 3 4 5 6 7 8; do
        base=$photos/bases/base-$seed.jpg
        [[ -s $base ]] && continue
        echo "making photo $seed of 8..." >&2
        convert -size 6000x4000 -seed "$seed" plasma:fractal -blur 0x2 -attenuate 0.25 +noise Gaussian \
            -quality 90 "jpg:$base.part" && mv "$base.part" "$base"
    done
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
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_CACHE_HOME=$work/cache
export XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
"$build/bin/tapisol-player-bench" "$(realpath "$photos")" "$count" "$expo"
for ((i = 0; i < count; i++)); do cat "$photos/photo-$(printf %04d "$i").jpg"; done >/dev/null # page cache

firsts=() worst=() means=() peaks=() helpers=()
for ((run = 1; run <= runs; run++)); do
    TAPISOL_XVFB_SCREEN=1920x1080x24 "$root/tests/e2e/with-display.sh" "$0" --inner "$work" "$changes" \
        >"$work/run" 2>"$work/display.log" || { cat "$work/display.log" >&2; exit 1; }
    read -r first worst_ms mean_ms < <(awk -v expo="$expo" '
        /^start/ { start = $2 }
        /^slide/ { t[n++] = $3 }
        END {
            for (i = 1; i < n; i++) { d = t[i] - t[i-1] - expo * 1000; d = d < 0 ? -d : d; s += d; if (d > w) w = d }
            printf "%d %d %.1f\n", t[0] - start, w, (n > 1 ? s / (n - 1) : 0)
        }' "$work/run")
    peak=$(awk '/^peak/ {print int($2 / 1024)}' "$work/run")
    helper=$(awk '/^helper/ {print int($2 / 1024)}' "$work/run")
    printf 'run %d: first slide %d ms, slide changes off by %d ms at worst (%s ms on average), RSS %d MiB (helper %d MiB)\n' \
        "$run" "$first" "$worst_ms" "$mean_ms" "$peak" "$helper" >&2
    firsts+=("$first") worst+=("$worst_ms") means+=("$mean_ms") peaks+=("$peak") helpers+=("$helper")
done

# The peer: feh, the same pictures and display.
for ((i = 0; i < count; i++)); do echo "$(realpath "$photos")/photo-$(printf %04d "$i").jpg"; done >"$work/list"
peer_firsts=() peer_peaks=()
for ((run = 1; run <= runs; run++)); do
    TAPISOL_XVFB_SCREEN=1920x1080x24 "$root/tests/e2e/with-display.sh" "$0" --peer-inner "$work/list" "$changes" \
        >"$work/peer" 2>"$work/display.log" || { cat "$work/display.log" >&2; exit 1; }
    peer_firsts+=("$(awk '/^first/ {print $2}' "$work/peer")")
    peer_peaks+=("$(awk '/^peak/ {print int($2 / 1024)}' "$work/peer")")
    printf 'feh run %d: first slide %d ms, RSS %d MiB\n' "$run" "${peer_firsts[-1]}" "${peer_peaks[-1]}" >&2
done

best() { printf '%s\n' "$@" | sort -n | head -n1; }
most() { printf '%s\n' "$@" | sort -n | tail -n1; }
echo
echo "defilor and feh $(dpkg-query -W -f='${Version}' feh), $count slides of 6000×4000 JPEGs, ${expo} s each, 1920×1080, $runs runs"
printf '%-42s %10s %10s %10s\n' "" "defilor" "feh" "goal"
printf '%-42s %7s ms %7s ms %7s ms\n' "start to first slide (best run)" "$(best "${firsts[@]}")" "$(best "${peer_firsts[@]}")" 400
printf '%-42s %7s ms %7s ms %7s ms\n' "start to first slide (worst run)" "$(most "${firsts[@]}")" "$(most "${peer_firsts[@]}")" 400
printf '%-42s %7s ms %10s %7s ms\n' "slide change off its time (worst)" "$(most "${worst[@]}")" "" 17
printf '%-42s %7s ms %10s %10s\n' "slide change off its time (mean, worst run)" "$(most "${means[@]}")" "" ""
printf '%-42s %6s MiB %6s MiB %6s MiB\n' "peak RSS" "$(most "${peaks[@]}")" "$(most "${peer_peaks[@]}")" 150
printf '%-42s %6s MiB %10s %10s\n' "defilor's decoding helper's peak RSS" "$(most "${helpers[@]}")" "" ""
