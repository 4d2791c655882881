#!/usr/bin/env bash
# Remakes the start screen's backdrops example2.bmp .. example7.bmp with the
# project's own renderer: three shapes and three pattern tiles, four times
# their size. Usage: samples/make-samples.sh path/to/tavrel-render
set -euo pipefail
render=${1:?usage: $0 path/to/tavrel-render}
here=$(cd "$(dirname "$0")" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$render" --no-history --generator shape --seed 11 --count 3 --zoom 4 --bmp --out "$tmp" >/dev/null
"$render" --no-history --generator pattern --seed 12 --count 3 --zoom 4 --bmp --colors basic --out "$tmp" >/dev/null
slot=2
for f in shape-11-1 shape-11-2 shape-11-3 pattern-12-1 pattern-12-2 pattern-12-3; do
  cp "$tmp/$f.bmp" "$here/example$slot.bmp"
  slot=$((slot + 1))
done
