# Shared by scripts/run and scripts/test: installs what is missing and builds.
# Sourced, not run; expects to be in the repository root.

set -euo pipefail

# zlib only for a test's independent PNG reader; fonts for text in the
# off-screen widget tests; xcb for the screen-saver module, and the
# XScreenSaver daemon for its test.
PACKAGES=(cmake ninja-build g++ libgtest-dev libbenchmark-dev qt6-base-dev zlib1g-dev
  fonts-dejavu-core xvfb xauth xdotool imagemagick pkg-config libxcb1-dev xscreensaver)

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
