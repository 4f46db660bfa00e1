#!/bin/bash
# What a user gets from `cmake --install` and from the .deb, installed and purged with dpkg.
# Usage: install_test.sh BUILD_DIR CORVANE_BINARY
set -euo pipefail
build_dir=$1 binary=${2:-} skip=77
[[ -x $binary ]] || { echo "SKIP: build the corvane executable first"; exit $skip; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
files=(bin/corvane share/applications/corvane.desktop share/icons/hicolor/scalable/apps/corvane.svg)

check_tree() { # PREFIX: the executable, the desktop entry and its icon, fitting together
    local desktop=$1/${files[1]}
    [[ -x $1/${files[0]} && -f $1/${files[2]} ]] || fail "files missing under $1"
    desktop-file-validate --no-hints "$desktop" || fail "desktop-file-validate rejects $desktop"
    for line in Exec=corvane Icon=corvane Terminal=false; do
        grep -qx "$line" "$desktop" || fail "$desktop lacks $line"
    done
}

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null || fail "cmake --install failed"
check_tree "$work/prefix"

(cd "$work" && cpack -G DEB --config "$build_dir/CPackConfig.cmake" -B "$work/pkg") >"$work/cpack.log" 2>&1 \
    || { cat "$work/cpack.log"; fail "cpack failed"; }
deb=$(echo "$work"/pkg/corvane_*.deb)
depends=$(dpkg-deb --field "$deb" Depends)
# libqt6svg6 is loaded as a plugin, so only the explicit dependency brings it.
for needed in libqt6widgets6 libqt6network6 libqt6svg6; do
    [[ $depends == *"$needed"* ]] || fail "Depends lacks $needed: $depends"
done

[[ $(id -u) -eq 0 ]] || { echo "SKIP: installing the .deb needs root"; exit $skip; }
if dpkg-query -W -f='${Status}' corvane 2>/dev/null | grep -q 'ok installed'; then
    echo "SKIP: a corvane package is already installed here; not replacing it"; exit $skip
fi
trap 'dpkg --purge corvane >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
dpkg -i "$deb" >/dev/null || fail "dpkg -i failed"
check_tree /usr
! ldd /usr/bin/corvane | grep 'not found' || fail "unresolved libraries"
echo PASS
