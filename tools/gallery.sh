#!/usr/bin/env bash
# The effect gallery: builds the gallery program (tools/gallery/, only with
# -DLUMIVANE_TOOLS=ON, so it stays out of the test build), renders every
# built-in effect on one test picture and assembles labelled contact sheets
# with ImageMagick's montage into build/gallery/:
#
#   effects.png       every effect, one row each: defaults, then three
#                     seeded "rand" draws (blank where an effect has none)
#   sheet-NN.png      the same rows eight effects a sheet, at full size
#   tiles/            the single renders (Targa) and their list
#   run/              the configuration copy the program ran with
#
#   bash tools/gallery.sh
set -euo pipefail
cd "$(dirname "$0")/.."

export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
command -v ccache >/dev/null || unset CMAKE_CXX_COMPILER_LAUNCHER
cmake -S . -B build-gallery -DCMAKE_BUILD_TYPE=Release -DLUMIVANE_TESTS=OFF \
    -DLUMIVANE_TOOLS=ON >/dev/null
cmake --build build-gallery -j2 --target gallery

out=build/gallery
rm -rf "$out"
mkdir -p "$out/tiles"
tiles=$(cd "$out/tiles" && pwd)
Lumivane_ini=$(bash data/make-config.sh "$out/run")
export Lumivane_ini
# The program works in its own folder so that nothing it writes lands in the
# source tree.
(cd "$out" && "$OLDPWD/build-gallery/tools/gallery/gallery" "$tiles" >/dev/null)

# montage arguments for one effect's row: four labelled tiles.
row_arguments() {
    local name=$1
    shift
    local k=0
    for file in "$@"; do
        if [ "$file" = "-" ]; then
            args+=(-label "" null:)
        elif [ $k -eq 0 ]; then
            args+=(-label "$name" "$file")
        else
            args+=(-label "$name rand $k" "$file")
        fi
        k=$((k + 1))
    done
}

sheet() {
    local output=$1 geometry=$2
    shift 2
    montage -background '#1e1e1e' -fill '#e0e0e0' -font DejaVu-Sans -pointsize 11 \
        -tile 4x -geometry "$geometry" "$@" "$output"
}

all=(-label "test picture" "$tiles/source.tga" null: null: null:)
page=()
number=0
while IFS=$'\t' read -r name t0 t1 t2 t3; do
    args=()
    row_arguments "$name" "$t0" "$t1" "$t2" "$t3"
    all+=("${args[@]}")
    page+=("${args[@]}")
    number=$((number + 1))
    if [ $((number % 8)) -eq 0 ]; then
        sheet "$out/sheet-$(printf %02d $((number / 8))).png" 320x200+6+6 "${page[@]}"
        page=()
    fi
done <"$tiles/tiles.txt"
if [ ${#page[@]} -gt 0 ]; then
    sheet "$out/sheet-$(printf %02d $((number / 8 + 1))).png" 320x200+6+6 "${page[@]}"
fi
sheet "$out/effects.png" 160x100+4+4 "${all[@]}"
echo "gallery: $number effects in $out/effects.png and $out/sheet-*.png"
