#!/usr/bin/env bash
# Endurance: changes in a row through `tapisol --command 2`, and the resident memory of
# `tapisol`, of its decoder helper and of the X server before and after. The X server keeps the
# root pixmaps, so a pixmap leaked per change would show there. Growth is measured after a warm-up.
#   bench/endurance.sh [changes]        (default 500)
set -euo pipefail
cd "$(dirname "$0")/.."
changes=${1:-500}
scripts/deps.sh --test
[[ -x build/bin/tapisol ]] || scripts/build.sh

exec tests/e2e/with-display.sh bash -s "$changes" "$PWD" <<'INNER'
set -euo pipefail
changes=$1
top=$2
home=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$home"' EXIT
export HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/run
mkdir -p "$HOME/Pictures" "$XDG_CONFIG_HOME/Orvenne" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
for i in $(seq 1 12); do
    convert -seed "$i" -size $((1200 + i * 100))x$((900 + i * 50)) plasma:fractal -quality 88 "$HOME/Pictures/p$i.jpg"
done
convert -size 640x480 gradient:red-blue "$HOME/Pictures/g.png"
cat > "$XDG_CONFIG_HOME/Orvenne/Tapisol.conf" <<CONF
[Param%E8tres]
R%E9pertoire=$HOME/Pictures
SelectRandom=0
StartChange=0
CONF

log=$XDG_DATA_HOME/Orvenne/Tapisol/Tapisol.log
"$top/build/bin/tapisol" /trace /silent >/dev/null 2>&1 &
tapisol=$!
xserver=$(pgrep -n Xvfb)
until grep -q 'SY Load, End' "$log" 2>/dev/null; do sleep 0.1; done

rss() { awk '/^VmRSS/ {print $2}' "/proc/$1/status" 2>/dev/null || echo 0; }
helper() { pgrep -n -P "$tapisol" tapisol-decoder || true; }
# change N: N changes, each waited for in the trace.
change() {
    for ((i = 0; i < $1; i++)); do
        local done_before
        done_before=$(grep -c 'SY FNext End' "$log" || true)
        "$top/build/bin/tapisol" --command 2
        until (( $(grep -c 'SY FNext End' "$log" || true) > done_before )) && ! pgrep -f 'tapisol --command' >/dev/null; do
            sleep 0.02
        done
        sleep 0.05
    done
}

change 50
before_tapisol=$(rss "$tapisol"); before_x=$(rss "$xserver"); before_helper=$(rss "$(helper)")
start=$(date +%s.%N)
change "$changes"
elapsed=$(echo "$(date +%s.%N) - $start" | bc -l)
after_tapisol=$(rss "$tapisol"); after_x=$(rss "$xserver"); after_helper=$(rss "$(helper)")
failed=$(grep -c 'SY Chg WP Err\|SY Chg Save Failed' "$log" || true)

printf "%d changes in %.0f s after 50 to warm up (%d failed)\n" "$changes" "$elapsed" "$failed"
printf "%-16s %12s %12s %12s %8s\n" process "before MiB" "after MiB" "growth MiB" goal
for row in "tapisol $before_tapisol $after_tapisol" "decoder $before_helper $after_helper" "X server $before_x $after_x"; do
    set -- $row
    name=$1
    [[ $name == X ]] && { name="X server"; shift; }
    awk -v n="$name" -v b="$2" -v a="$3" 'BEGIN { printf "%-16s %12.1f %12.1f %12.1f %8s\n", n, b/1024, a/1024, (a-b)/1024, "< 2" }'
done
"$top/build/bin/tapisol" --command 17
INNER
