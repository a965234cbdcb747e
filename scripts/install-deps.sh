#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need.
# Safe to run again: packages already present are left alone.
set -euo pipefail

packages=(
  build-essential cmake pkg-config clang clang-format libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libplist-dev libplist-utils libsystemd-dev libcli11-dev libicu-dev
  libxcb1-dev xvfb x11-utils dbus-daemon dbus-bin
  # The installed tree's test: its man page, its systemd unit, its package.
  man-db systemd dpkg-dev
  # The host's Wayland source (libwayland-bin has wayland-scanner), and the
  # desktop its tests run: a headless sway and a client on xdg-shell.
  libwayland-dev libwayland-bin wayland-protocols sway
  # GNOME Shell 43, run headless by the tests of qbfa's extension in it, and
  # gjs, which loads the extension's form for later shells outside it.
  gnome-shell gjs
  # KDE Plasma's compositor, on its virtual backend, for the KWin script's
  # tests; two applications to show on it (qmlscene with two windows of one
  # process, wev); and kwriteconfig5, with which a user enables the script.
  kwin-wayland qtwayland5 qmlscene qml-module-qtquick-window2 wev libkf5config-bin
  # The XML libraries bench/parse_bench.cpp compares the reader with.
  libpugixml-dev libexpat1-dev libxml2-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
