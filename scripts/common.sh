# Shared by scripts/run and scripts/test: installs what is missing and builds.
# Sourced, not run; expects to be in the repository root.

set -euo pipefail

# libpng for picture files; the window's font (Liberation Sans, the metrics
# its controls were laid out for); X test input for the desktop benchmark;
# xcb for the screen-saver module and the XScreenSaver daemon for its test;
# Xvfb, xdotool and ImageMagick for the end-to-end tests; poppler's pdftoppm
# to look at a printed page; clang and libFuzzer for the fuzz targets.
# Wayland: libwayland and the protocol files for the module, Qt's Wayland
# platform for the window, and a headless sway with grim and wtype to test them;
# swayidle and swaylock, KWin, mutter and weston for the idle module's tests.
# sd-bus for the module's D-Bus side; private buses and dbusmock's fakes of
# GNOME, the desktop screen-saver and logind to test it.
# groff, desktop-file-utils and appstream check the manual pages and the
# desktop's entries; devscripts' hardening-check the programs' build flags.
# swaybg draws sway's backgrounds, and GNOME's background settings are read
# back with gsettings, for the wallpaper's tests.
# The window's desktop tests run it under openbox, read the AT-SPI tree
# (pyatspi, at-spi2-core, in a session bus of their own) and the window
# manager's properties (xprop, python3-xlib).
PACKAGES=(cmake ninja-build g++ libgtest-dev libbenchmark-dev qt6-base-dev libpng-dev
  fonts-dejavu-core fonts-liberation2 libxtst-dev pkg-config libxcb1-dev libxcb-randr0-dev xscreensaver
  xvfb xauth xdotool imagemagick poppler-utils clang libfuzzer-14-dev
  libwayland-dev wayland-protocols qt6-wayland sway grim wtype swaybg
  swayidle swaylock kwin-wayland mutter weston
  gsettings-desktop-schemas libglib2.0-bin
  libsystemd-dev dbus-daemon python3-dbusmock
  groff-base desktop-file-utils appstream devscripts
  openbox python3-pyatspi at-spi2-core x11-utils python3-xlib)

# Root runs apt-get itself; anyone else goes through sudo.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "need root or sudo to install: $*" >&2
    exit 1
  fi
}

install_missing() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "installing: ${missing[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# build DIR [cmake options...]
build() {
  local dir=$1
  shift
  cmake -S . -B "$dir" -G Ninja "$@"
  ninja -C "$dir"
}
