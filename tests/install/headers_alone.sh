#!/usr/bin/env bash
# Compiles every installed header as the only one of its program:  headers_alone.sh COMPILER FLAGS
set -euo pipefail

compiler=$1
read -ra flags <<<"$2"
include=$(pkg-config --variable=includedir codrelay)
read -ra cflags <<<"$(pkg-config --cflags codrelay)"

compile() {
    local ffmpeg=()
    # The only one that wants FFmpeg's headers.
    [ "$1" != codrelay/ffmpeg_vocabulary.h ] || ffmpeg=(-isystem "$(pkg-config --variable=ffmpeg_includedir codrelay)")
    "$compiler" -std=c++17 -fsyntax-only "${flags[@]}" "${cflags[@]}" "${ffmpeg[@]}" -x c++ - <<<"#include <$1>" || {
        echo "<$1> does not compile alone with $compiler" >&2
        return 1
    }
}

failed=0 count=0
while read -r header; do
    compile "$header" || failed=1
    count=$((count + 1))
done < <(cd "$include" && find codrelay uvqlog -name '*.h' -not -path 'codrelay/ffmpeg/*' | sort)

[ "$count" -gt 0 ] || { echo "no header below $include" >&2; exit 1; }
echo "$count headers"
exit "$failed"
