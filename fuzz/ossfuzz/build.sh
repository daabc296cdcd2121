#!/bin/bash -eu
# Builds the fuzz targets as OSS-Fuzz wants them: its compilers and flags ($CC, $CXX, $CFLAGS,
# $CXXFLAGS, $LIB_FUZZING_ENGINE), and programs, seeds and dictionaries in $OUT. Tried at home with
#   CC=clang CXX=clang++ LIB_FUZZING_ENGINE=-fsanitize=fuzzer OUT=build/ossfuzz fuzz/ossfuzz/build.sh
#   CFLAGS and CXXFLAGS = -O1 -g -fsanitize=address,fuzzer-no-link

cd "$(dirname -- "${BASH_SOURCE[0]}")/../.."
mkdir -p "$OUT"
out=$(realpath "$OUT")

cmake -S . -B build/ossfuzz-tree -G Ninja -DCMAKE_BUILD_TYPE=None -DBUILD_SHARED_LIBS=OFF \
    -DTRELLIS_BUILD_TOOL=OFF -DTRELLIS_BUILD_FUZZ=ON "-DTRELLIS_FUZZING_ENGINE=$LIB_FUZZING_ENGINE"
cmake --build build/ossfuzz-tree
for program in build/ossfuzz-tree/fuzz/fuzz_*; do
    [[ -f $program && -x $program ]] || continue
    target=${program##*/fuzz_}
    cp "$program" "$out/"
    (cd "fuzz/seeds/$target" && python3 -m zipfile -c "$out/fuzz_${target}_seed_corpus.zip" ./*)
    if [[ -f fuzz/dictionaries/$target.dict ]]; then
        cp "fuzz/dictionaries/$target.dict" "$out/fuzz_$target.dict"
    fi
done
