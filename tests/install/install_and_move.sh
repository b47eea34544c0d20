#!/usr/bin/env bash
# Installs a build and moves what was installed:  install_and_move.sh BUILD FOLDER  leaves it in FOLDER/moved.
set -euo pipefail

build=$1
folder=$2

rm -rf "$folder"/{first,moved}
cmake --install "$build" --prefix "$folder/first" --strip >"$folder/install.log"
mv "$folder/first" "$folder/moved"
