#!/usr/bin/env bash
# Makes this machine ready: installs what is missing from Debian and builds FFmpeg once. Safe to run at any time.
# With CODRELAY_FFMPEG=system it installs Debian's own FFmpeg and builds none.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(
    # to build
    cmake ninja-build g++ pkg-config libboost-dev libopus-dev libspdlog-dev
    # the command
    libcli11-dev libpng-dev libssl-dev
    # tests, benchmarks and checks
    libgtest-dev libgmock-dev libbenchmark-dev gcovr valgrind locales tzdata clang-14 libclang-rt-14-dev llvm-14
    clang-format-14 clang-tidy-14 cppcheck opus-tools ffmpeg doxygen parallel
    libopencore-amrnb-dev libopencore-amrwb-dev libvo-amrwbenc-dev
    # the page of the benchmarks
    jq gnuplot-nox
    # the install tests (Debian's own FFmpeg beside ours), the description of the binary interface, the package
    libavcodec-dev libavutil-dev abigail-tools dpkg-dev debootstrap
)
if [ "${CODRELAY_FFMPEG:-}" = system ]; then
    # the extra one has the decoders of AMR
    packages+=(libavformat-dev libavfilter-dev libswscale-dev libswresample-dev libavcodec-extra)
else
    packages+=(make nasm xz-utils libopenh264-dev libmp3lame-dev zlib1g-dev)
fi

missing_packages() {
    local installed
    installed=$(dpkg-query --show --showformat '${db:Status-Status} ${Package}\n' 2>/dev/null | sed -n 's/^installed //p')
    comm -23 <(printf '%s\n' "${packages[@]}" | sort -u) <(sort -u <<<"$installed")
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        command -v sudo >/dev/null || die "installing packages needs root, and there is no sudo" \
            "run as root: apt-get install ${missing[*]}"
        sudo "$@"
    fi
}

apt() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 "$@" </dev/null >&2; }

command -v dpkg-query >/dev/null || die "this is not a Debian system" "see CONTRIBUTING.md for what to install by hand"

mapfile -t missing < <(missing_packages)
if [ ${#missing[@]} -gt 0 ]; then
    say "installing from Debian: ${missing[*]}"
    # One source that is stale or away fails the update, and need not be the one that has the packages.
    failed=
    apt -q update || failed="'apt-get update' failed, and then "
    apt -qy --no-install-recommends install "${missing[@]}" ||
        die "${failed}'apt-get install' failed" "read the messages above, mend the cause, and run scripts/setup.sh again"
fi

"$(project_root)/scripts/build-ffmpeg.sh" >/dev/null
