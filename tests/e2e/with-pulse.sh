#!/usr/bin/env bash
# Runs a command beside a PulseAudio server whose only output is a null sink ("tapisol"), whose
# monitor a test records from. PulseAudio will not run as root, so it runs as a user made for
# the purpose; the command reaches it through PULSE_SERVER. Exits 77 (skipped) when no sound
# server can start here, saying why.
set -euo pipefail
user=tapisol-sound
command -v pulseaudio >/dev/null || { echo "with-pulse: pulseaudio is not installed" >&2; exit 77; }
if [[ $(id -u) -eq 0 ]] && ! id "$user" >/dev/null 2>&1; then
    useradd --system --create-home --home-dir "/var/lib/$user" --shell /usr/sbin/nologin "$user"
fi
runtime=$(mktemp -d /tmp/tapisol-pulse.XXXXXX)
trap 'kill "${pulse_pid:-}" 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$runtime"' EXIT
run_as=()
if [[ $(id -u) -eq 0 ]]; then
    chown "$user" "$runtime"
    run_as=(runuser -u "$user" --)
fi
chmod 755 "$runtime"
"${run_as[@]}" env -i HOME="/var/lib/$user" XDG_RUNTIME_DIR="$runtime" PATH=/usr/bin:/bin \
    pulseaudio --daemonize=no --exit-idle-time=-1 -n \
    --load="module-null-sink sink_name=tapisol" \
    --load="module-native-protocol-unix socket=$runtime/native auth-anonymous=1" >"$runtime/pulse.log" 2>&1 &
pulse_pid=$!
for _ in $(seq 100); do
    [[ -S $runtime/native ]] && break
    kill -0 "$pulse_pid" 2>/dev/null || break
    sleep 0.1
done
if [[ ! -S $runtime/native ]]; then
    echo "with-pulse: no sound server could start:" >&2
    tail -n 20 "$runtime/pulse.log" >&2
    exit 77
fi
export PULSE_SERVER=unix:$runtime/native
sleep 1 # the sink settled
"$@"
