#!/usr/bin/env bash
# The loader in gdk-pixbuf's own programs, and in one that loads from pieces.
#   gdk_pixbuf.sh TRELLIS MODULE FEED QUERY_LOADERS DESKTOP_DIR
set -euo pipefail
trellis=$1 module=$2 feed=$3 query=$4 desktop=$5
for program in "$query" gdk-pixbuf-thumbnailer update-mime-database; do
    command -v "$program" > /dev/null || { echo "SKIPPED: there is no $program"; exit 0; }
done
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

mkdir -p mime/packages
cp /usr/share/mime/packages/freedesktop.org.xml "$desktop/trellis.xml" mime/packages
update-mime-database mime 2> /dev/null  # says that programs do not look here
export XDG_DATA_DIRS=$dir XDG_DATA_HOME=$dir/home
"$query" "$module" > loaders.cache
grep -q '^"trellis" ' loaders.cache
export GDK_PIXBUF_MODULE_FILE=$dir/loaders.cache

failures=0
complain() { echo "$*"; failures=$((failures + 1)); }

"$trellis" chart chart.png --size 61x43
"$trellis" convert chart.png cutout.pic
"$trellis" convert chart.png cutout.iff
"$trellis" convert chart.png mask.iff --kind mask
"$trellis" convert chart.png image.pic --kind image
"$trellis" convert image.pic image.dpx
"$trellis" convert image.pic image.cin
for file in cutout.pic cutout.iff mask.iff image.pic image.dpx image.cin; do
    kind=$([[ $file == cutout* ]] && echo cutout || echo image)
    "$trellis" convert "$file" expected.png --depth 8 --kind "$kind" --force
    for size in 1 5000; do
        "$feed" "$file" $size seen.png 2> error || complain "$file in pieces of $size: $(< error)"
        "$trellis" compare seen.png expected.png || complain "$file in pieces of $size is another picture"
    done

    # A thumbnail, of a file whose extension says nothing; and one that is larger than the picture.
    cp "$file" picture
    gdk-pixbuf-thumbnailer -s 32 picture small.png
    [[ $("$trellis" info small.png) == *"32 x 23"* ]] || complain "$file: $("$trellis" info small.png)"
    gdk-pixbuf-thumbnailer -s 200 picture large.png
    [[ $("$trellis" info large.png) == *"200 x 141"* ]] || complain "$file: $("$trellis" info large.png)"

    # What is cut short is an error, wherever that is.
    size=$(stat -c %s "$file")
    for left in 4 12 700 1700 $((size * 6 / 10)); do
        head -c "$left" "$file" > short
        if "$feed" short 4096 short.png 2> error || [[ $(wc -l < error) != 1 || $(wc -c < error) -lt 9 ]]; then
            complain "$file cut to $left bytes: $(< error)"
        fi
        [[ ! -e short.png ]] || { complain "$file cut to $left bytes is a picture"; rm short.png; }
    done
done

# A header that claims 32000 x 32000 pixels costs no memory.
cp image.dpx huge.dpx
printf '\0\0\x7d\0\0\0\x7d\0' | dd of=huge.dpx bs=1 seek=772 conv=notrunc status=none
(ulimit -v 1000000; ! "$feed" huge.dpx 4096 huge.png 2> error) || complain "a huge header is a picture"
grep -q missing error || complain "a huge header: $(< error)"
exit $((failures > 0))
