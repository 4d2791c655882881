#!/usr/bin/env bash
# Makes the icon's other sizes from the 192x192 one (a picture of
# tavrel-render, each of its 96x96 pixels drawn 2x2, black transparent): a
# scalable SVG with one square per pixel, PNGs from 48 pixels up that
# average each of their pixels over the area it covers, and the small sizes
# (16 to 32 pixels) drawn below for their size: averaged, the picture's
# thin outlines and small regions blur into speckle there. Run it after
# changing that icon; needs ImageMagick.
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

for size in 48 64 128 256; do
  mkdir -p "${size}x${size}"
  convert "$source" -sample 768x768 -filter box -resize "${size}x${size}" -strip \
    "PNG32:${size}x${size}/tavrel.png"
done

# A small size from a quarter of it (its top left, rows from the top): the
# quarter mirrors onto itself across its diagonal, and then onto the other
# three, so the icon keeps the picture's eight-fold symmetry. The centre's
# green disc, the purple arms with their blue joints and red tips, the
# dark green leaves on the diagonals and teal flecks, in the picture's own
# colours, on the black the picture stands on (".").
draw() {
  local size=$1
  mkdir -p "${size}x${size}"
  awk -v size="$size" '
    BEGIN {
      colour["R"] = "247,34,30"; colour["P"] = "205,107,214"; colour["B"] = "87,105,225"
      colour["G"] = "92,154,9"; colour["L"] = "54,108,54"; colour["T"] = "85,150,163"
      half = size / 2
    }
    { row[NR - 1] = $0 }
    END {
      for (y = 0; y < half; y++) {
        if (length(row[y]) != half) { print "row " y " is not " half " wide" > "/dev/stderr"; exit 1 }
        for (x = 0; x < half; x++)
          if (substr(row[y], x + 1, 1) != substr(row[x], y + 1, 1)) {
            print "not mirrored at " x "," y > "/dev/stderr"; exit 1
          }
      }
      printf "# ImageMagick pixel enumeration: %d,%d,255,srgba\n", size, size
      for (y = 0; y < size; y++)
        for (x = 0; x < size; x++) {
          c = substr(row[y < half ? y : size - 1 - y], (x < half ? x : size - 1 - x) + 1, 1)
          printf "%d,%d: (%s,255)\n", x, y, c == "." ? "0,0,0" : colour[c]
        }
    }' | convert txt:- -strip "PNG32:${size}x${size}/tavrel.png"
}

draw 16 <<'ICON'
.......R
......RR
..L....R
...L...B
.......P
......GG
.R...GGG
RRRBPGGG
ICON

draw 22 <<'ICON'
..........R
.........RR
..L.......R
...L.....BB
....L.....P
..........P
..........P
........GGG
.......GGGG
.R.B...GGGG
RRRBPPPGGGG
ICON

draw 24 <<'ICON'
...........R
..........RR
..........RR
...L.......R
....LL....BB
....LL.....P
...........P
...........P
.........GGG
........GGGG
.RR.B...GGGG
RRRRBPPPGGGG
ICON

draw 32 <<'ICON'
...............R
..............RR
.............RRR
..............RR
....LL.........R
....LLL.......BB
.....LLL.....T.B
......LL.....T.P
...............P
...............P
...............P
.............GGG
............GGGG
..R...TT...GGGGG
.RRR.B.....GGGGG
RRRRRBBPPPPGGGGG
ICON
