#!/usr/bin/env bash
# Processes photographs: qetool loads them through the plug-in qewic, crops, resamples, flips and converts them, and
# saves them. `./run demo` builds everything and calls this.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

: "${QECORE_BIN:?is set by ./run demo}" "${QECORE_WINE_RUN:?is set by ./run demo}"
RESULTS=${1:-$(dirname "$QECORE_BIN")/demo}

mkdir -p "$RESULTS"
qetool() { "$QECORE_WINE_RUN" "$QECORE_BIN/qetool.exe" "$@" | tr -d '\r'; }

# show TITLE COMMAND...: prints the title, runs the command, and prints how long it took.
show() {
  local title=$1 start end
  shift
  printf '\n== %s\n   %s\n' "$title" "${*/#"$RESULTS"/RESULTS}"
  start=$(date +%s%N)
  "$@"
  end=$(date +%s%N)
  printf '   (%d ms with the start of the program)\n' $(((end - start) / 1000000))
}

IN=examples/images
show 'What the plug-in knows' qetool plugins
show 'The photographs' qetool info $IN/chelsea.png $IN/coffee.png $IN/rocket.jpg
show 'A cat, seen closely: crop, then enlarge' \
  qetool convert -v $IN/chelsea.png "$RESULTS/cat-eyes.png" --crop 110,60,370,190 --size 650x
show 'Coffee at two thirds of its size, as a JPEG of 85' \
  qetool convert -v $IN/coffee.png "$RESULTS/coffee-small.jpg" --size 400x --quality 85
show 'Coffee for left-handers: left and right change places' \
  qetool convert -v $IN/coffee.png "$RESULTS/coffee-left.png" --flip h
show 'The rocket in grey, half as large' \
  qetool convert -v $IN/rocket.jpg "$RESULTS/rocket-grey.png" --size 320x --format gray8
show 'The rocket in 256 colours' \
  qetool convert -v $IN/rocket.jpg "$RESULTS/rocket.gif"
show 'All three as TIFF files' \
  qetool convert -v "$IN/*.png" $IN/rocket.jpg "$RESULTS/tiff" --type tif
show 'Nothing was lost: the TIFF file has the pixels of the PNG file' qetool diff $IN/coffee.png "$RESULTS/tiff/coffee.tif"
show 'All files can be read to their last pixel' qetool verify -r "$RESULTS"
show 'A page of what the library draws' "$QECORE_WINE_RUN" "$QECORE_BIN/draw.exe" "$RESULTS/gallery.png"
show 'What came out' qetool info "$RESULTS/*.png" "$RESULTS/*.jpg" "$RESULTS/*.gif" "$RESULTS/tiff/*.tif"
show 'A contact sheet of the photographs' \
  qetool sheet "$RESULTS/contact-sheet.png" $IN/chelsea.png $IN/coffee.png $IN/rocket.jpg

printf '\nThe results are in %s\n' "$RESULTS"
