#!/usr/bin/env bash
# Runs a command on an X server of its own, for the checks that the 24-bit Xvfb of
# tests/e2e/with-display.sh cannot make:
#   with-x-server.sh xvfb16 command...      a 16-bit Xvfb screen (pixels repacked, not copied)
#   with-x-server.sh xorg-dummy command...  Xorg with the dummy video driver, 2560x800
# Exits 77 (ctest's "skipped") when Xorg, its dummy driver or root rights are missing.
set -euo pipefail

kind=$1
shift
tmp=$(mktemp -d)
cleanup() {
    [[ -n "${server_pid:-}" ]] && kill "$server_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$tmp"
}
trap cleanup EXIT

exec 5>"$tmp/display"
case "$kind" in
xvfb16)
    Xvfb -displayfd 5 -screen 0 1280x800x16 -nolisten tcp -noreset >"$tmp/server.log" 2>&1 &
    ;;
xorg-dummy)
    if [[ $(id -u) -ne 0 ]] || ! command -v Xorg >/dev/null \
        || [[ -z $(find /usr/lib/xorg/modules/drivers -name dummy_drv.so 2>/dev/null) ]]; then
        echo "with-x-server: needs root, Xorg and xserver-xorg-video-dummy; skipped" >&2
        exit 77
    fi
    cat >"$tmp/xorg.conf" <<'CONF'
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "DontVTSwitch" "true"
EndSection
Section "Device"
    Identifier "card"
    Driver "dummy"
    VideoRam 65536
EndSection
Section "Monitor"
    Identifier "monitor"
    HorizSync 5.0-1000.0
    VertRefresh 5.0-200.0
    Modeline "2560x800" 170.0 2560 2600 2640 2700 800 802 804 810
EndSection
Section "Screen"
    Identifier "screen"
    Device "card"
    Monitor "monitor"
    DefaultDepth 24
    SubSection "Display"
        Depth 24
        Modes "2560x800"
    EndSubSection
EndSection
CONF
    Xorg -config "$tmp/xorg.conf" -displayfd 5 -noreset -nolisten tcp -novtswitch -sharevts \
        -logfile "$tmp/xorg.log" >"$tmp/server.log" 2>&1 &
    ;;
*)
    echo "with-x-server: unknown server kind '$kind'" >&2
    exit 2
    ;;
esac
server_pid=$!
for _ in $(seq 200); do
    [[ -s "$tmp/display" ]] && break
    kill -0 "$server_pid" 2>/dev/null || break
    sleep 0.05
done
exec 5>&-
if [[ ! -s "$tmp/display" ]]; then
    echo "with-x-server: the $kind server did not start" >&2
    cat "$tmp/server.log" >&2
    exit 1
fi
export DISPLAY=":$(head -n1 "$tmp/display")"
export QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY
# A session bus of its own too, so that the tray program's end-to-end tests can run here as well.
if command -v dbus-run-session >/dev/null; then
    dbus-run-session -- "$@"
else
    "$@"
fi
