#!/usr/bin/env bash
# Makes the Debian package, installs it in a clean Debian of its own, runs the command there, and compiles and runs a host.
#
#   scripts/check-package.sh           needs root, for debootstrap and chroot, and some minutes
#
# The package is left in build/package. The bare Debian is kept in the cache for the next time. CODRELAY_FFMPEG=system
# makes the package that uses the distribution's own FFmpeg.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ "$(id -u)" = 0 ] || die "debootstrap and chroot need root" "sudo scripts/check-package.sh"
cd "$(project_root)"
scripts/setup.sh

make_package() {
    say "building the preset 'package'"
    cmake --preset package >/dev/null
    cmake --build --preset package
    rm -f build/package/codrelay_*.deb
    cpack --preset package >/dev/null
    package=$(echo "$PWD"/build/package/codrelay_*_"$(dpkg --print-architecture)".deb)
    [ -f "$package" ] || die "cpack made no package" "cpack --preset package, which tells more"
}

# What a file list shows: headers, links and the rest in Debian's places, and only there.
check_contents() {
    local libdir=./usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH) listed path
    listed=$(dpkg-deb --contents "$package" | awk '{ print $6 }')
    for path in ./usr/bin/codrelay "$libdir"/libcodrelay.so{,.1} "$libdir"/libUvqLog.so{,.1} \
        "$libdir"/cmake/Codrelay/CodrelayConfig.cmake \
        "$libdir"/pkgconfig/{codrelay,uvqlog}.pc ./usr/include/codrelay/{codrelay,build_record}.h ./usr/include/uvqlog/uvqlog.h \
        ./usr/share/man/man1/codrelay.1 ./usr/share/doc/codrelay/copyright \
        ./usr/share/doc/codrelay/examples/decode_file.cpp; do
        grep -qxF "$path" <<<"$listed" || die "the package lacks $path" "dpkg-deb --contents $package"
    done
    if [ "${CODRELAY_FFMPEG:-}" = system ]; then
        ! grep -q '/libavcodec\.so' <<<"$listed" || die "the package holds an FFmpeg" "dpkg-deb --contents $package"
    else
        grep -q "^$libdir/codrelay/libavcodec\.so\.[0-9]*$" <<<"$listed" ||
            die "the package lacks its FFmpeg" "dpkg-deb --contents $package"
    fi
}

# A Debian of the same release as this machine's, with the least that there is.
make_bare_debian() {
    local mirror
    bare=$(cache_root)/debian-$VERSION_CODENAME.tar
    [ ! -f "$bare" ] || return 0
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $VERSION_CODENAME" | sort -u | head -n 1)
    [ -n "$mirror" ] || die "apt has no package source of $VERSION_CODENAME" "apt-get update"
    say "making a bare Debian $VERSION_CODENAME (once)"
    debootstrap --variant=minbase "$VERSION_CODENAME" "$work/bare" "$mirror" >"$work/log" ||
        die "debootstrap failed: $(tail -n 3 "$work/log")" "check the network and the package sources"
    tar -C "$work/bare" -cf "$bare.part" .
    mv "$bare.part" "$bare"
    rm -rf "$work/bare"
}

# The mount is seen by the command alone and goes with it; $ORIGIN in a program's RUNPATH is found through /proc.
inside() {
    unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$work/debian" \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"
}

install_inside() {
    say "installing $(basename "$package") in it"
    mkdir "$work/debian"
    tar -C "$work/debian" -xf "$bare"
    cp "$package" "$work/debian/codrelay.deb"
    cp /etc/resolv.conf "$work/debian/etc/resolv.conf"
    inside apt-get -qq update
    inside apt-get -qy --no-install-recommends install /codrelay.deb >"$work/log" 2>&1 ||
        die "the package cannot be installed: $(tail -n 5 "$work/log")" "look at its dependencies: dpkg-deb --info $package"
}

run_inside() {
    say "running the command in it"
    ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=320x240:r=25:d=1 -c:v libx264 -bf 0 -pix_fmt yuv420p \
        "$work/debian/clip.mp4"
    inside codrelay info
    inside codrelay decode /clip.mp4 --hashes | tee "$work/hashes"
    [ "$(grep -c '320' "$work/hashes")" -ge 25 ] || die "the command did not decode 25 pictures" "see above"
}

# With a compiler and nothing else: what a host includes comes with the package.
build_a_host_inside() {
    say "compiling and running a host in it"
    cp tests/install/host.cpp "$work/debian/host.cpp"
    inside apt-get -qy --no-install-recommends install g++ pkg-config >"$work/log" 2>&1 ||
        die "there is no compiler to be had: $(tail -n 5 "$work/log")" "check the network"
    inside sh -c 'g++ -std=c++17 host.cpp -o host $(pkg-config --cflags --libs codrelay)' ||
        die "a host does not compile with the package" "see above"
    [ "$(inside /host /clip.mp4)" = "a picture of 320 x 240" ] || die "the host does not run with the package" "see above"
}

# Gone without a trace.
purge_inside() {
    inside apt-get -qy purge codrelay >"$work/log" 2>&1 || die "the package cannot be removed: $(tail -n 5 "$work/log")"
    [ -z "$(find "$work/debian/usr" -iname '*codrelay*' -o -name 'libUvqLog*')" ] || die "the package left files behind"
}

source /etc/os-release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
make_package
check_contents
make_bare_debian
install_inside
run_inside
build_a_host_inside
purge_inside
say "the package is good: $package"
