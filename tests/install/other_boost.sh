#!/usr/bin/env bash
# CMake finds the library with the Boost of its build, and not with another:  other_boost.sh FOLDER PREFIX
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

folder=$1
prefix=$2
boost=$(pkg-config --variable=boost_version codrelay)

mkdir -p "$folder/boost/include/boost"
touch "$folder/boost/include/boost/config.hpp"
printf '#define BOOST_VERSION 199900\n#define BOOST_LIB_VERSION "1_999"\n' >"$folder/boost/include/boost/version.hpp"

# configure FOLDER OPTIONS... a project that asks for the library alone.
configure() {
    local build=$folder/$1
    shift
    rm -rf "$build"
    cmake -S find_package -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "$@" 2>&1
}

if said=$(configure other -DBoost_NO_BOOST_CMAKE=ON -DBoost_NO_SYSTEM_PATHS=ON -DBOOST_ROOT="$folder/boost"); then
    echo "CMake takes the library with another Boost" >&2
    exit 1
fi
# CMake breaks its lines where it likes.
tr -s ' \n' ' ' <<<"$said" | grep -qE "required is exact version \"$boost\.[0-9]+\"" || {
    printf 'CMake does not tell which Boost it wants:\n%s\n' "$said" >&2
    exit 1
}
configure same -DBoost_NO_BOOST_CMAKE=ON >/dev/null
