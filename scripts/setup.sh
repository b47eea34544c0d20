#!/usr/bin/env bash
# Makes this machine ready: installs what is missing from Debian and builds FFmpeg once. Safe to run at any time.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(
    # to build
    cmake ninja-build g++ make pkg-config nasm xz-utils libboost-dev libopus-dev libspdlog-dev libopenh264-dev
    libmp3lame-dev libopencore-amrnb-dev libopencore-amrwb-dev zlib1g-dev
    # the command
    libcli11-dev libpng-dev libssl-dev
    # tests, benchmarks and checks
    libgtest-dev libgmock-dev libbenchmark-dev gcovr valgrind locales tzdata clang-14 libclang-rt-14-dev llvm-14
    clang-format-14 clang-tidy-14 cppcheck opus-tools libvo-amrwbenc-dev ffmpeg doxygen parallel
    # the page of the benchmarks
    jq gnuplot-nox
    # the install tests (Debian's own FFmpeg beside ours), the description of the binary interface, the package
    libavcodec-dev libavutil-dev abigail-tools dpkg-dev debootstrap
)

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
    apt -q update || die "'apt-get update' failed" "check the network and the package sources"
    apt -qy --no-install-recommends install "${missing[@]}" ||
        die "'apt-get install' failed" "read its messages above, mend the cause, and run scripts/setup.sh again"
fi

"$(project_root)/scripts/build-ffmpeg.sh" >/dev/null
