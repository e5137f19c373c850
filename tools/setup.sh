#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs every Debian 12 package Vorn needs to build, run and test.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake pkg-config git
  # Qt 6.4
  qt6-base-dev qt6-qpa-plugins libgl-dev fonts-dejavu-core
  # FFmpeg 5.1 (libx264 comes in through libavcodec)
  libavcodec-dev libavformat-dev libavutil-dev libswscale-dev libswresample-dev libavfilter-dev
  # X11 capture
  libxcb1-dev libxcb-shm0-dev libxcb-xfixes0-dev libxcb-randr0-dev libxcb-damage0-dev
  libxcb-shape0-dev libxcb-xtest0-dev libxcb-image0-dev libxcb-composite0-dev
  # Wayland: the screen through the desktop portal (session bus) and PipeWire
  libpipewire-0.3-dev libspa-0.2-dev libsystemd-dev qt6-wayland
  # a headless GNOME session for the Wayland tests: the shell, PipeWire, the portal
  gnome-shell mutter pipewire wireplumber xdg-desktop-portal xdg-desktop-portal-gnome
  # KDE's global shortcuts for the Wayland tests: its portal backend and kglobalaccel
  xdg-desktop-portal-kde
  # audio, camera, pixels, faces
  libpulse-dev libudev-dev libturbojpeg0-dev libyuv-dev
  libopencv-dev
  # tests and benchmarks (the camera benchmark measures opencv-data's face cascades)
  libgtest-dev libgmock-dev libbenchmark-dev opencv-data
  xvfb x11-utils pulseaudio pulseaudio-utils ffmpeg openssl
  # video memory without a GPU (Mesa's software Vulkan), for the hardware upload tests
  mesa-vulkan-drivers
  # desktop integration: global keys, raw clicks, the window list; a window manager and a
  # scripted X client for the tests
  libxcb-xinput-dev libxcb-keysyms1-dev libxcb-ewmh-dev openbox xdotool xcompmgr
  # the studio's session bus service and notifications: a private bus for the tests, and
  # the launcher entry's check
  dbus-daemon dbus-bin desktop-file-utils
  # the reel engine: speech recognition, the words its dictionary lacks said by espeak-ng,
  # caption fonts, a voice for test takes
  libpocketsphinx-dev pocketsphinx-en-us libespeak-ng-dev fonts-dejavu-extra espeak-ng
  # the icons: pictures rendered from the drawing, Qt's SVG plugins for the drawing itself
  librsvg2-bin libqt6svg6
  # the Debian package and its checks
  file lintian appstream
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get -o DPkg::Lock::Timeout=900 update -qq
  apt-get -o DPkg::Lock::Timeout=900 install -y -qq --no-install-recommends "${missing[@]}"
fi
