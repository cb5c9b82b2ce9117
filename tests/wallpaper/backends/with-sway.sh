#!/usr/bin/env bash
# Runs a command beside a headless sway (no GPU, no input devices), then stops it:
#   with-sway.sh command args...
# sway will not run as root, so it runs as an unprivileged user made for the purpose; the command
# (root here) reaches it through SWAYSOCK and WAYLAND_DISPLAY. Exits 77 (skipped) when sway
# cannot start, saying why.
set -euo pipefail
user=tapisol-sway
if [[ $(id -u) -eq 0 ]] && ! id "$user" >/dev/null 2>&1; then
    useradd --system --create-home --home-dir "/var/lib/$user" --shell /usr/sbin/nologin "$user"
fi
command -v sway >/dev/null || { echo "with-sway: sway is not installed" >&2; exit 77; }
runtime=$(mktemp -d /tmp/tapisol-sway.XXXXXX)
trap 'kill "${sway_pid:-}" 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$runtime"' EXIT
printf 'output HEADLESS-1 resolution 640x480\n' > "$runtime/config"
run_as=()
if [[ $(id -u) -eq 0 ]]; then
    chown -R "$user" "$runtime"
    run_as=(runuser -u "$user" --)
fi
chmod 700 "$runtime"
"${run_as[@]}" env -i HOME="/var/lib/$user" XDG_RUNTIME_DIR="$runtime" PATH=/usr/bin:/bin \
    WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
    sway -c "$runtime/config" >"$runtime/sway.log" 2>&1 &
sway_pid=$!
for _ in $(seq 100); do
    socket=$(ls "$runtime"/sway-ipc.*.sock 2>/dev/null | head -n1 || true)
    [[ -n $socket && -S $socket ]] && break
    kill -0 "$sway_pid" 2>/dev/null || break
    sleep 0.1
done
if [[ -z ${socket:-} ]]; then
    echo "with-sway: sway did not start:" >&2
    tail -n 20 "$runtime/sway.log" >&2
    exit 77
fi
display=$(cd "$runtime" && ls wayland-* 2>/dev/null | grep -v lock | head -n1)
export SWAYSOCK=$socket WAYLAND_DISPLAY=$runtime/$display
"$@"
