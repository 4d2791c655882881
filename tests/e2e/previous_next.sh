#!/usr/bin/env bash
# Previous and Next with real keys under Xvfb: three pictures made, then
# Alt+Left and Alt+Right give back each earlier one on the screen exactly, go
# no further than either end, and the history holds the three.
# Usage: previous_next.sh TAVREL TAVREL_RENDER SAMPLES_DIR
set -euo pipefail
tavrel=$1 render=$2 samples=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }

exec {fd}<> <(:)
orphan_proof Xvfb -displayfd "$fd" -screen 0 1024x768x24 -nolisten tcp -noreset >/dev/null 2>&1 &
read -r -t 10 number <&"$fd" || { echo "Xvfb did not start"; exit 1; }
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp/state
export DBUS_SESSION_BUS_ADDRESS=disabled:
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done

(cd "$samples" && TAVREL_SCALE=1 orphan_proof "$tavrel") >"$tmp/log" 2>&1 &
app=$!
for _ in $(seq 100); do xdotool search --name '^Tavrel$' >/dev/null 2>&1 && break; sleep 0.1; done
sleep 1

fail() { echo "FAIL: $*"; cat "$tmp/log"; exit 1; }
# The window beside the control panel and under the menu bar: a key shows
# focus marks and underlined letters there, which are not the picture.
shot() { import -window root -crop 800x720+200+40 -depth 8 "ppm:$tmp/$1.ppm"; }
# Whether the screen now shows exactly what shot NAME held, every pixel.
shows() {
  shot now
  [ "$(compare -metric AE "$tmp/$1.ppm" "$tmp/now.ppm" null: 2>&1)" = 0 ]
}
click() { xdotool mousemove "$1" "$2" click 1; sleep "${3:-0.4}"; }
key() { xdotool key "$1"; sleep 0.5; }

# Each picture taken with the focus and the pointer on the bare window, so
# that no button shows a focus frame or the pointer over it.
click 48 32 2  # "Click to begin": the first picture
click 900 700 0.3
shot 1
for n in 2 3; do
  click 48 50 1  # "Create random shape"
  click 900 700 0.3
  shot $n
done
shows 2 && fail "a new picture did not change the screen"

key alt+Left
shows 2 || fail "Alt+Left did not give back the second picture"
key alt+Left
shows 1 || fail "Alt+Left did not give back the first picture"
key alt+Left
shows 1 || fail "Alt+Left went past the first picture"
key alt+Right
shows 2 || fail "Alt+Right did not give back the second picture"
key alt+Right
shows 3 || fail "Alt+Right did not give back the third picture"
key alt+Right
shows 3 || fail "Alt+Right went past the newest picture"

lines=$("$render" --history | grep -c '  tavrel  ') || true
[ "$lines" = 3 ] || fail "the history holds $lines pictures of the window, not 3"
kill "$app"
echo "passed"
