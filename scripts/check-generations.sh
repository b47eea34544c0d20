#!/usr/bin/env bash
# Builds the library on the FFmpeg of the next Debian, in a bare Debian of its own, and runs the tests there.
#
#   scripts/check-generations.sh           needs root, for debootstrap and chroot, and half an hour
#
# The bare Debian is kept in the cache with its packages and its build, for the next time. At the end stands how many
# tests passed, and which failed and which were skipped; a failed one fails the script.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Debian 13, whose FFmpeg is 7.1.
suite=trixie
packages=(
    # to build
    ca-certificates cmake ninja-build g++ pkg-config libboost-dev libopus-dev libspdlog-dev
    libavcodec-dev libavfilter-dev libavformat-dev libavutil-dev libswresample-dev libswscale-dev libavcodec-extra
    # the command
    libcli11-dev libpng-dev libssl-dev
    # tests
    libgtest-dev libgmock-dev locales tzdata valgrind clang ffmpeg opus-tools libvo-amrwbenc-dev parallel
)
# The warnings of the presets; for the tests a little optimisation is enough.
flags="-O1 -g0 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror"

# Where apt has its packages from, as it was told on this machine.
addresses() {
    # Without package lists the repository addresses are not told.
    [ -n "$(apt-get indextargets --format '$(REPO_URI)')" ] || apt-get update >&2 || true
    apt-get indextargets --format '$(REPO_URI)' | sort -u
}

make_bare_debian() {
    local address
    [ ! -f "$debian/.finished" ] || return 0
    say "making a bare Debian $suite in $debian (once)"
    rm -rf "$debian"
    mkdir -p "$(dirname "$debian")"
    for address in $(addresses); do
        if debootstrap --variant=minbase "$suite" "$debian.part" "$address" >"$work/log" 2>&1; then
            mv "$debian.part" "$debian"
            touch "$debian/.finished"
            return 0
        fi
        rm -rf "$debian.part"
    done
    die "debootstrap has no $suite: $(tail -n 3 "$work/log")" "check the network and the package sources of apt"
}

# The mounts are seen by the command alone and go with it, however it ends. The checkout cannot be written to; real media
# files, where there are any, lie beside it as here.
inside() {
    unshare --mount sh -ec '
        debian=$0 root=$1 media=$2
        shift 2
        mkdir -p "$debian/codrelay" "$debian/shared/media"
        mount -t proc proc "$debian/proc"
        mount --rbind /dev "$debian/dev"
        mount --bind "$root" "$debian/codrelay"
        mount -o remount,bind,ro "$debian/codrelay"
        [ ! -d "$media" ] || mount --bind -o ro "$media" "$debian/shared/media"
        exec chroot "$debian" "$@"' "$debian" "$PWD" "${CODRELAY_MEDIA_DIR:-$PWD/../shared/media}" \
        env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

logged() {
    local what=$1
    shift
    "$@" >"$work/log" 2>&1 </dev/null || die "$what failed: $(tail -n 30 "$work/log")" "read the messages above"
}

# Releases and their security updates come from different addresses.
choose_sources() {
    local address name list=$debian/etc/apt/sources.list found=
    cp /etc/resolv.conf "$debian/etc/resolv.conf"
    for address in $(addresses); do
        for name in "$suite" "$suite-updates" "$suite-security"; do
            echo "deb $address $name main" >"$list"
            if inside apt-get -qq update >"$work/log" 2>&1; then
                found+="deb $address $name main"$'\n'
            fi
        done
    done
    [ -n "$found" ] || die "apt has no $suite: $(tail -n 3 "$work/log")" "check the network"
    printf '%s' "$found" >"$list"
}

install_packages() {
    say "installing what the build wants"
    choose_sources
    logged "'apt-get update'" inside apt-get -q update
    logged "'apt-get install'" inside apt-get -qy --no-install-recommends install "${packages[@]}"
    logged "'apt-get upgrade'" inside apt-get -qy upgrade
    say "$(inside ffmpeg -version | sed 1q)"
}

build() {
    say "building"
    inside cmake -S /codrelay -B /var/build -G Ninja -DCODRELAY_FFMPEG=system -DCODRELAY_BUILD_TESTS=ON \
        -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags" >"$work/log" ||
        die "it cannot be configured" "see above"
    # The compiler's own words are the best to read.
    inside cmake --build /var/build >"$work/log" ||
        die "it does not build: $(grep -E 'error:|FAILED:' "$work/log")" "see above"
}

run_tests() {
    say "running the tests"
    inside ctest --test-dir /var/build --parallel "$(nproc)" --output-on-failure >"$work/tests" 2>&1 || true
    cp "$work/tests" "$(cache_root)/debian-$suite-tests.log"
    sed -n '/tests passed/,$p' "$work/tests"
    say "the whole log is $(cache_root)/debian-$suite-tests.log"
    grep -q '^100% tests passed' "$work/tests" || die "not all tests passed" "docs/generations.md tells which differ, and why"
}

[ "$(id -u)" = 0 ] || die "debootstrap and chroot need root" "sudo scripts/check-generations.sh"
command -v debootstrap >/dev/null || die "debootstrap is missing" "scripts/setup.sh"
cd "$(project_root)"
debian=$(cache_root)/debian-$suite
work=$(mktemp -d)
trap 'rm -rf "$work" "$debian.part"' EXIT
make_bare_debian
install_packages
build
run_tests
