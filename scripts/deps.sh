#!/usr/bin/env bash
# Installs the Debian 12 packages that Tapisol needs.
#   scripts/deps.sh          build and run
#   scripts/deps.sh --package  build and the Debian package (scripts/package.sh)
#   scripts/deps.sh --test   build, run, the package and the whole test suite
#   scripts/deps.sh --bench  all of --test, and the programs the benchmarks compare with
# Packages already present are not asked for again, so a second run costs nothing.
set -euo pipefail

build_packages=(
    cmake ninja-build g++ pkg-config clang-format
    qt6-base-dev qt6-base-dev-tools qt6-multimedia-dev qt6-svg-dev
    qt6-image-formats-plugins qt6-qpa-plugins qt6-wayland
    libsqlitecpp-dev libsqlite3-dev
    libxcb1-dev libxcb-keysyms1-dev libxcb-randr0-dev
    libjpeg62-turbo-dev libheif-dev libwmf-dev libemf2svg-dev fonts-urw-base35
    gstreamer1.0-plugins-good gstreamer1.0-plugins-base gstreamer1.0-pulseaudio
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
    xdg-utils librsvg2-bin libglib2.0-dev python3-holidays libblkid-dev zlib1g-dev qt6-translations-l10n
)
package_packages=(
    debhelper dpkg-dev fakeroot lintian appstream desktop-file-utils
)
test_packages=(
    cinnamon-desktop-data mate-desktop-common mate-screensaver-common sway swaybg grim pcmanfm-qt
    xvfb xauth trayer xfce4-panel xdotool x11-utils x11-xserver-utils imagemagick sqlite3
    dbus dbus-x11 xfconf libglib2.0-bin gsettings-desktop-schemas
    procps psmisc desktop-file-utils libimage-exiftool-perl inotify-tools
    pulseaudio pulseaudio-utils gstreamer1.0-pulseaudio gstreamer1.0-tools gstreamer1.0-plugins-base-apps faketime
    xserver-xorg-core xserver-xorg-video-dummy libxcb-res0-dev xcompmgr
    mount dosfstools e2fsprogs exfatprogs exfat-fuse
    sox
)
# The peers the benchmarks under bench/ compare with.
bench_packages=(
    libvips-tools libjpeg-turbo-progs time feh
)

wanted=("${build_packages[@]}")
case "${1:-}" in
    --test) wanted+=("${package_packages[@]}" "${test_packages[@]}") ;;
    --bench) wanted+=("${package_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}") ;;
    --package) wanted+=("${package_packages[@]}") ;;
esac

missing=()
for pkg in "${wanted[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$pkg")
    fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
