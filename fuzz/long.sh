#!/usr/bin/env bash
# Runs every fuzz target for a while (default 600 s each, 2 at a time, at the
# lowest priority so other work on the machine goes first), growing a corpus
# per target under OUT/corpus and keeping any crashing input under OUT/crashes.
# Prints one line per target: runs, wall and CPU seconds, corpus size, result.
# An input counts as hung after FUZZ_TIMEOUT (300) s: at the lowest priority on
# a busy machine, one open of a set under ASan can take tens of seconds.
# Usage: fuzz/long.sh FUZZ_BUILD_DIR [SECONDS] [PARALLEL] [OUT] [TARGET...]
set -uo pipefail
build=$1
seconds=${2:-600}
parallel=${3:-2}
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
    local start=$SECONDS
    /usr/bin/time -f "%U %S" -o "$out/logs/$name.time" \
        nice -n 19 "$t" -max_total_time="$seconds" -timeout="${FUZZ_TIMEOUT:-300}" -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$out/crashes/$name/" "${dirs[@]}" > "$out/logs/$name.log" 2>&1
    local rc=$? wall=$((SECONDS - start))
    local runs cpu files result
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$out/logs/$name.log" | grep -o '[0-9]*$' | tail -1)
    cpu=$(awk 'NR==1 { printf "%.0f", $1 + $2 }' "$out/logs/$name.time" 2>/dev/null)
    files=$(find "$out/corpus/$name" -type f | wc -l)
    result=ok; [ $rc -eq 0 ] || result="FAILED (exit $rc, see $out/logs/$name.log)"
    printf '%-28s runs %10s  wall %4ss  cpu %4ss  corpus %6s  %s\n' "$name" "${runs:-?}" "$wall" "${cpu:-?}" "$files" "$result"
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
