#!/usr/bin/env bash
# Runs a command on Xorg with the dummy video driver (one 2560x800 screen) and a D-Bus session of
# its own: a real Xorg server, for what the Xvfb of tests/e2e/with-display.sh cannot show.
#   with-x-server.sh xorg-dummy command...
# Exits 77 (ctest's "skipped") when Xorg, its dummy driver or root rights are missing.
set -euo pipefail
[[ ${1:-} == xorg-dummy ]] || { echo "with-x-server: unknown server kind '${1:-}'" >&2 && exit 2; }
shift
if [[ $(id -u) -ne 0 || ! -x $(command -v Xorg) || ! -e /usr/lib/xorg/modules/drivers/dummy_drv.so ]]; then
    echo "with-x-server: needs root, Xorg and xserver-xorg-video-dummy; skipped" >&2 && exit 77
fi
tmp=$(mktemp -d)
trap 'kill "${server_pid:-}" 2>/dev/null || true; wait || true; rm -rf "$tmp"' EXIT
cat >"$tmp/xorg.conf" <<'CONF'
Section "ServerFlags" Option "AutoAddDevices" "false" EndSection
Section "Device" Identifier "card" Driver "dummy" VideoRam 65536 EndSection
Section "Monitor" Identifier "monitor" HorizSync 5.0-1000.0 VertRefresh 5.0-200.0
    Modeline "2560x800" 170.0 2560 2600 2640 2700 800 802 804 810 EndSection
Section "Screen" Identifier "screen" Device "card" Monitor "monitor" DefaultDepth 24
    SubSection "Display" Depth 24 Modes "2560x800" EndSubSection EndSection
CONF
Xorg -config "$tmp/xorg.conf" -displayfd 5 -noreset -nolisten tcp -novtswitch -sharevts -logfile "$tmp/xorg.log" \
    5>"$tmp/display" >"$tmp/server.log" 2>&1 &
server_pid=$!
for _ in $(seq 200); do
    [[ -s "$tmp/display" ]] && break
    kill -0 "$server_pid" 2>/dev/null || break
    sleep 0.05
done
if [[ ! -s "$tmp/display" ]]; then
    echo "with-x-server: Xorg did not start" >&2 && cat "$tmp/server.log" >&2 && exit 1
fi
export DISPLAY=":$(head -n1 "$tmp/display")" QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY
dbus-run-session -- "$@"
