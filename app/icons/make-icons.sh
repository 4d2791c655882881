#!/usr/bin/env bash
# Makes the icon's other sizes from the 192x192 one (a picture of
# tavrel-render, each of its 96x96 pixels drawn 2x2, black transparent): a
# scalable SVG with one square per pixel, and PNGs that average each of
# their pixels over the area it covers. Run it after changing that icon;
# needs ImageMagick.
set -euo pipefail
cd "$(dirname "$0")"
source=192x192/tavrel.png

# One path per colour, one run of equal pixels of a row per subpath.
mkdir -p scalable
convert "$source" -sample 96x96 txt:- | awk '
  function run() {
    if (current == "") return
    if (!(current in paths)) colours[++n] = current
    paths[current] = paths[current] sprintf("M%d %dh%dv1h-%dz", start, row, end - start, end - start)
  }
  NR == 1 { next }
  {
    split($1, at, /[,:]/)
    x = at[1]; y = at[2]; colour = $3
    if (colour == "#000000") colour = ""
    if (y != row || colour != current || x != end) {
      run()
      row = y; current = colour; start = x
    }
    end = x + 1
  }
  END {
    run()
    print "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"96\" height=\"96\" viewBox=\"0 0 96 96\" shape-rendering=\"crispEdges\">"
    for (i = 1; i <= n; i++) printf "<path fill=\"%s\" d=\"%s\"/>\n", colours[i], paths[colours[i]]
    print "</svg>"
  }' >scalable/tavrel.svg

for size in 16 22 24 32 48 64 128 256; do
  mkdir -p "${size}x${size}"
  convert "$source" -sample 768x768 -filter box -resize "${size}x${size}" -strip \
    "PNG32:${size}x${size}/tavrel.png"
done
