#!/usr/bin/env bash
# The package as a Debian user meets it, on this machine: `apt-get install
# ./tavrel_*.deb` brings in what it depends on; tavrel-render runs from the
# PATH; Debian's XScreenSaver runs the module by its bare name and its
# settings dialog reads the module's settings file; the desktop's
# entries validate; every manual page renders through man without a
# warning; its user service is sound and not enabled, and the wallpaper's
# timer is installed, not enabled. Then `apt-get remove tavrel` leaves none
# of its files behind, and a purge nothing else either.
# Runs as root (as on CI) or through sudo; it refuses when tavrel is already
# installed, as it removes the package at the end.
# Usage: tests/package/check.sh DEB
set -euo pipefail
deb=$(realpath "$1")
cd "$(dirname "$0")/../.."
. scripts/common.sh
tmp=$(mktemp -d)
chmod 755 "$tmp"
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*"; exit 1; }
status() { dpkg-query -W -f='${db:Status-Status}' tavrel 2>/dev/null || true; }

# xscreensaver-settings, with the module alone in ~/.xscreensaver, on a
# display of its own: among the files it opens is the module's settings
# file. It refuses root: as root it runs as the daemon test's user.
settings_dialog_reads_module_settings() {
  local home=$tmp/settings run=()
  mkdir -m 755 "$home"
  printf 'mode: one\nselected: 0\nprograms: \\\n  "Tavrel" tavrel-saver --root \\n\n' \
    >"$home/.xscreensaver"
  if [ "$(id -u)" -eq 0 ]; then
    chown -R tavrel-saver-test "$home"
    run=(setpriv --reuid=tavrel-saver-test --regid="$(id -g tavrel-saver-test)" --init-groups)
  fi
  (cd "$home" && "${run[@]}" env HOME="$home" PATH=/usr/bin:/bin bash -c '
    read_settings="\"/usr/share/xscreensaver/config/tavrel-saver.xml\", O_RDONLY) = [0-9]"
    setpriv --pdeathsig KILL Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset \
      3>display 2>/dev/null &
    xvfb=$!
    for _ in $(seq 100); do [ -s display ] && break; sleep 0.05; done
    DISPLAY=:$(cat display) setpriv --pdeathsig KILL \
      strace -f -e trace=openat -o opened xscreensaver-settings >/dev/null 2>&1 &
    dialog=$!
    found=1
    for _ in $(seq 200); do grep -q "$read_settings" opened 2>/dev/null && { found=0; break; }; sleep 0.1; done
    kill "$dialog" "$xvfb" 2>/dev/null
    exit $found')
}

[ "$(status)" != installed ] || fail "tavrel is installed already; remove it first"
PACKAGES=(man-db xscreensaver xvfb xauth imagemagick strace desktop-file-utils appstream systemd)
install_missing

as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "$deb" \
  >"$tmp/install.log" 2>&1 || { cat "$tmp/install.log"; fail "apt-get could not install $deb"; }
# From here on the package goes again, whatever happens.
trap 'as_root env DEBIAN_FRONTEND=noninteractive apt-get purge -y -q tavrel >/dev/null 2>&1; rm -rf "$tmp"' EXIT
dpkg-query -L tavrel | while read -r path; do [ -d "$path" ] || echo "$path"; done >"$tmp/files"
version=$(dpkg-query -W -f='${Version}' tavrel)
echo "installed tavrel $version, $(wc -l <"$tmp/files") files"

# Only /usr: no file elsewhere, none in /usr/local.
if grep -v '^/usr/' "$tmp/files" | grep -q . || grep -q '^/usr/local/' "$tmp/files"; then
  fail "files outside /usr: $(grep -v '^/usr/' "$tmp/files" | head -3)"
fi

# The renderer from the PATH, in a plain environment, from the root folder.
[ "$(command -v tavrel-render)" = /usr/bin/tavrel-render ] || fail "tavrel-render is not on the PATH"
[ "$(tavrel-render --version | head -n 1)" = "tavrel-render $version" ] || fail "tavrel-render names another version"
(cd / && env -i PATH=/usr/bin:/bin tavrel-render --seed 42 --out "$tmp" >"$tmp/render.log") ||
  fail "tavrel-render failed: $(cat "$tmp/render.log")"
[ -s "$tmp/shape-42-1.png" ] || fail "tavrel-render wrote no picture"
[ "$(command -v tavrel)" = /usr/bin/tavrel ] || fail "tavrel is not on the PATH"

# The module and its settings where Debian's daemon and its dialog look.
module=/usr/libexec/xscreensaver/tavrel-saver
[ -x "$module" ] || fail "no module $module"
[ -f /usr/share/xscreensaver/config/tavrel-saver.xml ] || fail "no module settings file"
tests/saver/xscreensaver_daemon.sh tavrel-saver /usr/bin/tavrel-render ||
  fail "the daemon does not run the installed module by its name"
settings_dialog_reads_module_settings ||
  fail "xscreensaver-settings does not read /usr/share/xscreensaver/config/tavrel-saver.xml"

# The daily wallpaper's user units: valid, installed and enabled for no one;
# the README's command enables the timer for a user.
units=(/usr/lib/systemd/user/tavrel-wallpaper.service /usr/lib/systemd/user/tavrel-wallpaper.timer)
for unit in "${units[@]}"; do [ -f "$unit" ] || fail "no user unit $unit"; done
systemd-analyze verify "${units[@]}" >"$tmp/verify" 2>&1 || fail "the units don't verify: $(cat "$tmp/verify")"
[ "$(systemctl --global is-enabled tavrel-wallpaper.timer 2>&1)" = disabled ] ||
  fail "the timer is enabled on installing"
mkdir "$tmp/user"
(cd "$tmp/user" && env -i PATH=/usr/bin:/bin HOME="$tmp/user" systemctl --user enable tavrel-wallpaper.timer \
  >/dev/null 2>&1) || fail "systemctl --user enable tavrel-wallpaper.timer failed"
[ -L "$tmp/user/.config/systemd/user/timers.target.wants/tavrel-wallpaper.timer" ] ||
  fail "systemctl --user enable tavrel-wallpaper.timer did not enable it"

# The desktop's entries and the icon they name.
entry=/usr/share/applications/io.github.tavrel.Tavrel.desktop
desktop-file-validate "$entry" || fail "the desktop entry does not validate"
appstreamcli validate --no-net /usr/share/metainfo/io.github.tavrel.Tavrel.metainfo.xml \
  >"$tmp/validate" || fail "the metainfo does not validate: $(cat "$tmp/validate")"
icon=$(sed -n 's/^Icon=//p' "$entry")
[ -f "/usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "no scalable icon $icon"
[ -f "/usr/share/icons/hicolor/48x48/apps/$icon.png" ] || fail "no 48 px icon $icon"

# The user service where the user manager looks, sound to systemd (its
# command there, its manual page found), and enabled for no one.
unit=/usr/lib/systemd/user/tavrel-saver.service
[ -f "$unit" ] || fail "no user service $unit"
mkdir -m 700 "$tmp/runtime"
XDG_RUNTIME_DIR=$tmp/runtime systemd-analyze --user verify "$unit" >"$tmp/verify" 2>&1 ||
  fail "systemd finds fault with $unit: $(cat "$tmp/verify")"
[ "$(systemctl --global is-enabled tavrel-saver.service)" = disabled ] ||
  fail "the package enabled tavrel-saver.service"

# Each manual page found by its name and rendered with groff's warnings on.
for page in 1:tavrel-render 6:tavrel 6:tavrel-saver; do
  section=${page%%:*} name=${page#*:}
  [ "$(man -w "$section" "$name")" = "/usr/share/man/man$section/$name.$section.gz" ] ||
    fail "man finds no $name($section)"
  MANWIDTH=80 man --warnings -E UTF-8 -P cat "$section" "$name" >"$tmp/page" 2>"$tmp/warnings"
  [ ! -s "$tmp/warnings" ] || fail "man $section $name warns: $(cat "$tmp/warnings")"
  grep -q '^OPTIONS' "$tmp/page" || fail "man $section $name shows no OPTIONS"
done

as_root env DEBIAN_FRONTEND=noninteractive apt-get remove -y -q tavrel >"$tmp/remove.log" 2>&1 ||
  { cat "$tmp/remove.log"; fail "apt-get could not remove tavrel"; }
trap 'rm -rf "$tmp"' EXIT
[ "$(status)" != installed ] || fail "tavrel is still installed"
left=$(while read -r path; do if [ -e "$path" ]; then echo "$path"; fi; done <"$tmp/files")
[ -z "$left" ] || fail "apt-get remove left files behind: $left"
for dir in /usr/share/tavrel /usr/share/doc/tavrel; do
  [ ! -e "$dir" ] || fail "apt-get remove left $dir"
done
# What Debian's helper noted of the user service goes with the purge.
as_root env DEBIAN_FRONTEND=noninteractive apt-get purge -y -q tavrel >"$tmp/purge.log" 2>&1 ||
  { cat "$tmp/purge.log"; fail "apt-get could not purge tavrel"; }
noted=$(find /etc/systemd/user /var/lib/systemd -name 'tavrel-saver*' 2>/dev/null || true)
[ -z "$noted" ] || fail "apt-get purge left $noted"
echo "package check passed"
