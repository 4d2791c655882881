#!/usr/bin/env bash
# The real tavrel under Xvfb, driven with real X input from xdotool as a user
# would: the start screen, the first shape, the menus in screen-saver mode at
# both speeds, the information page over the black window, back to regular
# mode, and Quit from screen-saver mode. Nothing is left running, even when
# the test is killed: every child dies with this script.
# Usage: desktop.sh TAVREL SAMPLES_DIR
set -euo pipefail
tavrel=$1 samples=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Run in the background only: the program takes the place of its subshell,
# so it is the script itself whose end kills it.
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }

exec {fd}<> <(:)
orphan_proof Xvfb -displayfd "$fd" -screen 0 1024x768x24 -nolisten tcp -noreset >/dev/null 2>&1 &
read -r -t 10 number <&"$fd" || { echo "Xvfb did not start"; exit 1; }
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb
# On a busy machine the server may take a moment to answer after naming its display.
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
export XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp  # no saved settings, no history of the user
# No session bus: libdbus would start one through the X server for each run.
export DBUS_SESSION_BUS_ADDRESS=disabled:

(cd "$samples" && TAVREL_SCALE=1 orphan_proof "$tavrel") >"$tmp/log" 2>&1 &
app=$!
for _ in $(seq 100); do xdotool search --name '^Tavrel$' >/dev/null 2>&1 && break; sleep 0.1; done
sleep 1

fail() { echo "FAIL: $*"; cat "$tmp/log"; exit 1; }
shot() { import -window root -depth 8 "ppm:$tmp/shot.ppm"; }
# Mean brightness (0 to 1) of a rectangle of the screen.
brightness() { convert "$tmp/shot.ppm" -crop "$1" +repage -colorspace Gray -format '%[fx:mean]' info:; }
# Whether the middle of the screen holds a coloured shape in a near-black
# square that mirrors left to right and top to bottom (the outline may miss
# a few pixels of its image where regions meet).
shape_shows() {
  convert "$tmp/shot.ppm" -gravity center -crop 300x300+0+0 +repage -fuzz 9% -trim +repage \
    "$tmp/shape.ppm"
  read -r w h < <(identify -format '%w %h' "$tmp/shape.ppm")
  ((w > 20 && h > 20 && w < 300 && h < 300)) || return 1
  for turn in -flop -flip; do
    convert "$tmp/shape.ppm" "$turn" "$tmp/turned.ppm"
    bad=$(compare -metric AE -fuzz 10% "$tmp/shape.ppm" "$tmp/turned.ppm" null: 2>&1 || true)
    ((bad * 20 <= w * h)) || return 1
  done
}
above() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a > b) }'; }
click() { xdotool mousemove "$1" "$2" click 1; sleep "${3:-0.4}"; }
# Where the menus are, at display scale 1 with no window manager.
options=(28 8) info=(196 8)
entry() { echo 60 $((27 + 20 * $1)); }  # the n-th entry of the Options menu, from 0
menu_shows() {
  click "${options[@]}"
  shot
  above "$(brightness 150x120+15+25)" 0.6 || fail "the Options menu did not open ($1)"
  xdotool key Escape
  sleep 0.3
}

# A key reaches only a button the user can see: Space presses "Click to
# begin", never the button it covers, and the menus come with the shape.
click 600 500 0.2
xdotool key space
sleep 2
shot
shape_shows || fail "no shape after Click to begin"
above "$(brightness 30x10+12+3)" 0.6 || fail "the menu bar did not come with the first shape"

click "${options[@]}"; click $(entry 1) 1  # Screen-Saver mode, Fast
menu_shows "screen-saver, Fast"
click "${options[@]}"; click $(entry 2) 0.3; click 280 67 1  # Animation speed, Slow
menu_shows "screen-saver, Slow"

click "${info[@]}" 0.6  # the information page over the black window
# The bouncing picture passes in front of the page: look until it is clear.
opened=0
for _ in $(seq 20); do
  shot
  if above "$(brightness 150x100+10+20)" 0.6; then opened=1 && break; fi
  sleep 0.2
done
((opened)) || fail "the information page did not open"
# A press on the bare window closes it (one on the bouncing picture is the
# picture's: try elsewhere).
closed=0
for spot in "700 600" "300 650" "900 300"; do
  click $spot 0.5
  for _ in $(seq 10); do
    shot
    if above 0.1 "$(brightness 150x100+10+20)"; then closed=1 && break 2; fi
    sleep 0.2
  done
done
((closed)) || fail "a press did not close the information page"

click "${options[@]}"; click $(entry 0) 0.8  # Regular mode
shot
above "$(brightness 60x20+15+40)" 0.6 || fail "the panel did not come back in regular mode"

click "${options[@]}"; click $(entry 1) 0.8  # Screen-Saver mode, then Quit
click "${options[@]}"; click $(entry 12) 0
for _ in $(seq 30); do kill -0 "$app" 2>/dev/null || break; sleep 0.1; done
kill -0 "$app" 2>/dev/null && fail "Quit did not end the program"
status=0
wait "$app" || status=$?
[ "$status" -eq 0 ] || fail "Quit ended the program with status $status"
echo "passed"
