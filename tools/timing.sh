#!/usr/bin/env bash
# Times the program's start-up, a short render and one background-setter run
# (wall clock, median of several runs), on the Release build.
#
#   bash tools/timing.sh [runs]
#
# - start-up: "lumivane -d -m 0" (start-up and shutdown, nothing rendered) and
#   "lumivane -d -m 1 -x 1 -y 1" (the same plus one traced pixel), an upper
#   bound of the time from start to the first pixel traced;
# - "lumivane -d -m 10 -s shot%04d.tga" at 320x200;
# - "setroot" with a 1920x1080 picture on a 1920x1080 virtual screen.
# The render rows need the effect "raytrace" and are skipped without it.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
runs=${1:-15}
bash tools/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DLUMIVANE_TESTS=OFF >/dev/null
cmake --build build-release -j"$(nproc)" --target lumivane setroot >/dev/null

program=$root/build-release/lumivane
setroot=$root/build-release/bin/linux/setroot/setroot
work=$(mktemp -d)
server=
cleanup() {
    if [ -n "$server" ]; then
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
Lumivane_ini=$(bash data/make-config.sh "$work" build-release/bin)
export Lumivane_ini
cd "$work"

# Median wall time in milliseconds of running the command `runs` times.
median_ms() {
    local times=() start end
    for _ in $(seq "$runs"); do
        start=$(date +%s%N)
        "$@" >/dev/null 2>&1
        end=$(date +%s%N)
        times+=($(((end - start) / 1000)))
    done
    printf '%s\n' "${times[@]}" | sort -n | awk '{ t[NR] = $1 } END { printf "%.1f", t[int((NR + 1) / 2)] / 1000 }'
}

report() {
    printf '%-48s %8s ms\n' "$1" "$2"
}

report "lumivane -d -m 0 (start-up and shutdown)" "$(median_ms "$program" -d -m 0)"
# The listing is read whole first: grep -q would stop reading early and,
# under pipefail, the listing's broken pipe would read as a missing tracer.
listing=$("$program" -2 2>/dev/null || true)
if grep -q '^	name        = raytrace$' <<<"$listing"; then
    report "lumivane -d -m 1 -x 1 -y 1 (to one traced pixel)" \
        "$(median_ms "$program" -d -m 1 -x 1 -y 1)"
    report "lumivane -d -m 10 -s shot%04d.tga (320x200)" \
        "$(median_ms "$program" -d -m 10 -s 'shot%04d.tga')"
else
    echo "no \"raytrace\" effect in this build: render timings skipped"
fi

Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 1920x1080x24 3>"$work/display" \
    >/dev/null 2>&1 &
server=$!
for _ in $(seq 200); do
    grep -q . "$work/display" 2>/dev/null && break
    sleep 0.05
done
export DISPLAY=":$(head -n 1 "$work/display")"
convert -size 1920x1080 plasma:fractal -depth 8 -type TrueColor BMP3:"$work/big.bmp"
report "setroot, 1920x1080 picture and screen" "$(median_ms "$setroot" "$work/big.bmp")"
