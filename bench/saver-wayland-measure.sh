#!/usr/bin/env bash
# Measures `tavrel-saver --wayland` under a headless sway (pixman renderer,
# 60 Hz outputs) at 1920x1080 and 3840x2160, Fast and Slow: the share of a
# core that the module and the compositor take while the picture travels,
# and the time from exec to the first picture on the output (polled with
# grim, so good to some 30 ms at 1920x1080 and 100 ms at 3840x2160). Figures are medians over the runs.
# As root, sway runs as the user tavrel-saver-test, as the tests run it.
# Usage: bench/saver-wayland-measure.sh [BUILD_DIR] [SECONDS] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
seconds=${2:-10}
runs=${3:-3}
module=$PWD/$build/saver/tavrel-saver
seed=2024

user=$(id -un)
if [ "$(id -u)" -eq 0 ]; then
  user=tavrel-saver-test
  # Another test may be making the same user at the same moment.
  id "$user" >/dev/null 2>&1 || useradd --system --create-home --shell /bin/sh "$user" 2>/dev/null ||
    id "$user" >/dev/null
fi
as_user() {
  if [ "$user" = "$(id -un)" ]; then
    exec setpriv --pdeathsig KILL -- "$@"
  else
    exec setpriv --reuid="$user" --regid="$(id -g "$user")" --init-groups --pdeathsig KILL -- "$@"
  fi
}

# Clock ticks of user and system time of a process.
ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$1/stat"; }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
hz=$(getconf CLK_TCK)

# One run: prints "module% compositor% startup_ms".
measure() {
  local size=$1 speed=$2 tmp sway saver
  tmp=$(mktemp -d /tmp/tavrel-wl-bench.XXXXXX)
  chmod 700 "$tmp"
  echo "xwayland disable" >"$tmp/config"
  [ "$user" = "$(id -un)" ] || chown -R "$user" "$tmp"
  (as_user env -i PATH=/usr/bin:/bin HOME="$tmp" XDG_RUNTIME_DIR="$tmp" WLR_BACKENDS=headless \
    WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 sway -c "$tmp/config" >/dev/null 2>&1) &
  sway=$!
  export XDG_RUNTIME_DIR=$tmp
  for _ in $(seq 200); do
    WAYLAND_DISPLAY=$(cd "$tmp" && ls wayland-? 2>/dev/null | head -1) && [ -n "$WAYLAND_DISPLAY" ] &&
      SWAYSOCK=$(ls "$tmp"/sway-ipc.* 2>/dev/null) && swaymsg -s "$SWAYSOCK" -t get_version \
      >/dev/null 2>&1 && break
    sleep 0.05
  done
  export WAYLAND_DISPLAY SWAYSOCK
  swaymsg -q output HEADLESS-1 mode "$size@60Hz"
  local w=${size%x*} h=${size#*x}
  # The new mode is in place once the output's rectangle has its size.
  for _ in $(seq 100); do
    swaymsg -t get_outputs | grep -q "\"width\": $w," && break
    sleep 0.05
  done
  sleep 0.5
  local start end
  start=$(date +%s%N)
  (exec setpriv --pdeathsig KILL -- "$module" --wayland --seed $seed --speed "$speed") &
  saver=$!
  # Anything but black on the output is the picture.
  local lit=0
  until [ "$lit" = 1 ]; do
    sleep 0.01
    lit=$(set +o pipefail
      grim -t ppm -o HEADLESS-1 - 2>/dev/null | tail -c $((w * h * 3)) | tr -d '\000-\030' |
        head -c 1 | wc -c)
  done
  end=$(date +%s%N)
  sleep 1
  local m0 s0 m1 s1 t0 t1
  m0=$(ticks $saver) s0=$(ticks $sway) t0=$(date +%s%N)
  sleep "$seconds"
  m1=$(ticks $saver) s1=$(ticks $sway) t1=$(date +%s%N)
  kill $saver
  wait $saver 2>/dev/null || true
  kill $sway
  wait $sway 2>/dev/null || true
  rm -rf "$tmp"
  awk -v m=$((m1 - m0)) -v s=$((s1 - s0)) -v t=$((t1 - t0)) -v hz="$hz" -v up=$((end - start)) \
    'BEGIN { printf "%.2f %.2f %.0f\n", 100 * m / hz / (t / 1e9), 100 * s / hz / (t / 1e9), up / 1e6 }'
}

for size in 1920x1080 3840x2160; do
  for speed in fast slow; do
    results=()
    for _ in $(seq "$runs"); do results+=("$(measure "$size" "$speed")"); done
    m=$(printf '%s\n' "${results[@]}" | awk '{ print $1 }' | median)
    s=$(printf '%s\n' "${results[@]}" | awk '{ print $2 }' | median)
    u=$(printf '%s\n' "${results[@]}" | awk '{ print $3 }' | median)
    awk -v size="$size" -v speed="$speed" -v m="$m" -v s="$s" -v u="$u" 'BEGIN {
      printf "%-9s %-4s module %4.1f%% of a core, compositor %4.1f%%, together %4.1f%%; start-up %4.0f ms\n",
        size, speed, m, s, m + s, u }'
  done
done
