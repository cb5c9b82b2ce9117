#!/usr/bin/env bash
# Builds the Debian package from debian/ with debhelper and leaves tapisol_<version>_<arch>.deb in
# dist/ (or in the folder given as the first argument). Installs its build dependencies itself.
# The build runs in a copy of the tracked sources, so the work tree and build/ stay as they are.
set -euo pipefail
cd "$(dirname "$0")/.."
top=$PWD
out=$(realpath -m "${1:-dist}")

scripts/deps.sh --package

version=$(dpkg-parsechangelog -S Version)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
src="$work/tapisol-$version"
mkdir -p "$src"
# Only what git tracks (plus changes not yet committed), never a build tree.
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$src" 2>/dev/null || true
cd "$src"
DEB_BUILD_OPTIONS="nocheck parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}" \
    dpkg-buildpackage -b -us -uc --no-sign >"$work/build.log" 2>&1 || {
    tail -n 60 "$work/build.log" >&2
    echo "package.sh: dpkg-buildpackage failed (log above)" >&2
    exit 1
}
mkdir -p "$out"
cp "$work"/tapisol_"$version"_*.deb "$out"/
ls "$out"/tapisol_"$version"_*.deb
