#!/usr/bin/env bash
# Builds FFmpeg as shared libraries into the cache, once per machine and recipe.
#
#   scripts/build-ffmpeg.sh            build it, unless it is there already; prints the installation's folder
#   scripts/build-ffmpeg.sh --anew     build it once more, from the source that is to be had today
#   scripts/build-ffmpeg.sh --where    print the folder and build nothing
#
# CODRELAY_FFMPEG=4.3 builds FFmpeg 4.3.7, the reference; 5.1 the release that Debian 12 keeps mended. Not set, it is 4.3,
# or 5.1 where the source of the former is not to be had any more. With system, the distribution's own, nothing is built.
# FFMPEG_TARBALL=FILE takes the source of 4.3.7 from FILE instead of from Debian.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

reference=4.3.7
reference_package=7:$reference-0+deb11u1
reference_sha256=177d074943251bec33e1f9bc5979378ff5771882482ba9b3aee2cb18dd400554

# --disable-autodetect keeps out whatever else this machine happens to have. The libraries carry these flags in them, so
# the prefix is none of this machine's.
configure_flags=(
    --prefix=/usr
    --disable-autodetect --enable-pthreads --enable-v4l2-m2m
    --enable-shared --disable-static --disable-programs --disable-doc --disable-debug
    --enable-version3 --enable-libopenh264 --enable-libmp3lame
    --enable-libopencore-amrnb --enable-libopencore-amrwb --enable-zlib
    # It reads strangers' files, hardened as the library is.
    --extra-cflags='-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2'
    --extra-ldflags='-Wl,-z,relro,-z,now'
)

cache=$(cache_root)

# What makes the build what it is; the name of its folder in the cache carries the sum.
recipe_hash() {
    printf '%s\n' "$1" "${configure_flags[@]}" "$(uname -m)" | sha256sum | cut -c1-12
}

prefix_of() {
    case $1 in
    4.3) echo "$cache/ffmpeg-$reference-$(recipe_hash "$reference_sha256")" ;;
    5.1) echo "$cache/ffmpeg-5.1-$(recipe_hash 5.1)" ;;
    esac
}

is_built() { [ -f "$(prefix_of "$1")/.finished" ]; }

# Asks Debian's source packages of some suites through apt, with lists and downloads of its own: the machine's set-up
# stays untouched.  apt_source FOLDER "SUITES" ARGUMENT...: 1 and apt's messages where they are not to be had.
apt_source() {
    local folder=$1 suites=$2 log=$1/apt.log address suite apt found=
    shift 2
    mkdir -p "$folder"/{lists/partial,cache/archives/partial}
    command -v apt-get >/dev/null || return 1
    apt=(apt-get -qq -o "Dir::Etc::SourceList=$folder/sources.list" -o Dir::Etc::SourceParts=-
        -o "Dir::State::Lists=$folder/lists" -o "Dir::Cache=$folder/cache" -o APT::Sandbox::User=root)
    # Without package lists the repository addresses are not told.
    [ -n "$(apt-get indextargets --format '$(REPO_URI)')" ] || apt-get update >&2 || true
    # Not every address has every suite.
    for address in $(apt-get indextargets --format '$(REPO_URI)' | sort -u); do
        for suite in $suites; do
            echo "deb-src $address $suite main" >"$folder/sources.list"
            "${apt[@]}" update >>"$log" 2>&1 && found+="deb-src $address $suite main"$'\n'
        done
    done
    printf '%s' "$found" >"$folder/sources.list"
    { "${apt[@]}" update && cd "$folder" && "${apt[@]}" source "$@"; } >>"$log" 2>&1 || { cat "$log" >&2 && return 1; }
}

# Each leaves the unpacked source in FOLDER/source, or returns 1 where it is not to be had.
unpack_reference() {
    local folder=$1 tarball=$1/ffmpeg_$reference.orig.tar.xz
    if [ -n "${FFMPEG_TARBALL:-}" ]; then
        cp "$FFMPEG_TARBALL" "$tarball" || die "FFMPEG_TARBALL names no file: $FFMPEG_TARBALL"
    else
        say "fetching FFmpeg $reference from Debian's source package"
        (apt_source "$folder" "bullseye bullseye-security" --download-only "ffmpeg=$reference_package") || return 1
    fi
    echo "$reference_sha256  $tarball" | sha256sum --check --quiet >&2 ||
        die "the FFmpeg tarball is not the one that this recipe was made for (SHA-256 differs)" \
            "name a good copy by FFMPEG_TARBALL=FILE"
    tar -xf "$tarball" -C "$folder" && mv "$folder/ffmpeg-$reference" "$folder/source"
}

# apt checks what it fetches, and lays Debian's mends over it.
unpack_maintained() {
    say "fetching FFmpeg 5.1 from Debian's source package"
    (apt_source "$1" "bookworm bookworm-security" ffmpeg) && mv "$1"/ffmpeg-5.1* "$1/source"
}

unpack() {
    case $1 in
    4.3) unpack_reference "$2" ;;
    5.1) unpack_maintained "$2" ;;
    esac
}

run_logged() {
    local log=$1
    shift
    "$@" >>"$log" 2>&1 && return 0
    printf '%s\n' "--- end of the log" >&2
    tail -n 30 "$log" >&2
    die "'$1' failed while building FFmpeg" "read the whole log, $log; scripts/setup.sh installs what the build needs"
}

# compile 4.3|5.1 WORK: builds WORK/source and puts it into the cache.
compile() {
    local prefix version work=$2 log=$cache/ffmpeg-$1-build.log
    prefix=$(prefix_of "$1")
    cd "$work/source"
    version=$(cat RELEASE)
    : >"$log"
    say "configuring FFmpeg $version"
    run_logged "$log" ./configure "${configure_flags[@]}"
    say "compiling FFmpeg $version (some minutes; log in $log)"
    # The libraries find each other wherever the folder is moved.
    export LD_RUN_PATH='$ORIGIN'
    run_logged "$log" make -j"$(nproc)"
    say "installing into $prefix"
    run_logged "$log" make install DESTDIR="$work/installed"
    printf '%s\n' "FFmpeg $version" "${configure_flags[@]}" >"$work/installed/usr/.finished"
    cd "$cache"
    rm -rf "$prefix"
    mv "$work/installed/usr" "$prefix"
}

no_source() {
    die "Debian's source package of FFmpeg $1 was not to be had" \
        "check the network and 'apt-get update', or name a copy of ffmpeg_$reference.orig.tar.xz by FFMPEG_TARBALL=FILE"
}

# Builds the generation, or, where none was chosen and its source is gone, the other one.
build() {
    local work
    command -v nasm >/dev/null || die "nasm is missing; FFmpeg without assembly is too slow to be of use" "scripts/setup.sh"
    # What an interrupted build left behind.
    rm -rf "$cache"/ffmpeg-work.*
    work=$(mktemp -d "$cache/ffmpeg-work.XXXXXX")
    # Runs when this function's variables are gone.
    trap 'rm -rf "$cache"/ffmpeg-work.*' EXIT
    if ! unpack "$generation" "$work"; then
        [ -z "$choice" ] && [ "$generation" = 4.3 ] || no_source "$generation"
        say "taking FFmpeg 5.1, since the source of FFmpeg $reference is not to be had: docs/generations.md tells what differs"
        generation=5.1
        [ -n "$anew" ] || ! is_built 5.1 || return 0
        unpack 5.1 "$work" || no_source 5.1
    fi
    compile "$generation" "$work"
}

choice=${CODRELAY_FFMPEG:-}
case $choice in
'') generation=4.3 ;;
4.3 | 5.1) generation=$choice ;;
system) exit 0 ;;
*) die "CODRELAY_FFMPEG names no FFmpeg that we know: $choice" "4.3, 5.1 or system" ;;
esac

anew=
case ${1:-} in
--where)
    # What was built in the place of the reference.
    [ -n "$choice" ] || is_built 4.3 || ! is_built 5.1 || generation=5.1
    ;;
'' | --anew)
    mkdir -p "$cache"
    anew=${1:-}
    if [ -n "$anew" ] || ! is_built "$generation"; then
        exec 9>"$cache/ffmpeg-build.lock"
        flock --nonblock 9 || { say "another build of FFmpeg is running; waiting for it" && flock 9; }
        # The one waited for may have made it.
        if [ -n "$anew" ] || ! is_built "$generation"; then build; fi
    fi
    ;;
*) die "unknown argument: $1" "scripts/build-ffmpeg.sh [--where|--anew]" ;;
esac
prefix_of "$generation"
