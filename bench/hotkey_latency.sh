#!/usr/bin/env bash
# From an X key press (xdotool, through the XTest extension) to the start of the command's work
# in the tray (the dispatcher's trace line "Sy ActionMenu 9"), median of 50 presses of a bound
# F9, in the real program under Xvfb; beside xdotool's own time for a key nobody holds, which
# the first figure includes. Goal: under 5 ms for Tapisol's part.
#   bench/hotkey_latency.sh [presses]
set -euo pipefail
cd "$(dirname "$0")/.."
presses=${1:-50}
[[ -x build/bin/tapisol ]] || { scripts/deps.sh --test >/dev/null; scripts/build.sh >/dev/null; }
home=$(mktemp -d)
trap 'build/bin/tapisol --command 17 >/dev/null 2>&1 || true; sleep 1; kill "${xvfb:-}" 2>/dev/null || true; rm -rf "$home"' EXIT
mkdir -p "$home/config/Orvenne" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/runtime HOME=$home
printf '[Param%%E8tres]\nHKQuietAllMod=0\nHKQuietAllCode=120\nStartChange=0\n' > "$home/config/Orvenne/Tapisol.conf"
Xvfb :98 -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
sleep 1
export DISPLAY=:98
build/bin/tapisol /trace /silent >/dev/null 2>&1 &
log=$home/data/Orvenne/Tapisol/Tapisol.log
for _ in $(seq 100); do grep -q 'SY Load, End' "$log" 2>/dev/null && break; sleep 0.1; done
median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
pressed=()
for _ in $(seq "$presses"); do
    inotifywait -q -e modify "$log" >/dev/null & watcher=$!
    sleep 0.05 # the watch in place
    start=$(date +%s%N)
    xdotool key F9
    wait "$watcher"
    end=$(date +%s%N)
    pressed+=($(( (end - start) / 1000 )))
    sleep 0.05
done
alone=()
for _ in $(seq "$presses"); do
    start=$(date +%s%N)
    xdotool key F10
    end=$(date +%s%N)
    alone+=($(( (end - start) / 1000 )))
done
p=$(printf '%s\n' "${pressed[@]}" | median)
a=$(printf '%s\n' "${alone[@]}" | median)
printf 'commands run: %s of %s presses\n' "$(grep -c 'Sy ActionMenu 9' "$log")" "$presses"
printf 'press to the trace line (us, median): %s\n' "$p"
printf 'xdotool alone, unbound key (us, median): %s\n' "$a"
printf "Tapisol's part (us): %s   goal < 5000\n" "$((p - a))"
