#!/usr/bin/env bash
# Builds FFmpeg 4.3.7 as shared libraries into the cache, once per machine and recipe.
#
#   scripts/build-ffmpeg.sh            build it, unless it is there already; prints the installation's folder
#   scripts/build-ffmpeg.sh --where    print the folder and build nothing
#
# FFMPEG_TARBALL=FILE takes the source from FILE instead of from Debian.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

scripts=$(project_root)/scripts
version=4.3.7
debian_version=7:$version-0+deb11u1
debian_suite=bullseye
tarball_sha256=177d074943251bec33e1f9bc5979378ff5771882482ba9b3aee2cb18dd400554

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

# What makes the build what it is; the name of its folder in the cache carries the sum.
recipe_hash() {
    printf '%s\n' "$tarball_sha256" "${configure_flags[@]}" "$("$scripts/rename-formats.sh" --list)" "$(uname -m)" |
        sha256sum | cut -c1-12
}

cache=$(cache_root)
prefix=$cache/ffmpeg-$version-$(recipe_hash)
stamp=$prefix/.finished

# Debian's older suite, asked through apt with lists and downloads of its own: the machine's set-up stays untouched.
download_from_debian() {
    local folder=$1 address apt
    mkdir -p "$folder"/{lists/partial,cache/archives/partial}
    command -v apt-get >/dev/null || return 1
    # Without package lists the repository addresses are not told.
    [ -n "$(apt-get indextargets --format '$(REPO_URI)')" ] || apt-get update >&2 || true
    for address in $(apt-get indextargets --format '$(REPO_URI)' | sort -u); do
        say "asking $debian_suite at the configured package repository"
        echo "deb-src $address $debian_suite main" >"$folder/sources.list"
        apt=(apt-get -qq -o "Dir::Etc::SourceList=$folder/sources.list" -o Dir::Etc::SourceParts=-
            -o "Dir::State::Lists=$folder/lists" -o "Dir::Cache=$folder/cache" -o APT::Sandbox::User=root)
        "${apt[@]}" update >&2 || continue
        (cd "$folder" && "${apt[@]}" source --download-only "ffmpeg=$debian_version" >&2) && return 0
    done
    return 1
}

fetch_tarball() {
    local folder=$1 tarball=$1/ffmpeg_$version.orig.tar.xz
    if [ -n "${FFMPEG_TARBALL:-}" ]; then
        [ -f "$FFMPEG_TARBALL" ] || die "FFMPEG_TARBALL names no file: $FFMPEG_TARBALL"
        cp "$FFMPEG_TARBALL" "$tarball"
    else
        say "fetching FFmpeg $version from Debian's source package"
        download_from_debian "$folder" || die "Debian's source package ffmpeg $debian_version was not to be had" \
            "check the network and 'apt-get update', or name a copy of ffmpeg_$version.orig.tar.xz by FFMPEG_TARBALL=FILE"
    fi
    echo "$tarball_sha256  $tarball" | sha256sum --check --quiet >&2 ||
        die "the FFmpeg tarball is not the one that this recipe was made for (SHA-256 differs)" \
            "name a good copy by FFMPEG_TARBALL=FILE"
    printf '%s\n' "$tarball"
}

run_logged() {
    local log=$1
    shift
    "$@" >>"$log" 2>&1 && return 0
    printf '%s\n' "--- end of the log" >&2
    tail -n 30 "$log" >&2
    die "'$1' failed while building FFmpeg" "read the whole log, $log; scripts/setup.sh installs what the build needs"
}

build() {
    local work log=$cache/ffmpeg-$version-build.log
    command -v nasm >/dev/null || die "nasm is missing; FFmpeg without assembly is too slow to be of use" "scripts/setup.sh"
    # What an interrupted build left behind.
    rm -rf "$cache"/ffmpeg-build.* "$prefix"
    work=$(mktemp -d "$cache/ffmpeg-build.XXXXXX")
    # Runs when this function's variables are gone.
    trap 'rm -rf "$cache"/ffmpeg-build.*' EXIT
    : >"$log"
    local tarball
    tarball=$(fetch_tarball "$work")
    say "unpacking"
    tar -xf "$tarball" -C "$work"
    cd "$work/ffmpeg-$version"
    "$scripts/rename-formats.sh" .
    say "configuring FFmpeg $version"
    run_logged "$log" ./configure "${configure_flags[@]}"
    say "compiling FFmpeg $version (some minutes; log in $log)"
    # The libraries find each other wherever the folder is moved.
    export LD_RUN_PATH='$ORIGIN'
    run_logged "$log" make -j"$(nproc)"
    say "installing into $prefix"
    run_logged "$log" make install DESTDIR="$work/installed"
    cd "$cache"
    mv "$work/installed/usr" "$prefix"
    printf '%s\n' "${configure_flags[@]}" >"$stamp"
}

case ${1:-} in
--where) ;;
'')
    mkdir -p "$cache"
    if [ ! -f "$stamp" ]; then
        exec 9>"$cache/ffmpeg-build.lock"
        flock --nonblock 9 || { say "another build of FFmpeg is running; waiting for it" && flock 9; }
        # The one waited for may have made it.
        [ -f "$stamp" ] || build
    fi
    ;;
*) die "unknown argument: $1" "scripts/build-ffmpeg.sh [--where]" ;;
esac
printf '%s\n' "$prefix"
