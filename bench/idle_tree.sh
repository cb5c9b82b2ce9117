#!/usr/bin/env bash
# Resident memory of the idle tray program with every process it started (its decoding helper),
# after the start and after a hundred changes ("tapisol --command 2"), on a 1920×1080 and on a
# 3840×2160 screen, once the helper has left for lack of work. Goal: under 40 MiB in every case;
# bench/idle_cost.sh gives the peer (variety) measured the same way at rest.
#   bench/idle_tree.sh [changes]
set -euo pipefail
cd "$(dirname "$0")/.."
changes=${1:-100}
[[ -x build/bin/tapisol ]] || { scripts/deps.sh --test >/dev/null; scripts/build.sh >/dev/null; }
home=$(mktemp -d)
trap 'kill "${xvfb:-}" 2>/dev/null || true; rm -rf "$home"' EXIT
mkdir -p "$home/config/Orvenne" "$home/data" "$home/runtime" "$home/pictures"
chmod 700 "$home/runtime"
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/runtime HOME=$home
for i in 1 2 3 4 5; do convert -size 4000x3000 "plasma:fractal" -quality 85 "$home/pictures/p$i.jpg"; done
printf '[Param%%E8tres]\nR%%E9pertoire=%s\nSelectRandom=0\nStartChange=-1\nSonActif=0\n' "$home/pictures" \
    > "$home/config/Orvenne/Tapisol.conf"
tree_mib() {
    local total=0 pid
    for pid in "$1" $(pgrep -P "$1"); do
        total=$((total + $(awk '/VmRSS/ {print $2}' "/proc/$pid/status" 2>/dev/null || echo 0)))
    done
    echo "$((total / 1024)) MiB, $(pgrep -P "$1" | wc -l) helper(s)"
}
printf '%-12s %-28s %-28s\n' screen "idle after start" "idle after $changes changes"
for size in 1920x1080 3840x2160; do
    Xvfb :99 -screen 0 "${size}x24" -nolisten tcp >/dev/null 2>&1 &
    xvfb=$!
    sleep 1
    export DISPLAY=:99
    build/bin/tapisol /silent >/dev/null 2>&1 &
    tapisol=$!
    sleep 25 # the first change done and the helper gone
    start=$(tree_mib "$tapisol")
    for _ in $(seq "$changes"); do build/bin/tapisol --command 2 >/dev/null; done
    sleep 25
    printf '%-12s %-28s %-28s\n' "$size" "$start" "$(tree_mib "$tapisol")"
    build/bin/tapisol --command 17 >/dev/null
    wait "$tapisol" || true
    kill "$xvfb"; wait "$xvfb" 2>/dev/null || true
done
echo "goal: under 40 MiB"
