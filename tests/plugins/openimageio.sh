#!/usr/bin/env bash
# OpenImageIO's own programs with the plug-in: what they write is what the tool reads, and the other
# way round; what is broken ends with a message. The commands of docs/plugins.md are among these.
#   openimageio.sh SOURCE_DIR PLUGIN_DIR TRELLIS WORK_DIR
set -euo pipefail

if ! command -v oiiotool iinfo > /dev/null; then
    echo "SKIPPED: oiiotool and iinfo are not installed"
    exit 0
fi
source_dir=$1
export OIIO_LIBRARY_PATH=$2
trellis=$3
rm -rf "$4"
mkdir -p "$4"
cd "$4"

failed() {
    echo "$*"
    exit 1
}

# same OPTION... FILE FILE holds pixels against each other with the tool.
same() {
    "$trellis" compare "$@" > compared || { cat compared; failed "differ: $*"; }
}

# refused MESSAGE COMMAND...: it must end by itself, with a message and no file.
refused() {
    local message=$1 status=0
    shift
    "$@" > refusal 2>&1 || status=$?
    { [ $status -eq 1 ] && grep -q "$message" refusal; } || { cat refusal; failed "$* ended with $status"; }
    [ ! -e refused.pic ] || failed "$* left a file"
}

"$trellis" chart chart.png
"$trellis" convert chart.png cutout.pic
"$trellis" convert chart.png image.pic --kind image --compress off
"$trellis" convert chart.png mask.iff --kind mask
"$trellis" convert chart.png scan.dpx --kind image
"$trellis" header scan.dpx --set "film.slate=Scene 12" --set "orientation.input device=Scanner" \
    --set "film.frame rate=24"

# Commands that people read about give what they read.
LC_ALL=C awk '/^```sh-session$/ { on = 1; next } /^```$/ { on = 0 } on' "$source_dir/docs/plugins.md" > shown
sed -n 's/^\$ \(\(iinfo\|oiiotool\) .*\)/\1/p' shown > commands
[ "$(wc -l < commands)" -ge 4 ] || failed "docs/plugins.md has too few commands"
while read -r command; do
    echo "\$ $command"
    eval "$command"
done < commands > transcript 2>&1
while IFS= read -r line; do
    grep -qxF -- "$line" shown || { cat transcript; failed "docs/plugins.md does not show: $line"; }
done < transcript

# Pixels go both ways unchanged, also parts of a picture; oiiotool goes by the word of its reader.
oiiotool image.pic -o image.png && same --kind image image.pic image.png
oiiotool image.png -o again.pic && same --kind image image.pic again.pic
oiiotool image.png --attrib compression none -o dumped.pic && same --kind image image.pic dumped.pic
oiiotool image.pic --cut 40x30+7+5 -o part.pic
height=$("$trellis" info image.pic | sed -n 's/^  size *[0-9]* x \([0-9]*\).*/\1/p')
"$trellis" convert image.pic expected.pic --rect "7,$((height - 35)),46,$((height - 6))"
same part.pic expected.pic
oiiotool --iconfig oiio:UnassociatedAlpha 1 -i cutout.pic -o straight.pic && same cutout.pic straight.pic
ln -s mask.iff mask.trellis
oiiotool mask.trellis -o mask.png && same --kind mask mask.iff mask.png
iinfo -v mask.trellis | grep -q 'channel list: A$' || failed "a mask is no matte"

# Film, as a writer that OpenImageIO lacks; fields keep their values.
oiiotool scan.dpx -o scan.cin && same scan.dpx scan.cin
"$trellis" header scan.cin > header
for line in 'slate *"Scene 12"' 'input device *"Scanner"' 'frame rate *24'; do
    grep -q "$line" header || failed "lost: $line"
done

# What is wrong says so.
for size in 0 7 600 1100 5000; do
    head -c $size cutout.pic > broken.pic
    refused 'ERROR' oiiotool broken.pic -o refused.pic
done
for i in $(seq 586 598); do
    cp cutout.pic hostile.pic
    printf '\xff' | dd of=hostile.pic bs=1 seek="$i" conv=notrunc status=none
    timeout 20 oiiotool hostile.pic -o hostile.png > /dev/null 2>&1 || [ $? -eq 1 ] || failed "byte $i ends it"
done
refused 'not 2' oiiotool image.pic --ch R,G -o refused.pic
refused 'ERROR' oiiotool --create 70000x1 3 -o refused.pic
refused 'No such file' oiiotool image.pic -o none/refused.pic
