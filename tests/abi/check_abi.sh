#!/usr/bin/env bash
# Types, arguments and records of the exported functions are those that compiled hosts know: the
# library is compared with the recorded interface.
#   check_abi.sh LIBRARY HEADERS RECORD [--update]
set -euo pipefail

library=$1 headers=$2 record=$3
kept=(--exported-interfaces-only --drop-private-types)

if [[ ${4:-} == --update ]]; then
    abidw "${kept[@]}" --headers-dir "$headers" --no-corpus-path --no-comp-dir-path --no-show-locs \
        --type-id-style hash "$library" >"$record"
    exit
fi
abidiff "${kept[@]}" --headers-dir2 "$headers" "$record" "$library" || {
    cat <<END

The interface that compiled hosts rely on has changed.
- A removed or changed function, argument or record breaks them: take the change back, or give the
  new form a new name beside the old one.
- An added function is fine. Record it, and name it in tests/abi/exports.txt and in
  packaging/debian/libtrellis8.symbols:
    $0 $1 $2 $3 --update
END
    exit 1
}
