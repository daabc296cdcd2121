#!/usr/bin/env bash
# What a desktop makes of the formats: types by content, and thumbnails where programs look for them.
#   desktop.sh TRELLIS DESKTOP_DIR GIMP_ENTRY
set -euo pipefail
trellis=$1 desktop=$2 entry=$3
for program in update-mime-database xdg-mime gio desktop-file-validate; do
    command -v "$program" > /dev/null || { echo "SKIPPED: there is no $program"; exit 0; }
done
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
export XDG_DATA_HOME=$dir/data XDG_DATA_DIRS=$dir/data XDG_CACHE_HOME=$dir/cache XDG_CURRENT_DESKTOP=GNOME

failures=0
complain() { echo "$*"; failures=$((failures + 1)); }

mkdir -p data/mime/packages data/thumbnailers
cp /usr/share/mime/packages/freedesktop.org.xml "$desktop/trellis.xml" data/mime/packages
update-mime-database data/mime 2> warnings || complain "$(< warnings)"
desktop-file-validate "$entry" || complain "$entry is no good"

"$trellis" chart a.pic --size 300x200
for extension in iff dpx cin; do
    "$trellis" convert a.pic "a.$extension" --kind cutout
done
cp a.dpx no-extension
cp a.cin cineon.pic
echo "Notes" > notes.pic
printf 'FORM\0\0\0\4ILBM' > picture.iff
while read -r file type size; do
    found=$(xdg-mime query filetype "$file")
    [[ $found == "$type" ]] || complain "$file is $found, not $type"
    [[ -n $size ]] || continue  # another program's
    # As a file manager does: the entry for the type, its command, a file that is named by the URI.
    grep -q "^MimeType=.*$type;" "$desktop/trellis.thumbnailer" || complain "no thumbnailer for $type"
    thumbnails=cache/thumbnails/normal
    mkdir -p "$thumbnails"
    out=$thumbnails/$(printf 'file://%s' "$dir/$file" | md5sum | cut -d ' ' -f 1).png
    command=$(sed -n 's/^Exec=trellis //p' "$desktop/trellis.thumbnailer" |
        sed "s|%s|128|; s|%i|$dir/$file|; s|%o|$dir/$out|")
    # shellcheck disable=SC2086  # its words
    "$trellis" $command || complain "$file has no thumbnail"
    [[ $("$trellis" info "$out") == *"$size"* ]] || complain "$file: $("$trellis" info "$out")"
done <<'END'
a.pic image/x-pixar-picture 128 x 85
a.iff image/x-maya-iff 128 x 85
a.dpx image/x-dpx 128 x 85
a.cin image/x-cineon 96 x 64
no-extension image/x-dpx 128 x 85
cineon.pic image/x-cineon 96 x 64
notes.pic text/plain
picture.iff image/x-ilbm
END
exit $((failures > 0))
