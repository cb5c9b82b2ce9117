#!/usr/bin/env bash
# Builds the Debian package and checks it as a distribution would: the files it installs, lintian,
# the desktop entry and AppStream validators; then unpacks it into a throw-away root and starts the
# installed program there, under its own X server, to see it find its data and its decoding helper.
set -euo pipefail
top=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

"$top/scripts/package.sh" "$work/dist" >"$work/package.log" 2>&1 || { cat "$work/package.log" >&2; fail "package build"; }
deb=$(ls "$work"/dist/tapisol_*.deb)
echo "built $(basename "$deb")"

# 1. What it installs.
dpkg-deb --contents "$deb" | awk '{print $NF}' | sed 's|^\./|/|' >"$work/contents"
for path in /usr/bin/tapisol /usr/libexec/tapisol/tapisol-decoder \
    /usr/share/applications/tapisol.desktop /usr/share/metainfo/org.orvenne.Tapisol.metainfo.xml \
    /usr/share/man/man1/tapisol.1.gz /usr/share/icons/hicolor/scalable/apps/tapisol.svg \
    /usr/share/tapisol/lang/FRA.lng /usr/share/tapisol/lang/ENG.lng /usr/share/tapisol/lang/Langues.Lng \
    /usr/share/tapisol/lang/Pays.Lng /usr/share/tapisol/help/FRA/index.html /usr/share/tapisol/help/ENG/index.html \
    /usr/share/tapisol/holidays.tsv \
    /usr/share/doc/tapisol/copyright; do
    grep -qx "$path" "$work/contents" || fail "the package lacks $path"
done
for size in 16 22 24 32 48 64 128 256 512; do
    grep -qx "/usr/share/icons/hicolor/${size}x${size}/apps/tapisol.png" "$work/contents" || fail "no ${size}px icon"
done
depends=$(dpkg-deb -f "$deb" Depends)
for dep in libqt6gui6 libsqlite3-0 libheif1 qt6-image-formats-plugins gstreamer1.0-plugins-good; do
    [[ "$depends" == *"$dep"* ]] || fail "Depends lacks $dep: $depends"
done

# 2. Distribution checks: any error fails.
lintian --fail-on error --tag-display-limit 0 "$deb" | tee "$work/lintian.log" || fail "lintian reports errors"

dpkg -x "$deb" "$work/root"
desktop-file-validate "$work/root/usr/share/applications/tapisol.desktop" | grep -v '^.*: hint:' | grep . \
    && fail "desktop entry refused"
appstreamcli validate --no-net "$work/root/usr/share/metainfo/org.orvenne.Tapisol.metainfo.xml" || fail "metainfo refused"
man --warnings -l "$work/root/usr/share/man/man1/tapisol.1.gz" 2>&1 >/dev/null | grep . && fail "manual page warnings"

# 3. The installed program, in its own root: texts from /usr/share/tapisol, the helper from libexec.
export HOME="$work/home" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run"
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset TAPISOL_DATA_DIR TAPISOL_DECODER
program="$work/root/usr/bin/tapisol"
"$program" --help | grep -q "commande N" || fail "the installed program does not find its French texts"
convert -size 640x400 xc:'#c83214' "$work/red.png"
"$top/tests/e2e/with-display.sh" bash -c '
    set -e
    "$0" --apply "$1"
    import -silent -window root -crop 1x1+100+100 -depth 8 txt:- | grep -qi "#C83214" || { echo "root not red"; exit 1; }
    "$0" /trace /silent &
    for _ in $(seq 100); do grep -qs "SY Load, End" "$XDG_DATA_HOME/Orvenne/Tapisol/Tapisol.log" && break; sleep 0.1; done
    grep -q "SY Load, End" "$XDG_DATA_HOME/Orvenne/Tapisol/Tapisol.log" || { echo "no tray start"; exit 1; }
    "$0" --command 17
    wait
' "$program" "$work/red.png" || fail "the installed program under X"
echo "package checks passed"
