#!/usr/bin/env bash
# The window's finer points under Xvfb with real input: the information
# page left by Esc, the colour editor's swatches in their exact colours, and
# a save that fails shown as a note.
# Usage: window_items.sh TAVREL SAMPLES_DIR
set -euo pipefail
tavrel=$1 samples=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }

exec {fd}<> <(:)
orphan_proof Xvfb -displayfd "$fd" -screen 0 1024x768x24 -nolisten tcp -noreset >/dev/null 2>&1 &
read -r -t 10 number <&"$fd" || { echo "Xvfb did not start"; exit 1; }
# Pictures is a file here: a save can't make its folder.
mkdir -p "$tmp/home" && touch "$tmp/home/Pictures"
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp HOME=$tmp/home
export DBUS_SESSION_BUS_ADDRESS=disabled:
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done

(cd "$samples" && TAVREL_SCALE=1 orphan_proof "$tavrel") >"$tmp/log" 2>&1 &
app=$!
for _ in $(seq 100); do xdotool search --name '^Tavrel$' >/dev/null 2>&1 && break; sleep 0.1; done
sleep 1

fail() { echo "FAIL: $*"; cat "$tmp/log"; exit 1; }
shot() { import -window root -depth 8 "ppm:$tmp/shot.ppm"; }
brightness() { convert "$tmp/shot.ppm" -crop "$1" +repage -colorspace Gray -format '%[fx:mean]' info:; }
# How many pixels of the screen have exactly this colour.
exactly() { convert "$tmp/shot.ppm" -fill black +opaque "$1" -fill white -opaque "$1" \
  -format '%[fx:mean*w*h]' info: | cut -d. -f1; }
above() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a > b) }'; }
click() { xdotool mousemove "$1" "$2" click 1; sleep "${3:-0.4}"; }
options=(28 8) info=(196 8)
entry() { echo 60 $((27 + 20 * $1)); }

click 48 32 2  # "Click to begin"

# The information page, left by Esc as by a click (the page's text box,
# where the control panel has nothing).
click "${info[@]}" 0.6
shot
above "$(brightness 60x40+100+70)" 0.6 || fail "the information page did not open"
xdotool key Escape
sleep 0.5
shot
above 0.1 "$(brightness 60x40+100+70)" || fail "Esc did not close the information page"
above "$(brightness 60x20+15+40)" 0.6 || fail "the panel did not come back after Esc"

# Each swatch flat in its exact colour: dark red, red, yellow and blue.
click "${options[@]}"; click $(entry 5) 1
shot
for colour in '#800000' '#FF0000' '#FFFF00' '#0000FF'; do
  n=$(exactly "$colour")
  ((n > 500)) || fail "the swatch of $colour shows $n pixels of its exact colour"
done
xdotool key Escape
sleep 0.5

# S with nowhere to save: a note comes up along the bottom of the window.
# (With no window manager the closed dialog leaves the focus nowhere: a
# press on the bare window gives it back.)
click 700 600 0.3
xdotool key s
sleep 0.5
shot
n=$(exactly '#FFFFE0')
((n > 1000)) || fail "no note after a failed save ($n pixels)"

click "${options[@]}"; click $(entry 12) 0
for _ in $(seq 50); do kill -0 "$app" 2>/dev/null || break; sleep 0.1; done
status=0
wait "$app" || status=$?
[ "$status" -eq 0 ] || fail "Quit ended with status $status"
echo "passed"
