#!/usr/bin/env bash
# Installs the libraries into an empty prefix and builds the examples against them, through
# pkg-config and through the CMake package, after moving the prefix to another place.
#   check_install.sh BUILD_DIR EXAMPLES_DIR WORK_DIR
set -euo pipefail

build_dir=$1
examples=$2
work_dir=$3

rm -rf "$work_dir"
mkdir -p "$work_dir"
for component in runtime development tools; do
    cmake --install "$build_dir" --prefix "$work_dir/first" --component "$component" > /dev/null
done
mv "$work_dir/first" "$work_dir/prefix"
prefix=$work_dir/prefix

# Every file that users get; the library directory and the build type have no say in the list.
diff <(cd "$prefix" && find . -type f -o -type l |
    sed -e 's,lib/[a-z0-9_]*-linux-gnu,lib,' -e 's,targets-[a-z]*.cmake,targets-TYPE.cmake,' |
    LC_ALL=C sort) "$(dirname "$0")/installed_files.txt"

pkg_config_dir=$(dirname "$(find "$prefix" -name trellis.pc)")
lib_dir=$(dirname "$pkg_config_dir")
export PKG_CONFIG_PATH=$pkg_config_dir
export LD_LIBRARY_PATH=$lib_dir
# shellcheck disable=SC2046
cc -std=c11 -Wall -Wextra -Wpedantic -Werror "$examples/cutout.c" -o "$work_dir/with-pkg-config" \
    $(pkg-config --cflags --libs trellis)
"$work_dir/with-pkg-config" "$work_dir/a.pic"

cmake -G Ninja -S "$examples" -B "$work_dir/package" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$work_dir/package" > /dev/null
"$work_dir/package/cutout" "$work_dir/b.pic"

cmp "$work_dir/a.pic" "$work_dir/b.pic"
"$work_dir/package/buffers" "$work_dir/c.pic" "$work_dir/c.iff"

# The C++ example, with an exposure that changes nothing, carries a picture through two formats.
# shellcheck disable=SC2046
c++ -std=c++20 -Wall -Wextra -Wpedantic -Werror "$examples/exposure.cpp" \
    -o "$work_dir/exposure" $(pkg-config --cflags --libs trellis-host)
"$work_dir/exposure" "$work_dir/a.pic" "$work_dir/a.dpx" 0
"$work_dir/package/exposure" "$work_dir/a.dpx" "$work_dir/b.png" 0
test "$("$work_dir/exposure" "$work_dir/none.pic" "$work_dir/x.png" 0 2>&1)" = \
    "$work_dir/none.pic: Failed to open file in trellis: No such file or directory (code 6)"
if [ -x "$prefix/bin/trellis" ]; then
    "$prefix/bin/trellis" compare --kind image "$work_dir/a.pic" "$work_dir/b.png"
fi
if [ -x "$prefix/bin/trellis" ]; then
    env -u LD_LIBRARY_PATH "$prefix/bin/trellis" --version
fi
