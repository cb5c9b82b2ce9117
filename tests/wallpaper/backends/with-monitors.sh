#!/usr/bin/env bash
# Splits the X screen of $DISPLAY into two RandR monitors side by side, then runs the command.
#   with-monitors.sh command args...
# The first monitor takes over the screen's output, so that only the two halves are listed.
set -euo pipefail

read -r width height < <(xdpyinfo | awk '/dimensions:/ { split($2, size, "x"); print size[1], size[2]; exit }')
output=$(xrandr | awk '$2 == "connected" { print $1; exit }')
half=$((width / 2))
xrandr --setmonitor tapisol-left "${half}/200x${height}/150+0+0" "${output}"
xrandr --setmonitor tapisol-right "$((width - half))/200x${height}/150+${half}+0" none
exec "$@"
