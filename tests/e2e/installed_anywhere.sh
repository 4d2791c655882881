#!/usr/bin/env bash
# An install under any prefix, moved afterwards, started from the root
# folder as a launcher would: the start screen shows one of the installed
# backdrops, pixel for pixel, and the desktop entry names no path.
# Usage: installed_anywhere.sh BUILD_DIR
set -euo pipefail
build=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
orphan_proof() { exec setpriv --pdeathsig KILL -- "$@"; }
fail() { echo "FAIL: $*"; cat "$tmp/log" 2>/dev/null; exit 1; }

cmake --install "$build" --prefix "$tmp/first" >/dev/null
mv "$tmp/first" "$tmp/moved"
entry=$tmp/moved/share/applications/io.github.tavrel.Tavrel.desktop
grep -qx 'Exec=tavrel' "$entry" || fail "the desktop entry starts $(grep '^Exec=' "$entry")"
if grep -q '^Path=' "$entry"; then fail "the desktop entry names a folder"; fi

exec {fd}<> <(:)
orphan_proof Xvfb -displayfd "$fd" -screen 0 1024x768x24 -nolisten tcp -noreset >/dev/null 2>&1 &
read -r -t 10 number <&"$fd" || fail "Xvfb did not start"
export DISPLAY=":$number" QT_QPA_PLATFORM=xcb XDG_CONFIG_HOME=$tmp XDG_STATE_HOME=$tmp \
  DBUS_SESSION_BUS_ADDRESS=disabled:
for _ in $(seq 100); do xdotool getmouselocation >/dev/null 2>&1 && break; sleep 0.1; done
(cd / && TAVREL_SCALE=1 orphan_proof "$tmp/moved/bin/tavrel") >"$tmp/log" 2>&1 &
app=$!
# Below "Click to begin", the backdrop's own pixels at the window's corner.
seen=
for _ in $(seq 50); do
  sleep 0.2
  import -window root -crop 400x300+0+80 +repage -depth 8 "ppm:$tmp/shot.ppm" 2>/dev/null || continue
  for backdrop in "$tmp"/moved/share/tavrel/example*.bmp; do
    convert "$backdrop" -crop 400x300+0+80 +repage -depth 8 "ppm:$tmp/want.ppm"
    if [ "$(compare -metric AE "$tmp/shot.ppm" "$tmp/want.ppm" null: 2>&1)" = 0 ]; then
      seen=$backdrop
      break 2
    fi
  done
done
kill "$app" 2>/dev/null || true
[ -n "$seen" ] || fail "the start screen shows none of the installed backdrops"
echo "passed ($(basename "$seen"))"
