#!/usr/bin/env bash
# Installs what is missing, builds in Release and runs the main job: three
# pictures, each shown as the desktop background with a cookie and saved as
# shot0000.tga to shot0002.tga, then a screenshot of the desktop.
#
#   bash tools/run.sh [more lumivane options]
#
# The X display is $DISPLAY when one answers there; otherwise a private
# virtual X server runs for the job and is stopped afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash tools/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DLUMIVANE_TESTS=OFF >/dev/null
cmake --build build-release -j"$(nproc)" --target lumivane setroot

program=$root/build-release/lumivane
run=$root/build-release/run
# A run works on its own copy of the configuration (the program rewrites it
# at exit); the repository's data/Lumivane.ini is never written.  The build's
# bin/ folder holds the setter as linux/setroot/setroot.
Lumivane_ini=$(bash data/make-config.sh "$run" build-release/bin)
export Lumivane_ini
# The desktop file goes next to the pictures, not to a folder other users
# share.
updated=$(mktemp "$run/.Lumivane.ini.XXXXXX")
while IFS= read -r line || [ -n "$line" ]; do
    if [[ $line =~ ^(\$path\.tmp\$[[:blank:]]*=[[:blank:]]*) ]]; then
        line="${BASH_REMATCH[1]}\"$run\""
    fi
    printf '%s\n' "$line"
done <"$Lumivane_ini" >"$updated"
cat "$updated" >"$Lumivane_ini"
rm -f "$updated"

server=
server_log=
stop_server() {
    if [ -n "$server" ]; then
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    fi
    if [ -n "$server_log" ]; then
        rm -f "$server_log"
    fi
}
trap stop_server EXIT

if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
    echo "using the X display $DISPLAY"
else
    # The server picks a free display number and writes it to the given
    # descriptor once it accepts connections.
    server_log=$(mktemp)
    Xvfb -displayfd 3 -noreset -nolisten tcp -screen 0 1280x800x24 3>"$server_log" \
        >/dev/null 2>&1 &
    server=$!
    for _ in $(seq 200); do
        if grep -q . "$server_log" 2>/dev/null; then
            break
        fi
        if ! kill -0 "$server" 2>/dev/null; then
            echo "run.sh: the virtual X server did not start" >&2
            exit 1
        fi
        sleep 0.05
    done
    number=$(head -n 1 "$server_log")
    if [ -z "$number" ]; then
        echo "run.sh: the virtual X server did not report its display" >&2
        exit 1
    fi
    export DISPLAY=":$number"
    echo "no X display answers here: started a virtual one on $DISPLAY"
fi

cd "$run"
rm -f shot0000.tga shot0001.tga shot0002.tga desktop.png
"$program" -m 3 -c -s 'shot%04d.tga' "$@"
for picture in shot0000.tga shot0001.tga shot0002.tga; do
    if [ ! -s "$picture" ]; then
        echo "run.sh: $picture was not written (see $run/*.logfile)" >&2
        exit 1
    fi
done
xwd -root -silent -display "$DISPLAY" | convert xwd:- "$run/desktop.png"

echo
echo "pictures:      $run/shot0000.tga $run/shot0001.tga $run/shot0002.tga"
echo "desktop shown: $run/desktop.png (from $run/lumivane-desktop.bmp)"
echo "message logs:  $run/*.logfile"
