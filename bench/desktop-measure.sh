#!/usr/bin/env bash
# Runs the desktop benchmark under Xvfb at the usual screen sizes.
# Usage: bench/desktop-measure.sh [BUILD_DIR] [SECONDS_PER_PHASE]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
seconds=${2:-5}
program=$PWD/$build/bench/tavrel_desktop_measure
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }
for size in 1024x768 1920x1080; do
  exec {fd}<> <(:)
  orphan_proof Xvfb -displayfd "$fd" -screen 0 "${size}x24" -nolisten tcp >/dev/null 2>&1 &
  xvfb=$!
  read -r -t 10 number <&"$fd"
  (cd samples && DISPLAY=":$number" QT_QPA_PLATFORM=xcb "$program" "$seconds" 2>/dev/null)
  kill "$xvfb"
  wait "$xvfb" 2>/dev/null || true
done
