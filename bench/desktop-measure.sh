#!/usr/bin/env bash
# Runs the desktop benchmark under Xvfb at the usual screen sizes, and at
# 1024x768 on screens that refresh 30 and 120 times a second (the bounce
# must keep its speed on both).
# Usage: bench/desktop-measure.sh [BUILD_DIR] [SECONDS_PER_PHASE]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
seconds=${2:-5}
program=$PWD/$build/bench/tavrel_desktop_measure
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }
measure() {
  local size=$1 fps=$2 fd number xvfb
  exec {fd}<> <(:)
  orphan_proof Xvfb -displayfd "$fd" -screen 0 "${size}x24" -fakescreenfps "$fps" -nolisten tcp -noreset \
    >/dev/null 2>&1 &
  xvfb=$!
  read -r -t 10 number <&"$fd"
  echo "== Xvfb $size, $fps Hz"
  (cd samples && DISPLAY=":$number" QT_QPA_PLATFORM=xcb "$program" "$seconds" 2>/dev/null)
  kill "$xvfb"
  wait "$xvfb" 2>/dev/null || true
}
measure 1024x768 60
measure 1920x1080 60
measure 1024x768 30
measure 1024x768 120
