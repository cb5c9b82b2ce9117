#!/usr/bin/env bash
# Idle cost of the tray program: CPU time and resident memory of `tapisol` over 60 seconds with
# auto mode on and tracing off, beside the same figures for variety, a long-running wallpaper
# changer that also lives in the tray. Both run under the same Xvfb display and tray host.
#   bench/idle_cost.sh [seconds]        (default 60; builds Tapisol first if needed)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

scripts/deps.sh --test
if ! dpkg-query -W -f='${Status}' variety 2>/dev/null | grep -q 'install ok installed'; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends variety
fi
[[ -x build/bin/tapisol ]] || scripts/build.sh
# variety refuses to run as root: it runs as a user of its own.
id tapisol-bench >/dev/null 2>&1 || useradd --create-home tapisol-bench

exec tests/e2e/with-display.sh bash -s "$seconds" <<'INNER'
set -euo pipefail
seconds=$1
home=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$home"' EXIT
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/run
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR" "$HOME/Pictures"
chmod 700 "$XDG_RUNTIME_DIR"
ticks=$(getconf CLK_TCK)
trayer --edge top --align right --widthtype pixel --width 200 --height 32 >/dev/null 2>&1 &
sleep 1

cpu_ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
rss_kib() { awk '/^VmRSS/ {print $2}' "/proc/$1/status"; }

# measure NAME PID: lets the program settle, then samples it over the window.
measure() {
    local name=$1 pid=$2
    sleep 5
    local before after peak=0 rss
    before=$(cpu_ticks "$pid")
    for ((i = 0; i < seconds; i++)); do
        sleep 1
        rss=$(rss_kib "$pid")
        ((rss > peak)) && peak=$rss
    done
    after=$(cpu_ticks "$pid")
    awk -v n="$name" -v t=$((after - before)) -v hz="$ticks" -v s="$seconds" -v r="$(rss_kib "$pid")" -v p="$peak" \
        'BEGIN { printf "%-10s %12.3f %12.3f %12.1f %12.1f\n", n, t / hz, 100 * t / hz / s, r / 1024, p / 1024 }'
}

printf "Idle cost over %d s (auto mode on, no trace)\n" "$seconds"
printf "%-10s %12s %12s %12s %12s\n" program "cpu s" "% of a core" "rss MiB" "peak MiB"

build/bin/tapisol >/dev/null 2>&1 &
measure tapisol $!
build/bin/tapisol --command 17

runuser -u tapisol-bench -- env -i DISPLAY="$DISPLAY" HOME=/home/tapisol-bench PATH=/usr/bin:/bin \
    dbus-run-session -- variety >/dev/null 2>&1 &
for _ in $(seq 100); do
    pid=$(pgrep -n -u tapisol-bench -f 'bin/variety' || true)
    [[ -n "$pid" ]] && break
    sleep 0.1
done
measure variety "$pid"
INNER
