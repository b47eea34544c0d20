#!/usr/bin/env bash
# Measures this machine: sets up, builds, runs every benchmark, and writes docs/benchmarks.md with its plot. Takes some
# minutes, in which the machine should have nothing else to do.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ $# -eq 0 ] || die "unknown argument: $1" "scripts/bench.sh"
cd "$(project_root)"
scripts/setup.sh
say "building the preset 'bench'"
cmake --preset bench >/dev/null
cmake --build --preset bench

build=build/bench
results=$build/results
rm -rf "$results"
mkdir "$results"
load=$(cut -d ' ' -f 1 /proc/loadavg)
for program in "$build"/bin/*_benchmark; do
    name=$(basename "$program" _benchmark)
    say "measuring: $name"
    "$program" --benchmark_out="$results/$name.json" --benchmark_out_format=json >"$results/$name.log" 2>&1 ||
        die "$program failed" "read $results/$name.log"
done

say "measuring: other libraries"
benchmarks/peers/measure.sh "$build" >"$results/peers.md"

report() { jq -nr --arg want "$1" -f benchmarks/report.jq "$results"/*.json; }

write_page() {
    cat <<PAGE
# Benchmarks

Written by \`scripts/bench.sh\`, which measures again. Every case stands beside the plain loop over the same FFmpeg that
a host would write by hand. The two take turns in one process, and medians are compared. The *spread* is how far the
plain loop's median may lie from itself; a bound that is missed by no more than that is met within the spread.

| machine | |
|---|---|
| processor | $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores |
| system | $(uname -srm) |
| compiler | $(c++ --version | head -1) |
| load at the start | $load |

\`\`\`
$(LC_ALL=C "$build/bin/codrelay" info | sed '/^video encoder/,$d')
\`\`\`

![Ratios](benchmarks.svg)

PAGE
    report tables
    cat <<PAGE

## Beside other libraries

H.264, 640x360, from an MP4 file that has sound too, to raw pictures in memory. Measured is what this machine has of
the Debian packages libopencv-videoio-dev, libgstreamer-plugins-base1.0-dev (with gstreamer1.0-libav,
gstreamer1.0-plugins-good and gstreamer1.0-plugins-bad), libffms2-dev and python3-av; they come with an FFmpeg of their
own.

PAGE
    cat "$results/peers.md"
}

report plot >"$results/plot.tsv"
gnuplot -e "data='$results/plot.tsv'; rows=$(wc -l <"$results/plot.tsv")" benchmarks/ratios.gnuplot >docs/benchmarks.svg
write_page >docs/benchmarks.md
say "docs/benchmarks.md is written; cases that miss their bound: $(grep -c '\*\*no\*\*' docs/benchmarks.md || true)"
