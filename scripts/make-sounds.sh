#!/usr/bin/env bash
# Makes the sounds Tapisol ships, from nothing but sine waves: the chime sets (a short chime
# "TPBell<n>.mp3" and an hour sound "TPBell<n>h.mp3"), the wallpaper-change sound and the alarm
# sound, into data/media/Sons/. The MP3s are kept in the repository, so building Tapisol needs
# no sox; run this only to change them. Needs sox and libsox-fmt-mp3.
set -euo pipefail
cd "$(dirname "$0")/.."
out=data/media/Sons
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# bell NAME SECONDS FUNDAMENTAL: a struck bell, the partials of a church bell (hum, prime,
# tierce, quint, nominal) mixed and dying away.
bell() {
    local name=$1 seconds=$2 f=$3
    sox -n -r 22050 -c 5 "$tmp/$name-partials.wav" synth "$seconds" \
        sine "$(echo "$f * 0.5" | bc -l)" sine "$f" sine "$(echo "$f * 1.2" | bc -l)" \
        sine "$(echo "$f * 1.5" | bc -l)" sine "$(echo "$f * 2.0" | bc -l)"
    sox "$tmp/$name-partials.wav" -c 1 "$tmp/$name.wav" remix 1v0.17,2v0.34,3v0.17,4v0.12,5v0.15 \
        fade q 0.003 "$seconds" "$(echo "$seconds - 0.05" | bc -l)" fade l 0 "$seconds" "$seconds" norm -3
}

bell TPBell1 2 660          # the short chime of the first set
bell TPBell1h 3.5 440       # its hour sound, lower and longer
bell TPBell2-a 1.2 1046.5   # the second set: two notes in turn
bell TPBell2-b 1.6 784
sox "$tmp/TPBell2-a.wav" "$tmp/TPBell2-b.wav" "$tmp/TPBell2.wav" norm -3
bell TPBell2h 4 220         # and a deep hour bell

# The wallpaper change: a short, soft rising "pling".
sox -n -r 22050 -c 1 "$tmp/Change1.wav" synth 0.45 sine 880-1760 fade q 0.01 0.45 0.3 norm -6
# The alarm: three bright beeps.
sox -n -r 22050 -c 1 "$tmp/beep.wav" synth 0.18 sine 1320 fade q 0.01 0.18 0.05
sox -n -r 22050 -c 1 "$tmp/gap.wav" trim 0 0.12
sox "$tmp/beep.wav" "$tmp/gap.wav" "$tmp/beep.wav" "$tmp/gap.wav" "$tmp/beep.wav" "$tmp/Alm2.wav" norm -3

for name in TPBell1 TPBell1h TPBell2 TPBell2h Change1 Alm2; do
    sox "$tmp/$name.wav" -C 48 "$out/$name.mp3"
done
ls -l "$out"
