#!/usr/bin/env bash
# A host that would lay objects out in another way than the library does not compile, and is told what to do:
#   other_layout.sh FOLDER COMPILER
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

folder=$1
compiler=$2
boost=$(pkg-config --variable=boost_version codrelay)
read -ra cflags <<<"$(pkg-config --cflags codrelay)"
failed=0

complain() {
    printf '%s\n' "$*" >&2
    failed=1
}

# A Boost that is ours but for the version that it tells: boost_of VERSION prints its include folder.
boost_of() {
    local include=$folder/boost-$1/include
    mkdir -p "$include/boost"
    printf '#define BOOST_VERSION %d\n#define BOOST_LIB_VERSION "%s"\n' "$1" \
        "$(($1 / 100000))_$(($1 / 100 % 1000))" >"$include/boost/version.hpp"
    printf '%s\n' "$include"
}

compile() { "$compiler" -std=c++17 -fsyntax-only "$@" "${cflags[@]}"; }

# accepts WHAT FLAGS...
accepts() {
    local what=$1 said
    shift
    said=$(compile "$@" 2>&1) || complain "$compiler refuses $what:"$'\n'"$said"
}

# refuses WHAT MESSAGE FLAGS...
refuses() {
    local what=$1 message=$2 said
    shift 2
    if said=$(compile "$@" 2>&1); then
        complain "$compiler takes $what"
    elif ! grep -qF "$message" <<<"$said"; then
        complain "$compiler refuses $what without saying \"$message\":"$'\n'"$said"
    fi
}

[[ $boost =~ ^[0-9]+\.[0-9]+$ ]] || { echo "codrelay.pc tells no version of Boost, but '$boost'" >&2; exit 1; }
number=$((${boost%.*} * 100000 + ${boost#*.} * 100))
older=$(boost_of $((number - 100)))
newer=$(boost_of $((number + 700)))
patched=$(boost_of $((number + 1)))

# What holds no container of Boost's does not depend on its version.
without_boost='#include <codrelay/audio_decoder.h>
#include <codrelay/utils/strings.h>
#include <codrelay/utils/time.h>
#include <uvqlog/control.h>'

accepts "a host with a mended Boost $boost" -isystem "$patched" host.cpp
refuses "a host with another Boost" "Codrelay was built with Boost $boost" -isystem "$newer" host.cpp
for other in "$older" "$newer"; do
    refuses "frame_buffer.h with another Boost" "compile with that Boost, or build Codrelay with yours" \
        -isystem "$other" -x c++ - <<<"#include <codrelay/frame_buffer.h>"
    accepts "headers without Boost's containers with another Boost" -isystem "$other" -x c++ - <<<"$without_boost"
done
for header in library.h ffmpeg_layer.h utils/strings.h; do
    refuses "$header with debug containers" "compile without _GLIBCXX_DEBUG" \
        -D_GLIBCXX_DEBUG -x c++ - <<<"#include <codrelay/$header>"
done
accepts "a host with the checks that change no layout" -D_GLIBCXX_ASSERTIONS host.cpp
exit "$failed"
