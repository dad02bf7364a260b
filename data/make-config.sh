#!/usr/bin/env bash
# Makes the working copy of Lumivane's configuration that a run uses.
#
#   bash data/make-config.sh <run-folder> [<bin-folder>]
#
# - Copies data/Lumivane.ini to <run-folder>/Lumivane.ini when there is none
#   yet; an existing copy is kept, with its saved seed and times.
# - Points "$path.data$" at this data folder and "$path.run$" at the run
#   folder, as absolute paths (also in an existing copy, so a moved checkout
#   or installation keeps working); with <bin-folder>, "$path.bin$" too (the
#   folder that holds linux/setroot/setroot).
# - Creates the writable folders <run-folder>/backup and <run-folder>/presets
#   and copies shipped presets (data/presets, if any) that are not there yet.
# - Prints the copy's path.  Run the program with Lumivane_ini set to it; the
#   repository's own data/Lumivane.ini is never written.
set -euo pipefail

if [ $# -lt 1 ] || [ $# -gt 2 ]; then
    echo "usage: $0 <run-folder> [<bin-folder>]" >&2
    exit 2
fi
data=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
run=$(cd "$1" && pwd)
bin=
if [ $# -eq 2 ]; then
    bin=$(cd "$2" && pwd)
fi
for folder in "$data" "$run" "$bin"; do
    case "$folder" in
    *'"'*)
        echo "$0: a folder name with a double quote cannot be written to the configuration: $folder" >&2
        exit 1
        ;;
    esac
done

target=$run/Lumivane.ini
if [ ! -e "$target" ]; then
    cp "$data/Lumivane.ini" "$target"
fi
mkdir -p "$run/backup" "$run/presets"
if [ -d "$data/presets" ]; then
    cp -rn "$data/presets/." "$run/presets/"
fi

# Rewrites one alias line, keeping the key and its alignment; the value is
# quoted so that folder names with blanks read back whole.
replacement() {
    local line=$1 key=$2 value=$3
    if [[ $line =~ ^(\$$key\$[[:blank:]]*=[[:blank:]]*) ]]; then
        printf '%s"%s"\n' "${BASH_REMATCH[1]}" "$value"
        return 0
    fi
    return 1
}

updated=$(mktemp "$run/.Lumivane.ini.XXXXXX")
trap 'rm -f "$updated"' EXIT
while IFS= read -r line || [ -n "$line" ]; do
    replacement "$line" 'path\.data' "$data" && continue
    replacement "$line" 'path\.run' "$run" && continue
    [ -n "$bin" ] && replacement "$line" 'path\.bin' "$bin" && continue
    printf '%s\n' "$line"
done <"$target" >"$updated"
# Written in place, so the copy keeps its owner and permissions.
cat "$updated" >"$target"
echo "$target"
