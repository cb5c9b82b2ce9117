#!/usr/bin/env bash
# Runs a command inside its own Xvfb display (TAPISOL_XVFB_SCREEN, 1280x800x24 by default) and
# D-Bus session, then tears both down. -displayfd lets Xvfb pick a free display itself, so
# parallel tests never race for a number.
set -euo pipefail
tmp=$(mktemp -d)
trap 'kill "${xvfb_pid:-}" 2>/dev/null || true; wait || true; rm -rf "$tmp"' EXIT
Xvfb -displayfd 5 -screen 0 "${TAPISOL_XVFB_SCREEN:-1280x800x24}" -nolisten tcp -noreset \
    5>"$tmp/display" >"$tmp/xvfb.log" 2>&1 &
xvfb_pid=$!
for _ in $(seq 100); do [[ -s "$tmp/display" ]] && break || sleep 0.05; done
if [[ ! -s "$tmp/display" ]]; then
    echo "with-display: Xvfb did not start" >&2; cat "$tmp/xvfb.log" >&2; exit 1
fi
export DISPLAY=":$(head -n1 "$tmp/display")" QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY
# The accented letters of the French names the tests type get keys of their own. Otherwise
# xdotool lends a key to each letter for the time of one press, and a loaded program can read the
# press after the key was given back, seeing another letter or none.
free=($(xmodmap -pke | awk 'NF == 3 { print $2 }'))
i=0
for letter in eacute egrave agrave ccedilla ugrave ecircumflex; do
    ((i < ${#free[@]})) || break
    xmodmap -e "keycode ${free[i]} = $letter" && i=$((i + 1))
done
dbus-run-session -- "$@"
