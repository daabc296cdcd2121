#!/usr/bin/env bash
# Each folder under src/ is a room. This sees that includes point one way, that vector code and
# process-wide variables stay in their rooms, and that tools and hosts use the public headers.
#   check_rooms.sh SOURCE_DIR OBJECT_DIR
set -euo pipefail

source_dir=$1
object_dir=$2

# Who may include whom, besides itself, the public headers and the standard library. The first
# pattern that fits a file counts.
rooms='
src/formats/*/descriptor.cpp  pixels state frame
src/formats/*                 pixels frame
src/convert/*                 pixels state frame
src/sidedata/*                convert state frame
src/pixels/*                  frame
src/state/*                   frame
src/frame/*
host/*
tools/*                       host
plugins/*                     host
'

# Where process-wide variables may be. Which table of kernels the processor gets is nothing that a
# host sees, so it is not state.
has_variables() {
    case $1 in
        state/* | pixels/kernels.cpp) ;;
        *) return 1 ;;
    esac
}

failures=0
complain() {
    echo "$*"
    failures=$((failures + 1))
}

allowed_for() {
    local pattern allowed
    while read -r pattern allowed; do
        # shellcheck disable=SC2254
        case $1 in $pattern) [ -z "$pattern" ] || { echo "$allowed" && return; } ;; esac
    done <<<"$rooms"
}

cd "$source_dir"
folders=(src tools)
for folder in host plugins; do
    [ ! -d "$folder" ] || folders+=("$folder")
done
while IFS=: read -r file line include; do
    include=${include#*\"}
    wanted=$(dirname "${include%%\"*}")
    own=$(dirname "${file#src/}")
    case " trellis . $own $(allowed_for "$file") " in
        *" $wanted "*) ;;
        *) complain "$file:$line: $own may not include from $wanted" ;;
    esac
done < <(grep -rn '^#include "' "${folders[@]}")

vectors='(imm|emm|xmm|arm_neon)[a-z]*\.h>|\b_mm[0-9]*_|\b__m(128|256|512)|__builtin_(cpu|ia32)_'
while read -r place; do
    complain "$place: vector code belongs into src/pixels"
done < <(grep -rnE "$vectors" "${folders[@]}" | grep -v '^src/pixels/' || true)

while read -r file; do
    has_variables "$file" && continue
    found=$(objdump -t "$object_dir/$file.o" |
        awk '/ O / && $4 ~ /^\.t?(data|bss)/ && $4 !~ /^\.data\.rel\.ro/ { print $NF }')
    [ -z "$found" ] || complain "src/$file has process-wide variables: ${found//$'\n'/ }"
done < <(cd src && find . -name '*.cpp' -printf '%P\n')

exit $((failures > 0))
