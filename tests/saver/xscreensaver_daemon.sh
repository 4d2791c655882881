#!/usr/bin/env bash
# Debian's XScreenSaver daemon runs the module: a ~/.xscreensaver that lists
# only it, `xscreensaver-command -activate`, the module's picture on the
# screen, the very picture tavrel-render makes of its seed; `-deactivate`,
# the module gone. A module named without a folder is left for the daemon
# to find, as it finds an installed one.
# Usage: xscreensaver_daemon.sh TAVREL_SAVER TAVREL_RENDER
# Exit 77 (skipped) when the daemon or ImageMagick is not installed.
set -euo pipefail
module=$1 render=$2
seed=5

for tool in xscreensaver xscreensaver-command import compare; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

# The daemon refuses to run modules as root: as root, run it as a user of its own.
user=$(id -un)
if [ "$(id -u)" -eq 0 ]; then
  user=tavrel-saver-test
  # Another test may be making the same user at the same moment.
  id "$user" >/dev/null 2>&1 || useradd --system --create-home --shell /bin/sh "$user" 2>/dev/null ||
    id "$user" >/dev/null
fi

# The user's home for this run: a fresh folder, so runs never share settings.
tmp=$(mktemp -d /tmp/tavrel-saver-daemon.XXXXXX)
trap 'rm -rf "$tmp"' EXIT
launched=$module
if [[ $module == */* ]]; then
  cp "$module" "$tmp/"
  launched=$tmp/tavrel-saver
fi
chmod 755 "$tmp"
# What the screen must show: the first picture of the seed, cut down to what
# is not near-black, as a screenshot of it alone on black is cut.
"$render" --no-history --screensaver --seed "$seed" --out "$tmp" >/dev/null
convert "$tmp/shape-$seed-1.png" -fuzz 9% -trim +repage "$tmp/wanted.png"
# The programs line as the README shows it.
cat >"$tmp/.xscreensaver" <<SETTINGS
mode: one
selected: 0
lock: False
fade: False
unfade: False
splash: False
dpmsEnabled: False
timeout: 0:30:00
cycle: 0:00:00
SETTINGS
printf 'programs:   \\\n                "Tavrel" %s --root --seed %s  \\n\n' "$launched" "$seed" \
  >>"$tmp/.xscreensaver"
[ "$user" = "$(id -un)" ] || chown -R "$user" "$tmp"

# As the user, in one shell: Xvfb and the daemon die with it, even when the
# test is killed (their X server gone, the daemon and the module end too).
as_user() {
  if [ "$user" = "$(id -un)" ]; then
    env HOME="$tmp" "$@"
  else
    setpriv --reuid="$user" --regid="$(id -g "$user")" --init-groups --pdeathsig KILL -- \
      env HOME="$tmp" USER="$user" LOGNAME="$user" "$@"
  fi
}

as_user bash -s "$tmp" "$seed" "$launched" <<'RUN'
set -euo pipefail
tmp=$1 seed=$2 launched=$3
setpriv --pdeathsig KILL Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset \
  3>"$tmp/display" >"$tmp/xvfb.log" 2>&1 &
xvfb=$!
daemon=
finish() {
  if [ -n "$daemon" ]; then kill "$daemon" 2>/dev/null || true; fi
  kill "$xvfb" 2>/dev/null || true
  wait 2>/dev/null || true
}
trap finish EXIT
for _ in $(seq 100); do [ -s "$tmp/display" ] && break; sleep 0.05; done
[ -s "$tmp/display" ] || { echo "Xvfb did not start"; cat "$tmp/xvfb.log"; exit 1; }
export DISPLAY=":$(cat "$tmp/display")"
unset XSCREENSAVER_WINDOW TAVREL_SCALE

setpriv --pdeathsig KILL xscreensaver -no-splash >"$tmp/daemon.log" 2>&1 &
daemon=$!
# A loaded machine may take its time to start the daemon: waits are long, and
# each ends as soon as what it waits for is there.
answering=no
for _ in $(seq 600); do
  xscreensaver-command -version >/dev/null 2>&1 && { answering=yes; break; }
  kill -0 "$daemon" 2>/dev/null || break
  sleep 0.1
done
if [ "$answering" != yes ]; then
  echo "the daemon does not answer"
  cat "$tmp/daemon.log"
  exit 1
fi
xscreensaver-command -activate >/dev/null

shown=no
for _ in $(seq 100); do
  import -window root "$tmp/shot.png" 2>/dev/null &&
    convert "$tmp/shot.png" -fuzz 9% -trim +repage "$tmp/seen.png" 2>/dev/null &&
    different=$(compare -metric AE "$tmp/wanted.png" "$tmp/seen.png" null: 2>&1) &&
    [ "$different" = 0 ] && { shown=yes; break; }
  sleep 0.2
done
if [ "$shown" != yes ]; then
  echo "after -activate the screen does not show the picture alone on black"
  cat "$tmp/daemon.log"
  exit 1
fi
echo "after -activate: the picture of seed $seed, alone on black"
pgrep -f "^$launched " >/dev/null || { echo "the module is not running"; exit 1; }

xscreensaver-command -deactivate >/dev/null
for _ in $(seq 100); do pgrep -f "^$launched " >/dev/null || break; sleep 0.1; done
if pgrep -f "^$launched " >/dev/null; then
  echo "the module still runs after -deactivate"
  exit 1
fi
echo "after -deactivate: the module has ended"
xscreensaver-command -exit >/dev/null 2>&1 || true
RUN
