#!/usr/bin/env bash
# Runs every fuzz target for SECONDS of CPU time (default 600 s each, 2 at a
# time, at nice FUZZ_NICE, default 19, so other work goes first), growing a corpus
# per target under OUT/corpus and keeping any crashing input under OUT/crashes.
# Prints one line per target: runs, wall and CPU seconds, rounds, corpus size,
# result.
# An input counts as hung after FUZZ_TIMEOUT (300) s: at the lowest priority on
# a busy machine, one open of a set under ASan can take tens of seconds.
# Usage: fuzz/long.sh FUZZ_BUILD_DIR [SECONDS] [PARALLEL] [OUT] [TARGET...]
set -uo pipefail
build=$1
seconds=${2:-600}
parallel=${3:-2}
niceness=${FUZZ_NICE:-19}
out=${4:-$build/fuzz-long}
shift $(( $# < 4 ? $# : 4 ))
bin=$build/fuzz
src=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$out/corpus" "$out/crashes" "$out/logs"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for t in "$bin"/fuzz_* "$bin"/fuzzfile_*; do [ -x "$t" ] && targets+=("$(basename "$t")"); done
fi

one() {
    local name=$1 t=$bin/$1
    mkdir -p "$out/corpus/$name" "$out/crashes/$name"
    local dirs=("$out/corpus/$name" "$bin/corpus/$name")
    [ -d "$src/regressions/$name" ] && dirs+=("$src/regressions/$name")
    local start=$SECONDS runs=0 cpu=0 rc=0 round=0
    # libFuzzer counts wall time; rounds resume from the grown corpus until the
    # target has had its CPU seconds, so a busy machine stretches the run
    # instead of shortening the fuzzing.
    while [ "$cpu" -lt "$seconds" ] && [ $rc -eq 0 ]; do
        local left=$((seconds - cpu)) log=$out/logs/$name.$round.log
        [ $left -lt 30 ] && left=30
        /usr/bin/time -f "%U %S" -o "$out/logs/$name.time" \
            nice -n "$niceness" "$t" -max_total_time="$left" -timeout="${FUZZ_TIMEOUT:-300}" -rss_limit_mb=2048 -print_final_stats=1 \
            -artifact_prefix="$out/crashes/$name/" "${dirs[@]}" > "$log" 2>&1
        rc=$?
        local r c
        r=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
        c=$(awk 'NR==1 { printf "%.0f", $1 + $2 }' "$out/logs/$name.time" 2>/dev/null)
        runs=$((runs + ${r:-0})); cpu=$((cpu + ${c:-0})); round=$((round + 1))
    done
    local wall=$((SECONDS - start)) files result
    files=$(find "$out/corpus/$name" -type f | wc -l)
    result=ok; [ $rc -eq 0 ] || result="FAILED (exit $rc, see $out/logs/$name.$((round - 1)).log)"
    printf '%-28s runs %10s  wall %5ss  cpu %4ss  rounds %2s  corpus %6s  %s\n' "$name" "$runs" "$wall" "$cpu" "$round" "$files" "$result"
}

running=0
for name in "${targets[@]}"; do
    one "$name" >> "$out/summary.txt" &
    running=$((running + 1))
    if [ $running -ge "$parallel" ]; then wait -n; running=$((running - 1)); fi
done
wait
sort "$out/summary.txt"
! grep -q FAILED "$out/summary.txt"
