#!/usr/bin/env bash
# The real tavrel under Xvfb with real input: it ends with status 0, and
# with no sanitizer report, from every state, by Quit or by the window
# manager's close; and a dialog open over the screen-saver leaves the show
# going: the picture travels and changes behind it.
# Usage: quit_every_state.sh TAVREL CLOSE_WINDOW SAMPLES_DIR
set -euo pipefail
tavrel=$1 close_window=$2 samples=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }

exec {fd}<> <(:)
orphan_proof Xvfb -displayfd "$fd" -screen 0 1024x768x24 -nolisten tcp -noreset >/dev/null 2>&1 &
read -r -t 10 number <&"$fd" || { echo "Xvfb did not start"; exit 1; }
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp
# No session bus: libdbus would start one through the X server for each run.
export DBUS_SESSION_BUS_ADDRESS=disabled:
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done

app= win=
fail() { echo "FAIL: $*"; cat "$tmp/log"; exit 1; }
start() {
  (cd "$samples" && TAVREL_SCALE=1 orphan_proof "$tavrel") >"$tmp/log" 2>&1 &
  app=$!
  for _ in $(seq 100); do
    win=$(xdotool search --name '^Tavrel$' 2>/dev/null | head -1) && [ -n "$win" ] && break
    sleep 0.1
  done
  sleep 1
}
click() { xdotool mousemove "$1" "$2" click 1; sleep "${3:-0.4}"; }
options=(28 8) info=(196 8)
entry() { echo 60 $((27 + 20 * $1)); }  # the n-th entry of the Options menu, from 0
# "Click to begin", and wait for the menu bar that comes with the first shape.
begin() {
  click 48 32 0.2
  for _ in $(seq 50); do
    import -window root -depth 8 "ppm:$tmp/bar.ppm"
    convert "$tmp/bar.ppm" -crop 30x10+12+3 +repage -colorspace Gray -format '%[fx:mean>0.6]' \
      info: | grep -q 1 && break
    sleep 0.1
  done
  sleep 0.5
}
quit() { click "${options[@]}"; click $(entry 12) 0; }
close() { "$close_window" "$win"; }
# The program ends by itself, with 0, and no sanitizer spoke.
ends() {
  local status=0
  for _ in $(seq 100); do kill -0 "$app" 2>/dev/null || break; sleep 0.1; done
  kill -0 "$app" 2>/dev/null && fail "$1: the program did not end"
  wait "$app" || status=$?
  [ "$status" -eq 0 ] || fail "$1: ended with status $status"
  if grep -qE 'Sanitizer|runtime error' "$tmp/log"; then fail "$1: a sanitizer report"; fi
}

start; close; ends "closed on the start screen"
start; begin; quit; ends "Quit in regular mode"
start; begin; click "${info[@]}" 0.6; quit; ends "Quit on the information page"
start; begin; click "${options[@]}"; click $(entry 1) 0.5
click "${options[@]}"; click $(entry 2) 0.3; click 280 67 0.5  # Slow
close; ends "closed in screen-saver mode"

# A new picture every second, Fast, and "Edit colors" open over it.
start; begin
xdotool mousemove 156 507 click 1 key ctrl+a type 1  # "Seconds waited": 1
click "${options[@]}"; click $(entry 1) 0.5
click "${options[@]}"; click $(entry 5) 1
dialog=$(xdotool search --name '^Edit colors$' | head -1) || fail "no Edit colors dialog"
eval "$(xdotool getwindowgeometry --shell "$dialog")"
: >"$tmp/seen"
for i in $(seq 10); do
  import -window root -depth 8 "ppm:$tmp/shot.ppm"
  # The picture: what is not black in the window below the menu bar, the
  # dialog blacked out (the window, with no window manager, may leave a
  # strip of the screen's background on the right).
  read -r w h x y < <(convert "$tmp/shot.ppm" -fill black \
    -draw "rectangle $X,$Y $((X + WIDTH)),$((Y + HEIGHT))" -draw "rectangle 0,0 1023,24" \
    -draw "rectangle 990,0 1023,767" \
    -fuzz 6% -trim -format '%w %h %X %Y\n' info:)
  x=${x#+} y=${y#+}
  # Whole pictures only: clear of the dialog and of the screen's edges.
  if ((w > 40 && w < 110 && h > 40 && h < 110)) &&
    ((x + w < X || x > X + WIDTH || y + h < Y || y > Y + HEIGHT)) &&
    ((x > 0 && y > 25 && x + w < 990 && y + h < 768)); then
    sum=$(convert "$tmp/shot.ppm" -crop "${w}x${h}+$x+$y" +repage -format '%#' info:)
    echo "$x,$y $sum" >>"$tmp/seen"
  fi
  sleep 0.4
done
places=$(cut -d' ' -f1 "$tmp/seen" | sort -u | wc -l)
pictures=$(cut -d' ' -f2 "$tmp/seen" | sort -u | wc -l)
((places >= 3)) || fail "behind the dialog the picture did not travel ($(cat "$tmp/seen"))"
((pictures >= 2)) || fail "behind the dialog the picture did not change ($(cat "$tmp/seen"))"
xdotool key Escape
sleep 0.5
quit; ends "Quit in screen-saver mode after a dialog"
echo "passed"
