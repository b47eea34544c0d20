#!/usr/bin/env bash
# What reads the code without running it: clang-format, clang-tidy and cppcheck, over everything but the tests, which only
# have to be formatted. Five minutes on two cores.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ $# -eq 0 ] || die "too many arguments" "scripts/check.sh"
cd "$(project_root)"
scripts/setup.sh
cmake --preset dev >/dev/null
env -u CODRELAY_FFMPEG cmake --preset system >/dev/null

say "clang-format"
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format-14 --dry-run --Werror

# The commands of the sources themselves; those that CMake makes up, such as one for each header, are not ours.
mapfile -t sources < <(git ls-files '*.cpp' ':!tests/*' ':!benchmarks/*' ':!fuzz/*')
say "clang-tidy on ${#sources[@]} files"
tidy() {
    xargs -r -n 1 -P "$(nproc)" clang-tidy-14 -p "$1" --quiet 2> >(grep -v 'warnings\? generated' >&2)
}
# What only newer generations of FFmpeg have is read as it is compiled for them.
newer=support/ffmpeg_former_calls.cpp
printf '%s\n' "${sources[@]}" | grep -vx "$newer" | tidy build/dev
tidy build/system <<<"$newer"

say "cppcheck"
cppcheck --quiet --error-exitcode=1 --std=c++17 --language=c++ --enable=warning,performance,portability \
    --inline-suppr --suppress=missingIncludeSystem -I include -I build/dev/include -I . -j "$(nproc)" "${sources[@]}"
say "nothing found"
