#!/usr/bin/env bash
# Starts the real tavrel under Xvfb in a folder of backdrops at the size
# limit, waits for the start screen's backdrop rotation to begin a load,
# clicks "Click to begin" while the load runs, and expects the menu bar and
# the control panel: a click during a load is never lost.
# Usage: click_during_load.sh TAVREL
set -euo pipefail
tavrel=$1
tmp=$(mktemp -d)
# Run in the background only: the program takes the place of its subshell and
# dies with this script, even when the script is killed.
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }
# Xvfb picks a free display and writes its number.
orphan_proof Xvfb -displayfd 1 -screen 0 1024x768x24 -nolisten tcp -noreset >"$tmp/display" 2>/dev/null &
xvfb=$!
app=
# shellcheck disable=SC2317  # run by the trap
cleanup() {
  [ -n "$app" ] && kill "$app" 2>/dev/null
  kill "$xvfb" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
for _ in $(seq 100); do [ -s "$tmp/display" ] && break; sleep 0.1; done
DISPLAY=":$(head -1 "$tmp/display")"
export DISPLAY
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
export XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp  # no saved settings, no history of the user
# No session bus: libdbus would start one through the X server for each run.
export DBUS_SESSION_BUS_ADDRESS=disabled:
export QT_QPA_PLATFORM=xcb  # a real window on the X server, whatever the suite's default

# 4096 x 4096, the most pixels a backdrop may have.
convert -size 4096x4096 xc:'#204060' -type truecolor "BMP3:$tmp/example2.bmp"
for i in 3 4 5 6 7; do ln -s example2.bmp "$tmp/example$i.bmp"; done

(cd "$tmp" && TAVREL_SCALE=1 orphan_proof "$tavrel") >"$tmp/log" 2>&1 &
app=$!
for _ in $(seq 100); do xdotool search --name '^Tavrel$' >/dev/null 2>&1 && break; sleep 0.1; done

cpu() {  # the program's user and system time, in clock ticks
  local stat fields
  read -r stat <"/proc/$app/stat"
  read -ra fields <<<"${stat##*) }"
  echo $((fields[11] + fields[12]))
}
pixel() {
  import -window root -crop "1x1+$1+$2" -depth 8 txt:- 2>/dev/null | grep -o '#[0-9A-F]\{6\}' | head -1
}

# "Click to begin" covers (8, 16) to (89, 49); with no window manager and
# the menus hidden the client starts at the screen's corner.
xdotool mousemove 48 32
# At rest the start screen takes no processor time until the rotation loads
# the next backdrop, every 5 s: once at rest, the first tick is a load.
last=$(cpu) still=0
for _ in $(seq 1500); do
  sleep 0.005
  now=$(cpu)
  if [ "$now" -ne "$last" ]; then
    [ "$still" -ge 100 ] && break
    still=0
  else
    still=$((still + 1))
  fi
  last=$now
done
xdotool mousedown 1 mouseup 1  # at once: "click" waits 100 ms first

# The panel's green label of "Size of shape" and the menu bar's grey.
for _ in $(seq 100); do
  [ "$(pixel 10 124)" = "#00FF00" ] && [ "$(pixel 300 8)" = "#EFEFEF" ] && exit 0
  kill -0 "$app" || { echo "tavrel ended early:"; cat "$tmp/log"; exit 1; }
  sleep 0.1
done
echo "the click during the backdrop's load was lost: no menu bar and panel"
exit 1
