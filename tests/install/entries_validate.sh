#!/usr/bin/env bash
# What an install gives the desktop: the desktop entry and the software
# centre's entry validate and name the same application, the icon it names
# is there at every size and scalable, and the metainfo names this version.
# Usage: entries_validate.sh BUILD_DIR VERSION
set -euo pipefail
build=$1
version=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

cmake --install "$build" --prefix "$tmp/usr" >/dev/null
share=$tmp/usr/share
id=io.github.tavrel.Tavrel
entry=$share/applications/$id.desktop
metainfo=$share/metainfo/$id.metainfo.xml
[ -f "$entry" ] || fail "no desktop entry $id.desktop"
[ -f "$metainfo" ] || fail "no metainfo $id.metainfo.xml"

desktop-file-validate "$entry" || fail "the desktop entry does not validate"
appstreamcli validate --no-net "$metainfo" || fail "the metainfo does not validate"
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" ||
  fail "the metainfo launches another desktop entry"
grep -q "<release version=\"$version\" date=\"[0-9-]*\"" "$metainfo" ||
  fail "the metainfo has no release $version"

icon=$(sed -n 's/^Icon=//p' "$entry")
for size in 16 22 24 32 48 64 128 192 256; do
  file=$share/icons/hicolor/${size}x$size/apps/$icon.png
  [ -f "$file" ] || fail "no $size px icon"
  [ "$(identify -format '%wx%h' "$file")" = "${size}x$size" ] || fail "$file is not $size px"
done
[ -f "$share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "no scalable icon"
echo passed
