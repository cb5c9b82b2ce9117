#!/usr/bin/env bash
# Takes the screenshot the AppStream metadata shows: the real program under Xvfb with a tray host,
# a generated wallpaper on screen and the tray menu open. Writes data/screenshots/tapisol-menu.png
# (or the file given as the first argument). Needs a build (scripts/build.sh) and the test packages.
set -euo pipefail
cd "$(dirname "$0")/.."
top=$PWD
out=$(realpath -m "${1:-data/screenshots/tapisol-menu.png}")
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT

Xvfb -displayfd 5 -screen 0 1280x800x24 -nolisten tcp 5>"$work/display" 2>/dev/null &
for _ in $(seq 100); do [[ -s "$work/display" ]] && break || sleep 0.05; done
export DISPLAY=":$(head -n1 "$work/display")" QT_QPA_PLATFORM=xcb
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run" HOME="$work"
mkdir -p "$XDG_RUNTIME_DIR" "$work/pictures" "$XDG_CONFIG_HOME/Orvenne"
chmod 700 "$XDG_RUNTIME_DIR"

# Landscapes made by ImageMagick: a sky gradient, a sun and hills; the first one in name order
# is shown ("HB" order).
for hills in 2f7d3a 3d6b8f 8f6b3d; do
    convert -size 1280x800 gradient:'#3b7dd8-#cfe8fb' \
        -fill '#ffd34d' -draw 'circle 300,220 300,300' \
        -fill "#$hills" -draw 'path "M 0,800 L 0,560 C 300,420 520,640 800,520 C 1000,440 1150,560 1280,500 L 1280,800 Z"' \
        "$work/pictures/paysage-$hills.jpg"
done
cat >"$XDG_CONFIG_HOME/Orvenne/Tapisol.conf" <<CONF
[Param%E8tres]
R%E9pertoire=$work/pictures
StartChange=-1
SelectRandom=0
Splash=0
CONF

dbus-run-session -- bash -c '
    trayer --edge top --align right --widthtype pixel --width 120 --height 32 --transparent true --tint 0x303030 &
    "'"$top"'/build/bin/tapisol" &
    for _ in $(seq 100); do
        icon=$(xdotool search --onlyvisible --classname tapisol 2>/dev/null | head -n1 || true)
        [[ -n "$icon" ]] && break || sleep 0.1
    done
    sleep 2
    eval "$(xdotool getwindowgeometry --shell "$icon")"
    xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click 3
    sleep 1
    import -window root "'"$out"'"
    "'"$top"'/build/bin/tapisol" --command 17 || true
    sleep 1
'
echo "$out"
