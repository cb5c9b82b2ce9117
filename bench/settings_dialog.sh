#!/usr/bin/env bash
# The settings dialog: from `tapisol --command 0` to its window on screen, in the real program
# under Xvfb with a 6000×4000 JPEG as the wallpaper, and the preview's refresh after a change of
# the fitting mode (tapisol-dialog-bench), beside the goals of 150 ms and 50 ms.
#   bench/settings_dialog.sh [runs]
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-10}
[[ -x build/bin/tapisol-dialog-bench ]] || { scripts/deps.sh --test >/dev/null; scripts/build.sh >/dev/null; }
home=$(mktemp -d)
trap 'build/bin/tapisol --command 17 >/dev/null 2>&1 || true; kill "${xvfb:-}" 2>/dev/null || true; rm -rf "$home"' EXIT
mkdir -p "$home/config/Orvenne" "$home/data" "$home/runtime" "$home/pictures"
chmod 700 "$home/runtime"
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/runtime HOME=$home
convert -size 6000x4000 gradient:navy-orange -quality 90 "$home/pictures/big.jpg"
printf '[Param%%E8tres]\nR%%E9pertoire=%s\nStartChange=-1\nSelectRandom=0\n' "$home/pictures" \
    > "$home/config/Orvenne/Tapisol.conf"
Xvfb :97 -screen 0 1920x1080x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
sleep 1
export DISPLAY=:97
build/bin/tapisol /silent >/dev/null 2>&1 &
for _ in $(seq 100); do build/bin/tapisol --command 9 >/dev/null 2>&1 && break; sleep 0.1; done
build/bin/tapisol --command 9 >/dev/null 2>&1 # quiet-all back off
sleep 2 # the first change done
times=()
for _ in $(seq "$runs"); do
    start=$(date +%s%N)
    build/bin/tapisol --command 0 >/dev/null
    # Polled every 5 ms (xdotool's own --sync waits half a second between looks).
    until window=$(xdotool search --onlyvisible --name 'Paramètres de Tapisol' 2>/dev/null | head -n1) \
        && [[ -n $window ]]; do sleep 0.005; done
    end=$(date +%s%N)
    times+=($(( (end - start) / 1000000 )))
    xdotool windowfocus --sync "$window" key Escape
    while xdotool search --onlyvisible --name 'Paramètres de Tapisol' >/dev/null 2>&1; do sleep 0.05; done
done
sorted=($(printf '%s\n' "${times[@]}" | sort -n))
echo "--command 0 to the dialog on screen ($runs runs, ms): median ${sorted[$((runs / 2))]}, min ${sorted[0]}, max ${sorted[$((runs - 1))]}   goal < 150"
echo "(includes starting the tapisol client that sends the command: $(build/bin/tapisol-tree-usage build/bin/tapisol --version 2>&1 | tail -n1))"
TAPISOL_DATA_DIR=$PWD/build/share/tapisol build/bin/tapisol-dialog-bench "$home/pictures/big.jpg" 40
