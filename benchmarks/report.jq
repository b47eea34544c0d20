# Tables of what the benchmarks measured, from the JSON that they wrote: `jq -nr --arg want tables -f report.jq *.json`.
# With `--arg want plot`: what ratios.gnuplot reads.

def fixed($digits):
    pow(10; $digits) as $unit | (. * $unit | round) as $whole
    | "\($whole / $unit | floor).\(("0000" + ($whole % $unit | tostring))[-$digits:])";
def percent: "\(. * 100 | fixed(1)) %";
def row: "| " + join(" | ") + " |";
def table($heads): ($heads | row), ($heads | map("---") | row), (.[] | row);
# Turns and repetitions are no part of a name.
def case_name: "`" + (.name | sub("/(iterations|min_time|repeats|manual_time|real_time).*"; "")) + "`";

def time($way):
    . as $case | (["ms", "us"][] | select($case["\($way)_\(.)"])) as $unit
    | $case["\($way)_\($unit)"] | fixed(3) + " " + $unit;
def ratio_holds:
    if .bound == null then "" elif .ratio <= .bound then "yes" elif .ratio - .spread <= .bound then "within the spread"
    else "**no**" end;
def ratio_row:
    [.program, case_name, time("plain"), time("library"), (.ratio | fixed(3)), (.spread | percent),
     (.bound // "" | tostring), ratio_holds];

def nanoseconds: if .name | test("real_time") then .real_time else .cpu_time end;
def limit_holds:
    if .limit == null and .allocations == null then ""
    elif (.limit == null or nanoseconds < .limit) and .allocations == .allocations_wanted then "yes" else "**no**" end;
def own_row:
    [.program, case_name, (nanoseconds | fixed(1)), (.limit // "" | tostring), (.allocations // "" | tostring),
     (.allocations_wanted // "" | tostring), limit_holds];

def gain_holds:
    if .library_gain >= .wanted_gain or .library_gain >= .wanted_of_plain * .plain_gain then "yes" else "**no**" end;
def gain_row:
    [.program, case_name, (.plain_gain | fixed(2)), (.library_gain | fixed(2)),
     "\(.wanted_gain), or \(.wanted_of_plain) of the plain loop's", gain_holds];

[inputs | (.context.executable | sub(".*/"; "") | sub("_benchmark$"; "")) as $program
 | .benchmarks[] + {$program}] as $all
| ($all | map(select(.ratio))) as $ratios
| ($all | map(select(.aggregate_name == "median"))) as $own
| ($all | map(select(.library_gain))) as $gains
| if $want == "plot" then
    $ratios[] | select(.bound and .program != "utils")
    | ["\(.program) \(case_name | gsub("`"; ""))", .ratio, .spread, .bound] | @tsv
  else
    "## Beside the plain loop", "",
    ($ratios | map(ratio_row)
     | table(["benchmark", "case", "plain", "library", "ratio", "spread", "at most", "holds"])), "",
    "## By themselves", "",
    ($own | map(own_row) | table(["benchmark", "case", "ns", "under", "allocations", "wanted", "holds"])), "",
    "## Two decoders on two threads", "",
    ($gains | map(gain_row) | table(["benchmark", "case", "plain loop gains", "library gains", "at least", "holds"]))
  end
