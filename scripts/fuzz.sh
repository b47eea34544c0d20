#!/usr/bin/env bash
# Builds the fuzzers and runs them all, each for its share of the time:  scripts/fuzz.sh [SECONDS]
#
# SECONDS, 1800 where none are given, is the time in all; two fuzzers run at a time. What they learn stays in
# build/fuzz/corpus, and the next run goes on from there. Every input that crashes, leaks, hangs or takes too much memory
# is kept in build/fuzz/findings; a folder that is not empty at the end is a failure. To see one again:
#
#   build/fuzz/bin/fuzz_TARGET build/fuzz/findings/TARGET/FILE
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

at_a_time=2
seconds=${1:-1800}
[[ $# -le 1 && $seconds =~ ^[1-9][0-9]*$ ]] || die "not a number of seconds: $*" "scripts/fuzz.sh 1800"

cd "$(project_root)"
scripts/setup.sh
say "building the preset 'fuzz'"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

build=$PWD/build/fuzz
mapfile -t targets < <(cd fuzz/seeds && printf '%s\n' *)
share=$(((seconds * at_a_time + ${#targets[@]} - 1) / ${#targets[@]}))

# FFmpeg keeps no frame pointers, and unwinding at every allocation takes most of the time.
export ASAN_OPTIONS=fast_unwind_on_malloc=1:detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1
ASAN_SYMBOLIZER_PATH=$(command -v llvm-symbolizer-14)
export ASAN_SYMBOLIZER_PATH

# One fuzzer. It runs in a process of its own that is started again after each finding.
run_target() {
    local target=$1 options=(-fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1)
    options+=(-max_total_time="$share" -max_len=12288 -timeout=30 -rss_limit_mb=2048)
    case $target in
    *_demuxer) options+=(-dict=fuzz/dictionaries/containers) ;;
    video_decoder) options+=(-dict=fuzz/dictionaries/start_codes) ;;
    utils_parsers) options+=(-dict=fuzz/dictionaries/texts) ;;
    # Muxers leave a little behind by design. The tests look for other leaks, on the seeds.
    muxers) ASAN_OPTIONS+=:detect_leaks=0 ;;
    esac
    mkdir -p "$build/corpus/$target" "$build/findings/$target"
    "$build/bin/fuzz_$target" "${options[@]}" -artifact_prefix="$build/findings/$target/" \
        "$build/corpus/$target" "fuzz/seeds/$target" >"$build/$target.log" 2>&1 || true
    summarise "$target"
}

summarise() {
    local target=$1 last found
    # "#RUNS: cov: 1 ft: 2 corp: 3 exec/s: 4 ..." is what each round of a fuzzer ends with.
    last=$(grep -E '^#[0-9]+: cov: ' "$build/$target.log" | tail -n 1 || true)
    [ -n "$last" ] || {
        tail -n 20 "$build/$target.log" >&2
        die "fuzz_$target did not run" "read $build/$target.log"
    }
    found=$(find "$build/findings/$target" -type f | wc -l)
    say "$target: $(sed -E 's/^#([0-9]+): (cov: [0-9]+ ft: [0-9]+ corp: [0-9]+).*/\1 runs, \2/' <<<"$last"), $found findings"
}

say "fuzzing ${#targets[@]} targets, $share seconds each, $at_a_time at a time"
export -f run_target summarise say die
export build share
printf '%s\n' "${targets[@]}" | xargs -P "$at_a_time" -I{} bash -euo pipefail -c 'run_target {}'

mapfile -t findings < <(find "$build/findings" -type f)
[ ${#findings[@]} = 0 ] || die "${#findings[@]} findings: ${findings[*]}" "build/fuzz/bin/fuzz_TARGET FILE"
say "nothing found"
