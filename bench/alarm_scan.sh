#!/usr/bin/env bash
# The one-second alarm scan with 100,000 notes, 1,000 of them armed for the coming month and none
# due: the time of a tick (tapisol-alarm-scan-bench), then the real tray's CPU over a minute with
# that database beside the same tray with an empty database, under Xvfb with a tray host.
#   bench/alarm_scan.sh [seconds]        (default 60; builds Tapisol first if needed)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
scripts/deps.sh --test
[[ -x build/bin/tapisol && -x build/bin/tapisol-alarm-scan-bench ]] || scripts/build.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data build/bin/tapisol-alarm-scan-bench "$work/notes.mdb"
echo

exec tests/e2e/with-display.sh bash -s "$seconds" "$work/notes.mdb" <<'INNER'
set -euo pipefail
seconds=$1 notes=$2
ticks=$(getconf CLK_TCK)
trayer --edge top --align right --widthtype pixel --width 200 --height 32 >/dev/null 2>&1 &
sleep 1
cpu_ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }

# run NAME DATABASE: the tray with that database (none: a new empty one), auto mode off.
run() {
    local name=$1 database=$2 home
    home=$(mktemp -d)
    mkdir -p "$home/config/Orvenne" "$home/data/Orvenne/Tapisol" "$home/run" "$home/Pictures"
    chmod 700 "$home/run" "$home/data/Orvenne/Tapisol"
    printf '[Param%%E8tres]\nStartChange=0\n' > "$home/config/Orvenne/Tapisol.conf"
    [[ -n "$database" ]] && cp "$database" "$home/data/Orvenne/Tapisol/Tapisol.mdb"
    HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/run \
        build/bin/tapisol >/dev/null 2>&1 &
    local pid=$!
    sleep 8
    local before after
    before=$(cpu_ticks "$pid")
    sleep "$seconds"
    after=$(cpu_ticks "$pid")
    HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/run \
        build/bin/tapisol --command 17 >/dev/null 2>&1 || true
    wait "$pid" 2>/dev/null || true
    rm -rf "$home"
    awk -v n="$name" -v t=$((after - before)) -v hz="$ticks" -v s="$seconds" \
        'BEGIN { printf "%-34s %10.3f %12.3f\n", n, t / hz, 100 * t / hz / s }'
}

printf "The tray over %d s, auto mode off, no trace\n" "$seconds"
printf "%-34s %10s %12s\n" database "cpu s" "% of a core"
run "empty" ""
run "100,000 notes, 1,000 armed" "$notes"
INNER
