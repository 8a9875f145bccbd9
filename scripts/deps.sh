#!/usr/bin/env bash
# Installs the Debian 12 packages Lunelo needs to build, run and test, when any is missing.
# Usage: scripts/deps.sh [run|test|asan]   (test adds the X server, window manager, Wayland
# compositor and media tools; asan adds clang with its sanitizer runtimes)
set -euo pipefail

build=(cmake g++ ninja-build pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-base-private-dev qt6-qpa-plugins qt6-wayland
    qt6-declarative-dev libqt6opengl6-dev qt6-svg-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
    qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtqml-workerscript
    qml6-module-qtquick-shapes
    libmpv-dev libavformat-dev libavcodec-dev libswscale-dev libglib2.0-dev libglib2.0-bin shared-mime-info xdg-utils
    fonts-dejavu-core libgl1-mesa-dri ffmpeg)
testing=(xvfb xauth xdotool openbox weston dbus x11-utils x11-xkb-utils x11-xserver-utils
    imagemagick mpv desktop-file-utils appstream gsettings-desktop-schemas qt6-gtk-platformtheme fuse3 bindfs
    libfuse3-dev)
sanitizing=(clang-14 libclang-rt-14-dev)

wanted=("${build[@]}")
case "${1:-run}" in
test) wanted+=("${testing[@]}") ;;
asan) wanted+=("${testing[@]}" "${sanitizing[@]}") ;;
esac

missing=()
for p in "${wanted[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update
"${sudo[@]}" apt-get install -y "${missing[@]}"
