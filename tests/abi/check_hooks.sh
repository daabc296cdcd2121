#!/usr/bin/env bash
# Hosts replace the progress hook and the escape test by exporting their own. That must work however
# the library is compiled: this builds it with both compilers at two optimisation levels, at all of
# them where TRELLIS_LONG_TESTS is set, with the project's own flags, and runs a host against each.
#   check_hooks.sh SOURCE_DIR WORK_DIR
set -euo pipefail

source_dir=$1
work_dir=$2
mkdir -p "$work_dir"

flags=(-std=c++20 -fPIC -fvisibility=hidden -fvisibility-inlines-hidden -ffp-contract=off
    -fsemantic-interposition -fno-lto -fno-exceptions -DNDEBUG
    "-I$source_dir/include" "-I$source_dir/src")

check() {
    local compiler=$1
    local -a level
    read -ra level <<<"$2"
    local dir=$work_dir/$compiler${2// /}
    rm -rf "$dir"
    mkdir -p "$dir"
    # shellcheck disable=SC2046
    "$compiler" "${level[@]}" "${flags[@]}" -shared -Wl,--no-undefined -o "$dir/libtrellis.so" \
        $(find "$source_dir/src" -name '*.cpp')
    "$compiler" -std=c++20 "${level[@]}" -rdynamic "-I$source_dir/include" \
        "$source_dir/tests/abi/hook_host.cpp" -o "$dir/host" "-L$dir" -ltrellis "-Wl,-rpath,$dir"
    "$dir/host" "$dir/picture"
    echo "$compiler ${level[*]}: the host's hooks are called"
}

levels=(-O0 -O2)
[[ -z ${TRELLIS_LONG_TESTS:-} ]] || levels=(-O0 -O1 -O2 -O3 -Os)
for level in "${levels[@]}"; do
    check g++ "$level" &
    with_gcc=$!
    check clang++ "$level"
    wait "$with_gcc"
done

# Also where whoever builds it asks for link-time optimisation.
check g++ "-O2 -flto"
