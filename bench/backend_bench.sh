#!/usr/bin/env bash
# The wallpaper back ends that run on this machine, each beside the desktop's own tool making the
# same change: GNOME's keys through GIO against `gsettings set`, xfconf over D-Bus against
# `xfconf-query`, and sway's IPC against `swaymsg` where a headless sway can run. Each on a
# private session bus (GSettings with its key-file back end, the real xfconfd).
#   bench/backend_bench.sh [runs]
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-50}
[[ -x build/bin/tapisol-backend-bench ]] || { scripts/deps.sh --test >/dev/null; scripts/build.sh >/dev/null; }
bench=$PWD/build/bin/tapisol-backend-bench
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
mkdir -p "$home/config" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/runtime HOME=$home
export GSETTINGS_BACKEND=keyfile
echo "== GNOME (GSettings, key-file back end), $runs changes"
dbus-run-session -- "$bench" gnome "$runs"
echo
echo "== XFCE (xfconfd), $runs changes"
dbus-run-session -- "$bench" xfce "$runs"
echo
if [[ -x tests/wallpaper/backends/with-sway.sh ]] && command -v swaymsg >/dev/null; then
    echo "== sway (headless), $runs changes"
    tests/wallpaper/backends/with-sway.sh "$bench" sway "$runs" || echo "(sway could not run here)"
fi
