#!/usr/bin/env bash
# The plug-in in GIMP, without a display: opens, exports and opens again.
#   gimp.sh TRELLIS PLUG_INS
set -euo pipefail
trellis=$1 plug_ins=$2
gimp=$(command -v gimp-console || command -v gimp) || { echo "SKIPPED: there is no GIMP"; exit 0; }
theirs=$(dirname "$(dirname "$(find /usr/lib /usr/libexec -name script-fu -type f -path '*gimp*' -print -quit)")")
[[ $theirs == */plug-ins ]] || { echo "SKIPPED: there is no script-fu"; exit 0; }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

# A GIMP of its own, with no more plug-ins than it needs.
mkdir -p plug-ins scripts settings/gradients
ln -s "$theirs/script-fu" "$theirs/file-png" "$plug_ins/file-trellis" plug-ins
printf '(plug-in-path "%s/plug-ins")\n(script-fu-path "%s/scripts")\n' "$dir" "$dir" > settings/gimprc
export GIMP2_DIRECTORY=$dir/settings

failures=0
complain() { echo "$*"; failures=$((failures + 1)); }

ln -s /usr/share/gimp/2.0/scripts/*.init scripts
cat > scripts/test.scm <<'END'
(define (open name) (car (gimp-file-load RUN-NONINTERACTIVE name name)))
(define (layer image) (car (gimp-image-get-active-drawable image)))
(define (export image name) (gimp-file-save RUN-NONINTERACTIVE image (layer image) name name))
(define (say . values)
  (gimp-message (apply string-append (map (lambda (v) (if (number? v) (number->string v) v)) values))))
END

"$trellis" chart chart.png --size 131x77
"$trellis" convert chart.png cutout.pic
"$trellis" convert chart.png image.pic --kind image
"$trellis" convert chart.png mask.iff --kind mask
"$trellis" convert image.pic image.dpx
"$trellis" convert image.pic mask.dpx --kind mask
"$trellis" convert image.pic image.cin
"$trellis" header image.dpx --set 'project=A film' > /dev/null
cp image.dpx wrong.png
head -c 3000 image.dpx > broken.dpx
echo "no picture" > none.iff

statements=
# A call of a plug-in takes GIMP a second, so few show much.
for file in cutout.pic mask.iff mask.dpx image.cin wrong.png; do
    statements+="(let ((image (open \"$file\"))) (export image \"out-${file/png/dpx}\")
        (say \"$file \" (car (gimp-image-get-precision image)) \" \" (car (gimp-image-base-type image))))"
done
for file in broken.dpx none.iff; do
    statements+="(catch (say \"refused $file\") (open \"$file\"))"
done
statements+='
    (export (car (file-trellis-load RUN-NONINTERACTIVE "image.dpx" "" 1)) "log.png")
    (say "thumbnail " (car (gimp-image-width (car (file-trellis-load-thumb "image.cin" 64)))))
    (let ((image (open "cutout.pic")))
      (file-trellis-pixar-save RUN-NONINTERACTIVE image (layer image) "dumped.pic" "" 0 0)
      (file-trellis-pixar-save RUN-NONINTERACTIVE image (layer image) "runs.any" "" 1 0)
      (file-trellis-dpx-save RUN-NONINTERACTIVE image (layer image) "matte.dpx" "" 0 1)
      (catch (say "refused nowhere") (export image "/nowhere/out.dpx"))
      (gimp-image-convert-indexed image 0 0 200 FALSE FALSE "")
      (export image "indexed.pic"))
    (let ((image (open "image.pic")))
      (gimp-image-convert-precision image PRECISION-FLOAT-GAMMA)
      (export image "float.pic"))'
"$gimp" -i -d -f -b "(begin $statements (say \"all is done\"))" -b '(gimp-quit 0)' > said 2>&1 ||
    complain "GIMP ends with $?"

# same EXPECTED FILE [OPTION...]
same() { "$trellis" compare "$@" > difference 2>&1 || complain "$2 is not $1: $(< difference)"; }
said() { grep -q -- "$1" said || complain "GIMP does not say: $1"; }

for file in cutout.pic mask.iff image.cin; do
    same "$file" "out-$file"
done
same mask.dpx out-mask.dpx --kind mask --tolerance 1  # as grey, which is weighed to be a mask again
same image.dpx out-wrong.dpx
same image.pic float.pic
same cutout.pic dumped.pic
same cutout.pic runs.any
same cutout.pic matte.dpx --kind cutout --tolerance 1
[[ $("$trellis" header out-wrong.dpx) == *'A film'* ]] || complain "the header is lost"
[[ $(stat -c %s dumped.pic) -gt $(stat -c %s runs.any) ]] || complain "dumps are no larger than runs"
[[ $("$trellis" info indexed.pic) == *cutout* ]] || complain "an indexed image loses its alpha"

# Precision 150 is 8 bits for a screen, 200 16 bits and linear; type 0 is colour, 1 grey.
said 'cutout.pic 150 0'
said 'mask.iff 150 1'
said 'image.cin 200 0'
said 'wrong.png 200 0'
said 'thumbnail 64'
said 'Read error in trellis: 39396 of 40348 bytes of the picture are missing'
said 'Unknown or unsupported format in trellis'
said 'Failed to open file in trellis: No such file or directory'
for what in broken.dpx none.iff nowhere; do
    said "refused $what"
done
said 'all is done'
if grep -iE 'fatal|segmentation|crash|trace' said; then
    complain "the plug-in has crashed"
fi
"$trellis" compare log.png image.dpx > /dev/null && complain "the log view changes nothing"
((failures == 0)) || sed 's/^/  | /' said
exit $((failures > 0))
