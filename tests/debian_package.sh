#!/usr/bin/env bash
# The Debian package as an examiner installs it: packs the build, unpacks
# the package into a fresh tree, lays out a case with the packaged case
# builder and runs the packaged worker on it.
# Usage: debian_package.sh BUILD_DIR CPACK WITH_IMPORTER(0 or 1)
set -euo pipefail
build=$1
cpack=$2
with_importer=${3:-0}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "debian_package: $*" >&2; exit 1; }

"$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.log" 2>&1 \
    || { cat "$work/cpack.log" >&2; fail "cpack failed"; }
packages=("$work"/out/vantrel_*.deb)
[ ${#packages[@]} -eq 1 ] && [ -f "${packages[0]}" ] || fail "expected one vantrel_*.deb, got: ${packages[*]}"
deb=${packages[0]}

# What apt would need to run it: Qt from Debian and the SQLite driver.
depends=$(dpkg-deb -f "$deb" Depends)
for needed in libqt6core6 libqt6sql6 libqt6sql6-sqlite libqt6widgets6; do
    grep -qE "(^|, )$needed( |,|$)" <<<"$depends" || fail "Depends lacks $needed: $depends"
done

dpkg-deb -x "$deb" "$work/root"
root=$work/root
files=(usr/bin/vantrel usr/bin/vantrel-case usr/share/doc/vantrel/README.md)
[ "$with_importer" = 1 ] && files+=(usr/bin/vantrel-importer)
for file in "${files[@]}"; do
    [ -f "$root/$file" ] || fail "package lacks /$file"
done

mkdir -p "$work/source/Users/alex"
printf 'quarterly figures\n' >"$work/source/Users/alex/report.txt"
"$root/usr/bin/vantrel-case" -a kMDItemFSName,kMDItemFSSize "$work/source" "$work/case" >/dev/null \
    || fail "the packaged case builder failed"

separator='[(@@)]'
env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$root/usr/bin/vantrel" \
    "$work/source" "" "$work/case/" \
    "kMDItemFSName${separator}kMDItemFSSize" "kMDItemFSName${separator}kMDItemFSSize" SRC1 2 \
    2>"$work/worker.log" || fail "the packaged worker failed: $(cat "$work/worker.log")"

row=$(sqlite3 "$work/case/SRC1/apple_metadata.sqlite" \
      "select kMDItemFSName || '|' || kMDItemFSSize from files where kMDItemFSName = 'report.txt'")
[ "$row" = "report.txt|18" ] || fail "expected the row report.txt|18, got '$row'"
echo "debian_package: $(basename "$deb"), $(stat -c %s "$deb") bytes"
