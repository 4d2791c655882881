#!/usr/bin/env bash
# Starts the real tavrel under Xvfb, clicks "Click to begin" with real input
# events, takes a screenshot and looks for the first shape in it.
# Usage: click_to_begin.sh TAVREL SCREENSHOT_CHECK SAMPLES_DIR
set -euo pipefail
tavrel=$1 check=$2 samples=$3
tmp=$(mktemp -d)
display=":$((200 + $$ % 500))"
Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
app=
cleanup() {
  [ -n "$app" ] && kill "$app" 2>/dev/null
  kill "$xvfb" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
export DISPLAY=$display
export QT_QPA_PLATFORM=xcb  # a real window on the X server, whatever the suite's default
for _ in $(seq 50); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done

(cd "$samples" && TAVREL_SCALE=1 exec "$tavrel") >"$tmp/log" 2>&1 &
app=$!
window=
for _ in $(seq 100); do
  window=$(xdotool search --limit 1 --name '^Tavrel$' 2>/dev/null) && break
  sleep 0.1
done
[ -n "$window" ] || { echo "no Tavrel window appeared:"; cat "$tmp/log"; exit 1; }
sleep 1
# "Click to begin" covers (8, 16) to (89, 49) of the client area; with no
# window manager and the menus hidden the client starts at the screen's corner.
xdotool mousemove --window "$window" 48 32 click 1
sleep 2
kill -0 "$app" || { echo "tavrel ended early:"; cat "$tmp/log"; exit 1; }
import -window root -depth 8 "ppm:$tmp/shot.ppm"
"$check" "$tmp/shot.ppm"
