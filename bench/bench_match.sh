#!/usr/bin/env bash
# Match throughput of `ncoa match` on a synthetic data set.
#
#   bench/bench_match.sh [WORKDIR]
#
# Builds `ncoa` (Release), writes a synthetic set of FILINGS filings and a list
# of RECORDS records (kept in WORKDIR and reused while their parameters stay
# the same), then times:
#   - start-up: `ncoa info` (opening the data set), on disk and with --memory;
#   - `ncoa match` with 1 and 2 threads, on disk and in memory.
# Records per second are the command's own figure (lookups only, start-up and
# report excluded); the wall time of each run is shown beside it.
#
# Settings by environment: FILINGS (5000000), RECORDS (1000000), HIT_RATE (0.1),
# SEED (1), THREADS ("1 2"), MODES ("disk memory"), REPEAT (1: best of n runs),
# BUILD (build-bench under the source tree).
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
FILINGS=${FILINGS:-5000000}
RECORDS=${RECORDS:-1000000}
HIT_RATE=${HIT_RATE:-0.1}
SEED=${SEED:-1}
THREADS=${THREADS:-"1 2"}
MODES=${MODES:-"disk memory"}
REPEAT=${REPEAT:-1}
WORK=${1:-$BUILD/bench-match}

echo "== build (Release) in $BUILD"
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$BUILD" -j 2 --target ncoa >/dev/null
NCOA=$BUILD/cli/ncoa

now() { date +%s.%N; }
secs() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", b - a }'; }

mkdir -p "$WORK"
STAMP="$WORK/params"
PARAMS="filings=$FILINGS records=$RECORDS hit_rate=$HIT_RATE seed=$SEED"
if [[ ! -f "$STAMP" || "$(cat "$STAMP")" != "$PARAMS" || ! -d "$WORK/set/DVD 2" ]]; then
    echo "== synthetic data set: $PARAMS"
    rm -rf "$WORK/set" "$STAMP"
    t0=$(now)
    /usr/bin/time -o "$WORK/time.txt" -f "   %e s in all, writer peak memory %M KB" \
        "$NCOA" dataset synth --filings "$FILINGS" --out "$WORK/set" --list "$RECORDS" \
        --list-out "$WORK/list.csv" --hit-rate "$HIT_RATE" --seed "$SEED" >"$WORK/synth.txt"
    cat "$WORK/time.txt" >>"$WORK/synth.txt"
    echo "$PARAMS" >"$STAMP"
else
    echo "== reusing the synthetic data set in $WORK ($PARAMS)"
fi
cat "$WORK/synth.txt"
du -sh "$WORK/set" | awk '{ print "   data set on disk: " $1 }'

echo "== machine: $(nproc) cores, $(awk '/MemTotal/ { printf "%.0f GiB", $2 / 1048576 }' /proc/meminfo); load average $(cut -d' ' -f1-3 /proc/loadavg)"

# Start-up: the best of five opens; the page cache is warm after the first.
echo "== start-up (ncoa info, best of 5)"
for mode in $MODES; do
    flag=""
    [[ $mode == memory ]] && flag="--memory"
    best=""
    for _ in 1 2 3 4 5; do
        t0=$(now)
        "$NCOA" info $flag "$WORK/set" >/dev/null
        s=$(secs "$t0" "$(now)")
        best=$(awk -v a="$s" -v b="${best:-1e9}" 'BEGIN { print (a < b ? a : b) }')
    done
    printf "   %-7s %6.2f s\n" "$mode" "$best"
done

echo "== ncoa match, $RECORDS records"
printf "   %-7s %-8s %12s %9s  %s\n" mode threads "records/s" "wall s" "result"
for mode in $MODES; do
    flag=""
    [[ $mode == memory ]] && flag="--memory"
    for threads in $THREADS; do
        best=0 wall=0 line=""
        for ((i = 0; i < REPEAT; ++i)); do
            t0=$(now)
            line=$("$NCOA" match --data "$WORK/set" $flag --in "$WORK/list.csv" --out "$WORK/result.csv" \
                --no-progress --threads "$threads" 2>&1 >/dev/null | tail -n 1)
            w=$(secs "$t0" "$(now)")
            rate=$(sed -n 's/.*(\([0-9,]*\) records\/s.*/\1/p' <<<"$line" | tr -d ,)
            if ((${rate:-0} > best)); then best=$rate wall=$w; fi
        done
        found=$(sed -n 's/.*: \([0-9]*\) moved with a new address.*/\1/p' <<<"$line")
        printf "   %-7s %-8s %12s %9s  %s found\n" "$mode" "$threads" "$best" "$wall" "$found"
    done
done
grep -o '[0-9]* expected found[^)]*)' "$WORK/synth.txt" | sed 's/^/   list: /' || true
