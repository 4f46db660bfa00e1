#!/bin/sh
# Installs every Debian package that building, testing and running Corvane needs.
# Idempotent: packages already present are left alone.
set -eu

PACKAGES="
  build-essential cmake ninja-build pkg-config git
  clang-14 libclang-rt-14-dev clang-format
  qt6-base-dev qt6-base-dev-tools libqt6svg6 qt6-svg-dev qcoro-qt6-dev
  libgl1-mesa-dev libgl1-mesa-dri libglx-mesa0 libegl-mesa0
  libbenchmark-dev
  python3 python3-yaml libyaml-cpp-dev
  bash zsh dash fish tmux
  xvfb xauth xdotool trayer x11-utils imagemagick
  dbus-daemon python3-dbus python3-gi gir1.2-glib-2.0
  kitty alacritty
  gnome-terminal konsole xfce4-terminal mate-terminal tilix terminator xterm foot
  dbus dbus-x11
  openssh-server openssh-client
  desktop-file-utils libglib2.0-bin dpkg-dev file
  fonts-dejavu-core
"

missing=""
for p in $PACKAGES; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing="$missing $p"
done

if [ -n "$missing" ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update
  # shellcheck disable=SC2086
  $SUDO apt-get install -y --no-install-recommends $missing
fi
