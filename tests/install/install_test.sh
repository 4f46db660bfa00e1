#!/bin/bash
# The installed tree and the .deb: what a user gets from `cmake --install` and from dpkg.
# Usage: install_test.sh BUILD_DIR CORVANE_BINARY
set -euo pipefail

build_dir=$1
binary=${2:-}
skip=77

if [[ -z $binary || ! -x $binary ]]; then
    echo "SKIP: the corvane executable is not built (${binary:-no such target}); build it first."
    exit $skip
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

check_tree() { # ROOT PREFIX: the three files a desktop needs, and that they fit together
    local root=$1 prefix=$2
    local bin=$root$prefix/bin/corvane
    local desktop=$root$prefix/share/applications/corvane.desktop
    local icon=$root$prefix/share/icons/hicolor/scalable/apps/corvane.svg
    [[ -x $bin ]] || fail "$bin missing or not executable"
    [[ -f $desktop ]] || fail "$desktop missing"
    [[ -f $icon ]] || fail "$icon missing"
    desktop-file-validate --no-hints "$desktop" || fail "desktop-file-validate rejects $desktop"
    grep -qx 'Exec=corvane' "$desktop" || fail "Exec is not the installed command"
    grep -qx 'Icon=corvane' "$desktop" || fail "Icon does not name the installed icon"
    grep -qx 'StartupNotify=false' "$desktop" || fail "StartupNotify should be false"
    grep -qx 'NoDisplay=false' "$desktop" || fail "NoDisplay should be false"
    grep -qx 'Categories=Development;Utility;' "$desktop" || fail "wrong Categories"
    python3 -c 'import sys, xml.etree.ElementTree as ET
root = ET.parse(sys.argv[1]).getroot()
sys.exit(0 if root.tag == "{http://www.w3.org/2000/svg}svg" else 1)' "$icon" \
        || fail "$icon is not an SVG document"
    # The desktop's Exec must resolve to the installed binary from the prefix's bin.
    [[ $(PATH=$root$prefix/bin command -v corvane) == "$bin" ]] || fail "Exec=corvane does not resolve"
}

echo "== cmake --install into a temporary prefix"
cmake --install "$build_dir" --prefix "$work/prefix" >"$work/install.log" \
    || { cat "$work/install.log"; fail "cmake --install failed"; }
check_tree "$work/prefix" ""

echo "== cpack -G DEB"
(cd "$work" && cpack -G DEB --config "$build_dir/CPackConfig.cmake" -B "$work/pkg") >"$work/cpack.log" 2>&1 \
    || { cat "$work/cpack.log"; fail "cpack failed"; }
deb=$(ls "$work"/pkg/corvane_*.deb)
[[ -f $deb ]] || fail "no .deb produced"
dpkg-deb --info "$deb"
depends=$(dpkg-deb --field "$deb" Depends)
for needed in libqt6widgets6 libqt6network6 libqt6core6 libqt6svg6; do
    [[ $depends == *"$needed"* ]] || fail "Depends lacks $needed: $depends"
done
mkdir "$work/unpacked"
dpkg-deb --extract "$deb" "$work/unpacked"
check_tree "$work/unpacked" /usr

if [[ $(id -u) -ne 0 ]]; then
    echo "SKIP: installing the .deb needs root."
    exit $skip
fi
if dpkg-query -W -f='${Status}' corvane 2>/dev/null | grep -q 'ok installed'; then
    echo "SKIP: a corvane package is already installed on this machine; not replacing it."
    exit $skip
fi

echo "== dpkg -i / dpkg --purge"
removed=0
cleanup_package() { [[ $removed -eq 1 ]] || dpkg --purge corvane >/dev/null 2>&1 || true; rm -rf "$work"; }
trap cleanup_package EXIT
dpkg -i "$deb" || fail "dpkg -i failed"
dpkg-query -W -f='${Status}\n' corvane | grep -q 'install ok installed' || fail "not installed"
check_tree "" /usr
if ldd /usr/bin/corvane | grep -q 'not found'; then
    ldd /usr/bin/corvane
    fail "installed binary has unresolved libraries"
fi
dpkg --purge corvane || fail "dpkg --purge failed"
removed=1
for path in /usr/bin/corvane /usr/share/applications/corvane.desktop \
    /usr/share/icons/hicolor/scalable/apps/corvane.svg; do
    [[ ! -e $path ]] || fail "$path left behind after removal"
done
if dpkg-query -W -f='${Status}' corvane 2>/dev/null | grep -q 'installed'; then
    fail "package still registered after purge"
fi
echo "PASS"
