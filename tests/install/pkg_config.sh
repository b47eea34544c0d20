#!/usr/bin/env bash
# Builds the host with nothing but g++ and pkg-config, and runs it:  pkg_config.sh FOLDER CLIP
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

folder=$1
clip=$2
mkdir -p "$folder"

# Word splitting is what pkg-config's output is made for.
# shellcheck disable=SC2046
g++ -std=c++17 -Wall -Wextra -Wconversion -Werror host.cpp -o "$folder/host" $(pkg-config --cflags --libs codrelay) \
    -Wl,-rpath,"$(pkg-config --variable=libdir codrelay)"
"$folder/host" "$clip"

# The logging library alone is of use too.
# shellcheck disable=SC2046
g++ -std=c++17 -x c++ - -o "$folder/log_host" $(pkg-config --cflags --libs uvqlog) \
    -Wl,-rpath,"$(pkg-config --variable=libdir uvqlog)" <<'END'
#include <uvqlog/control.h>
int main() { uvqlog::SetThreshold(uvqlog::Severity::Error); }
END
"$folder/log_host"
