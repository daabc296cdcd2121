#!/usr/bin/env bash
# The examples at the end of each command's help work, one after the other, and every command has
# some. Shells that are installed accept their completions.
#   check_examples.sh TOOL WORK_DIR
set -euo pipefail

tool=$1 work=$2
rm -rf "$work"
mkdir -p "$work/bin" "$work/files/proxies"
ln -s "$(realpath "$tool")" "$work/bin/trellis"
export PATH=$work/bin:$PATH
cd "$work/files"

# What the examples speak of.
trellis chart --size 64x48 texture.pic
for name in scan copy shot.1001 shot.1002 shot.1003 shot.1004; do
    trellis convert texture.pic "$name.dpx"
    trellis header "$name.dpx" --set "rights=$name" >/dev/null
done
trellis convert scan.dpx scan.cin
trellis convert scan.dpx scan8.png --depth 8

mapfile -t commands < <(trellis --help | sed -n '/^Subcommands:/,$p' | sed -n 's/^  \([a-z]*\)  .*/\1/p')
((${#commands[@]} > 10))
for command in "${commands[@]}"; do
    mapfile -t examples < <(trellis "$command" --help | sed -n '/^Examples:/,$p' | grep '^ *trellis ')
    ((${#examples[@]} > 0)) || { echo "trellis $command --help has no examples" && exit 1; }
    for example in "${examples[@]}"; do
        rm -f chart.pic chart.dpx scan.png small.png
        # A reel of four copies of one picture has findings, which is what check is for.
        bash -c "$example" >output 2>&1 </dev/null || [[ $command == check ]] || {
            echo "$example: exit status $?" && cat output && exit 1
        }
    done
done

trellis completion bash | bash -n
trellis completion bash | grep -q -- --resume
for shell in zsh fish; do
    trellis completion "$shell" >script
    grep -q 'resume' script
    ! command -v "$shell" >/dev/null || "$shell" -n script
done
# What bash offers after "trellis con" and "trellis convert --compress ".
offered() {
    bash -c 'source <(trellis completion bash); COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _trellis
        echo "${COMPREPLY[@]}"' bash "$@"
}
[[ $(offered trellis con) == convert ]]
[[ $(offered trellis convert --compress '') == 'on off' ]]
[[ $(offered trellis info --js) == --json ]]
