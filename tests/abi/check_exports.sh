#!/usr/bin/env bash
# The shared library exports exactly the names in exports.txt and needs only the C and C++ runtimes.
#   check_exports.sh LIBRARY EXPORTS
set -euo pipefail

exported=$(nm -D --defined-only "$1" | awk '{ print $3 }' | LC_ALL=C sort)
wanted=$(grep -v '^#' "$2" | tr ' ' '\n' | LC_ALL=C sort)
diff <(echo "$exported") <(echo "$wanted") || {
    echo "The exported names (left) are not those of $2 (right)."
    exit 1
}

needed=$(objdump -p "$1" | awk '$1 == "NEEDED" { print $2 }')
for library in $needed; do
    case $library in
        libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.* | ld-linux*) ;;
        *)
            echo "The library needs $library."
            exit 1
            ;;
    esac
done
objdump -p "$1" | grep -q 'SONAME *libtrellis.so.8$' || {
    echo "The SONAME is not libtrellis.so.8."
    exit 1
}
