#!/usr/bin/env bash
# Builds a preset and runs its tests:  scripts/test.sh [--preset dev|system|asan|tsan|coverage] [--label LABEL]
# With a label, such as "threads", only the tests of that group are built and run. The preset "system" is the everyday
# build on the distribution's own FFmpeg.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=dev
label=
while [ $# -gt 0 ]; do
    case $1 in
    --preset | --label)
        [ $# -ge 2 ] || die "$1 wants a name" "scripts/test.sh --preset dev"
        if [ "$1" = --preset ]; then preset=$2; else label=$2; fi
        shift 2
        ;;
    *) die "unknown argument: $1" "scripts/test.sh [--preset NAME] [--label LABEL]" ;;
    esac
done

cd "$(project_root)"
[ "$preset" != system ] || export CODRELAY_FFMPEG=system
scripts/setup.sh
say "building the preset '$preset'"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" ${label:+--target "${label}_tests"}
say "testing the preset '$preset'"
ctest --preset "$preset" --parallel "$(nproc)" --output-on-failure ${label:+--label-regex "^$label\$"}

if [ "$preset" = coverage ]; then
    gcovr --root . --object-directory build/coverage --sort-uncovered --exclude-throw-branches \
        --exclude build/ \
        --filter '(uvqlog|support|front|video_decoder|video_encoder|transform|audio|container|tools)/'
fi
