#!/usr/bin/env bash
# Measures `tavrel-saver --idle` under headless compositors: sway 1.7
# (org_kde_kwin_idle), KWin 5.27 (ext-idle-notify-v1) and mutter 43 (its
# idle monitor on the session bus; there the module runs as the compositor's
# user, on its bus), at 1280x800.
#  - idle to picture: from the compositor's telling that the desktop has
#    been idle for the set time to the module's first frame with the picture,
#    and
#  - input to desktop: from the key's arrival to the module's taking its
#    surfaces down; both read from the module's protocol log (WAYLAND_DEBUG),
#    in runs of their own (not on mutter, whose idleness comes over D-Bus);
#  - the module's CPU in clock ticks over SECONDS while it waits, while
#    nobody can see it and while it shows. No headless compositor here
#    switches its outputs off (sway's refuses, KWin's virtual outputs have
#    no power control), so "unseen" is sway with the module's full-screen
#    window moved out of sight: no frame callbacks come, as from an output
#    that is off.
# Medians over RUNS. As root, the compositors run as the user
# tavrel-saver-test, as the tests run them.
# Usage: [DESKTOPS="sway kwin mutter"] bench/saver-idle-measure.sh [BUILD_DIR] [SECONDS] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
seconds=${2:-60}
runs=${3:-3}
module=$PWD/$build/saver/tavrel-saver
tool=$PWD/$build/tests/saver/wl_tool
idle=2

user=$(id -un)
if [ "$(id -u)" -eq 0 ]; then
  user=tavrel-saver-test
  id "$user" >/dev/null 2>&1 || useradd --system --create-home --shell /bin/sh "$user" 2>/dev/null ||
    id "$user" >/dev/null
fi
as_user() {
  if [ "$user" = "$(id -un)" ]; then
    setpriv --pdeathsig KILL -- "$@"
  else
    setpriv --reuid="$user" --regid="$(id -g "$user")" --init-groups --pdeathsig KILL -- "$@"
  fi
}
ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$1/stat"; }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

tmp=
compositor=
stop() {
  if [ -n "$compositor" ]; then
    kill -- -"$compositor" 2>/dev/null || true
    # The group gone whole (mutter takes a moment), else killed.
    for _ in $(seq 50); do kill -0 -- -"$compositor" 2>/dev/null || break; sleep 0.1; done
    kill -KILL -- -"$compositor" 2>/dev/null || true
    wait "$compositor" 2>/dev/null || true
  fi
  [ -n "$tmp" ] && rm -rf "$tmp"
  compositor= tmp=
}
trap stop EXIT

# start sway|kwin: a compositor of its own in a new process group.
start() {
  tmp=$(mktemp -d /tmp/tavrel-idle-bench.XXXXXX)
  chmod 700 "$tmp"
  printf 'xwayland disable\ndefault_border none\n' >"$tmp/config"
  local env=(env -i PATH=/usr/bin:/bin HOME="$tmp" XDG_RUNTIME_DIR="$tmp")
  case $1 in
    sway)
      export WAYLAND_DISPLAY=wayland-1
      command=("${env[@]}" WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1
        sway -c "$tmp/config") ;;
    mutter)
      export WAYLAND_DISPLAY=wayland-0
      command=("${env[@]}" dbus-run-session -- sh -c 'echo "$DBUS_SESSION_BUS_ADDRESS" >"$HOME/bus"
        exec mutter --headless --wayland --no-x11 --virtual-monitor 1280x800') ;;
    kwin)
      export WAYLAND_DISPLAY=wayland-b
      # kwin_wayland's file capability may not be granted in a container.
      cp /usr/bin/kwin_wayland "$tmp/kwin_wayland"
      command=("${env[@]}" KWIN_WAYLAND_NO_PERMISSION_CHECKS=1 dbus-run-session --
        "$tmp/kwin_wayland" --virtual --no-lockscreen --socket wayland-b --width 1280 --height 800) ;;
  esac
  [ "$user" = "$(id -un)" ] || chown -R "$user" "$tmp"
  (set -m; as_user "${command[@]}" >"$tmp/log" 2>&1 & echo $! >"$tmp/pid"; wait) &
  sleep 0.2
  compositor=$(cat "$tmp/pid")
  export XDG_RUNTIME_DIR=$tmp
  for _ in $(seq 200); do [ -S "$tmp/$WAYLAND_DISPLAY" ] && break; sleep 0.05; done
  sleep 2
  [ "$1" = sway ] && swaymsg -q -s "$(ls "$tmp"/sway-ipc.*)" output HEADLESS-1 mode 1280x800@60Hz
  sleep 0.5
}

# The module, on mutter as the compositor's user on its bus. Run in the
# background, it is the process $! names.
run_module() {
  if [ "$desktop" = mutter ]; then
    local bus
    bus=$(cat "$tmp/bus")
    if [ "$user" = "$(id -un)" ]; then
      exec env DBUS_SESSION_BUS_ADDRESS="$bus" "$module" "$@"
    fi
    exec setpriv --reuid="$user" --regid="$(id -g "$user")" --init-groups --pdeathsig KILL -- \
      env XDG_RUNTIME_DIR="$tmp" WAYLAND_DISPLAY="$WAYLAND_DISPLAY" HOME="$tmp" \
      DBUS_SESSION_BUS_ADDRESS="$bus" "$module" "$@"
  fi
  exec "$module" "$@"
}

key() {
  case $1 in
    sway) wtype -s 200 x ;;
    kwin) as_user env XDG_RUNTIME_DIR="$tmp" WAYLAND_DISPLAY="$WAYLAND_DISPLAY" "$tool" key 30 ;;
  esac
}

# Times in ms from a protocol log: the idle event (sway counts the time from
# the request, KWin from the last input), the first frame with a buffer after
# it, the key's release and the surfaces' going.
latencies() {
  awk '
    function t(s) { s = $0; sub(/^\[ */, "", s); return s + 0 }
    /\.(idled|idle)\(\)/ && !fired { fired = t() }
    fired && /-> wl_surface@[0-9]+\.attach\(wl_buffer/ { attached = 1 }
    attached && !shown && /-> wl_surface@[0-9]+\.commit\(\)/ { shown = t() }
    shown && /wl_keyboard@[0-9]+\.key\(.*, 0\)$/ && !released { released = t() }
    released && /-> (zwlr_layer_surface_v1|xdg_toplevel)@[0-9]+\.destroy\(\)/ && !gone { gone = t() }
    END { printf "%.1f %.1f\n", shown - fired, gone - released }' "$1"
}

for desktop in ${DESKTOPS:-sway kwin mutter}; do
  command -v "${desktop/kwin/kwin_wayland}" >/dev/null || { echo "$desktop: not installed"; continue; }
  lat=() wait_=() unseen=() show=()
  for _ in $(seq "$runs"); do
    start "$desktop"
    # Latencies: the protocol log of one idle show and its dismissal.
    if [ "$desktop" != mutter ]; then
      WAYLAND_DEBUG=1 "$module" --idle $idle --seed 2024 2>"$tmp/debug" &
      saver=$!
      sleep $((idle + 2))
      key "$desktop" >/dev/null 2>&1
      sleep 1
      kill $saver; wait $saver 2>/dev/null || true
      lat+=("$(latencies "$tmp/debug")")
    fi
    # CPU while waiting (a day's idle time) and while showing.
    run_module --idle 86400 --seed 2024 2>/dev/null &
    saver=$!
    sleep 1
    t0=$(ticks $saver); sleep "$seconds"; wait_+=($(($(ticks $saver) - t0)))
    kill $saver; wait $saver 2>/dev/null || true
    run_module --idle 1 --seed 2024 2>/dev/null &
    saver=$!
    sleep 3
    t0=$(ticks $saver); sleep "$seconds"; show+=($(($(ticks $saver) - t0)))
    kill $saver; wait $saver 2>/dev/null || true
    if [ "$desktop" = sway ]; then
      TAVREL_SAVER_SHELL=xdg "$module" --wayland --no-input-exit --seed 2024 &
      saver=$!
      sleep 2
      swaymsg -q -s "$(ls "$tmp"/sway-ipc.*)" '[app_id=tavrel-saver] move scratchpad'
      sleep 1
      t0=$(ticks $saver); sleep "$seconds"; unseen+=($(($(ticks $saver) - t0)))
      kill $saver; wait $saver 2>/dev/null || true
    fi
    stop
  done
  m() { printf '%s\n' "$@" | median; }
  printf '%-6s idle to picture %4s ms, input to desktop %4s ms; clock ticks over %s s (%s a second): waiting %s, unseen %s, showing %s\n' \
    "$desktop" "$([ ${#lat[@]} -gt 0 ] && printf '%s\n' "${lat[@]}" | awk '{ print $1 }' | median || echo -)" \
    "$([ ${#lat[@]} -gt 0 ] && printf '%s\n' "${lat[@]}" | awk '{ print $2 }' | median || echo -)" "$seconds" "$(getconf CLK_TCK)" \
    "$(m "${wait_[@]}")" "$([ ${#unseen[@]} -gt 0 ] && m "${unseen[@]}" || echo -)" "$(m "${show[@]}")"
done
