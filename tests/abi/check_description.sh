#!/usr/bin/env bash
# Compares a shared library with the description of its binary interface in the tree: slots, records, functions.
#
#   check_description.sh LIBRARY DESCRIPTION            fails, and says what is new, gone or another, where they differ
#   check_description.sh LIBRARY DESCRIPTION --renew    writes the description; CONTRIBUTING.md tells when that is right
#
# The library has to be built with full debug information (the preset "dev").
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
library=$(realpath "$1")
description=$2

describe() {
    abidw --headers-dir "$root/include" --drop-private-types --suppressions "$here/public_types.suppr" \
        --exported-interfaces-only --drop-undefined-syms --no-parameter-names --no-show-locs \
        --no-corpus-path --no-comp-dir-path --no-elf-needed "$library" | sed -e 's/^ *//' -e "s|path='$root/|path='|"
}

if [ "${3:-}" = --renew ]; then
    describe >"$description"
    exit 0
fi

now=$(mktemp --suffix=.abi)
trap 'rm -f "$now"' EXIT
describe >"$now"
# Without debug information there would be no types to differ.
grep -q '<class-decl' "$now" || { echo "$library has no debug information" >&2; exit 1; }
abidiff --harmless "$description" "$now" || {
    echo "The binary interface is not that of $(basename "$description"). Hosts that are built already rely on it." >&2
    exit 1
}
