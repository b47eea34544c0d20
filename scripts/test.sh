#!/usr/bin/env bash
# Builds a preset and runs its tests:  scripts/test.sh [--preset dev|asan|tsan|coverage]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=dev
while [ $# -gt 0 ]; do
    case $1 in
    --preset)
        [ $# -ge 2 ] || die "--preset wants a name" "scripts/test.sh --preset dev"
        preset=$2
        shift 2
        ;;
    *) die "unknown argument: $1" "scripts/test.sh [--preset NAME]" ;;
    esac
done

cd "$(project_root)"
scripts/setup.sh
say "building the preset '$preset'"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
say "testing the preset '$preset'"
ctest --preset "$preset" --parallel "$(nproc)" --output-on-failure

if [ "$preset" = coverage ]; then
    gcovr --root . --object-directory build/coverage --sort-uncovered --exclude-throw-branches \
        --filter '(uvqlog|support|front|video_decoder|video_encoder|transform|audio|container|tools)/'
fi
