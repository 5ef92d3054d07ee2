#!/usr/bin/env bash
# Match throughput of `ncoa match` on synthetic data sets, held against the
# machine's SHA-1 rate measured in the same run.
#
#   bench/bench_match.sh [WORKDIR]
#   BIG_FILINGS=50000000 bench/bench_match.sh [WORKDIR]
#
# Builds `ncoa` and `bench_sha1` (Release), writes a synthetic set of FILINGS
# filings of each kind and a list of RECORDS records (kept in WORKDIR and
# reused while their parameters stay the same), then prints:
#   - the SHA-1 rate of one 64-byte block through the library's digest call;
#   - start-up of each kind (`ncoa info`, opening the data set), on disk and
#     with --memory;
#   - `ncoa match` with 1 and 2 threads, on disk and in memory, for each kind:
#     records per second (the command's own figure: lookups only, start-up and
#     report excluded), the wall and CPU seconds of the whole run, records per
#     CPU second (start-up included: steadier than the wall on a busy
#     machine), and records per second over the SHA-1 rate.
#   - with BIG_FILINGS set, the same for a set of that many filings (of the
#     kinds in BIG_KINDS) with a list of the same size and hit rate made
#     against it, then each rate next to the FILINGS set's: the cost of a
#     record should not grow with the set. Writing 50,000,000 filings takes
#     minutes; the set is kept and reused like the other.
#
# Settings by environment: FILINGS (5000000), RECORDS (1000000), HIT_RATE (0.1),
# SEED (1), KINDS ("hash flat"), THREADS ("1 2"), MODES ("disk memory"),
# REPEAT (1: best of n runs), BUILD (build-bench under the source tree),
# BIG_FILINGS (unset: no big set), BIG_KINDS ("hash").
# The machine may be shared: the load average is printed beside each figure.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
FILINGS=${FILINGS:-5000000}
RECORDS=${RECORDS:-1000000}
HIT_RATE=${HIT_RATE:-0.1}
SEED=${SEED:-1}
KINDS=${KINDS:-"hash flat"}
THREADS=${THREADS:-"1 2"}
MODES=${MODES:-"disk memory"}
REPEAT=${REPEAT:-1}
BIG_FILINGS=${BIG_FILINGS:-}
BIG_KINDS=${BIG_KINDS:-hash}
WORK=${1:-$BUILD/bench-match}

echo "== build (Release) in $BUILD"
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$BUILD" -j 2 --target ncoa bench_sha1 >/dev/null
NCOA=$BUILD/cli/ncoa

now() { date +%s.%N; }
secs() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", b - a }'; }
load() { cut -d' ' -f1 /proc/loadavg; }

echo "== machine: $(nproc) cores, $(awk '/MemTotal/ { printf "%.0f GiB", $2 / 1048576 }' /proc/meminfo); load average $(cut -d' ' -f1-3 /proc/loadavg)"

# SHA-1 of one 64-byte block: digests per CPU second, and per wall second.
sha=$("$BUILD/bench/bench_sha1" --benchmark_format=csv --benchmark_min_time=1 2>/dev/null | grep '^"BM_Sha1Of64Bytes"')
SHA_RATE=$(awk -F, '{ printf "%.0f", $7 }' <<<"$sha")
SHA_WALL=$(awk -F, '{ printf "%.0f", 1e9 / $3 }' <<<"$sha")
echo "== SHA-1 of one 64-byte block: $SHA_RATE per CPU second ($SHA_WALL per wall second), load $(load)"

mkdir -p "$WORK"
RATES="$WORK/rates.txt"
: >"$RATES"

# One set of `filings` filings of `kind` in folder `dir`: written unless kept,
# its start-up and its match rates; each rate also goes to $RATES.
bench_set() {
    local filings=$1 kind=$2 dir=$3
    local STAMP="$dir/params"
    local PARAMS="filings=$filings records=$RECORDS hit_rate=$HIT_RATE seed=$SEED kind=$kind"
    if [[ ! -f "$STAMP" || "$(cat "$STAMP")" != "$PARAMS" || ! -d "$dir/set/DVD 2" ]]; then
        echo "== $kind, $filings filings: synthetic data set: $PARAMS"
        rm -rf "$dir"
        mkdir -p "$dir"
        /usr/bin/time -o "$dir/time.txt" -f "   %e s in all, writer peak memory %M KB" \
            "$NCOA" dataset synth --filings "$filings" --out "$dir/set" --list "$RECORDS" --kind "$kind" \
            --list-out "$dir/list.csv" --hit-rate "$HIT_RATE" --seed "$SEED" >"$dir/synth.txt"
        cat "$dir/time.txt" >>"$dir/synth.txt"
        echo "$PARAMS" >"$STAMP"
    else
        echo "== $kind, $filings filings: reusing the synthetic data set in $dir ($PARAMS)"
    fi
    sed 's/^/   /' "$dir/synth.txt"
    du -shL "$dir/set" | awk '{ print "   data set on disk: " $1 }'

    # Start-up: the best of five opens; the page cache is warm after the first.
    echo "== $kind, $filings filings: start-up (ncoa info, best of 5)"
    for mode in $MODES; do
        flag=""
        [[ $mode == memory ]] && flag="--memory"
        best=""
        for _ in 1 2 3 4 5; do
            t0=$(now)
            "$NCOA" info $flag "$dir/set" >/dev/null
            s=$(secs "$t0" "$(now)")
            best=$(awk -v a="$s" -v b="${best:-1e9}" 'BEGIN { print (a < b ? a : b) }')
        done
        printf "   %-7s %6.2f s   load %s\n" "$mode" "$best" "$(load)"
    done

    echo "== $kind, $filings filings: ncoa match, $RECORDS records"
    printf "   %-7s %-8s %10s %8s %8s %11s %10s  %-6s %s\n" mode threads "records/s" "wall s" "cpu s" "rec/cpu s" \
        "/ SHA-1" load found
    for mode in $MODES; do
        flag=""
        [[ $mode == memory ]] && flag="--memory"
        for threads in $THREADS; do
            best=0 wall=0 cpu=0 line=""
            for ((i = 0; i < REPEAT; ++i)); do
                t0=$(now)
                line=$(/usr/bin/time -o "$dir/cpu.txt" -f "%U %S" "$NCOA" match --data "$dir/set" $flag \
                    --in "$dir/list.csv" --out "$dir/result-$mode-$threads.csv" --no-progress --threads "$threads" \
                    2>&1 >/dev/null | tail -n 1)
                w=$(secs "$t0" "$(now)")
                rate=$(sed -n 's/.*(\([0-9,]*\) records\/s.*/\1/p' <<<"$line" | tr -d ,)
                if ((${rate:-0} > best)); then
                    best=$rate wall=$w cpu=$(awk '{ printf "%.2f", $1 + $2 }' "$dir/cpu.txt")
                fi
            done
            found=$(sed -n 's/.*: \([0-9]*\) moved with a new address.*/\1/p' <<<"$line")
            ratio=$(awk -v r="$best" -v s="$SHA_RATE" 'BEGIN { printf "1/%.0f", (r > 0 ? s / r : 0) }')
            percpu=$(awk -v n="$RECORDS" -v c="$cpu" 'BEGIN { printf "%.0f", (c > 0 ? n / c : 0) }')
            printf "   %-7s %-8s %10s %8s %8s %11s %10s  %-6s %s\n" "$mode" "$threads" "$best" "$wall" "$cpu" "$percpu" \
                "$ratio" "$(load)" "$found"
            echo "$filings $kind $mode $threads $best $percpu" >>"$RATES"
        done
    done
    grep -o '[0-9]* expected found[^)]*)' "$dir/synth.txt" | sed 's/^/   list: /' || true
}

for kind in $KINDS; do
    bench_set "$FILINGS" "$kind" "$WORK/$kind"
done
[[ -z $BIG_FILINGS ]] && exit 0

for kind in $BIG_KINDS; do
    bench_set "$BIG_FILINGS" "$kind" "$WORK/$kind-$BIG_FILINGS"
done
echo "== records/s, $FILINGS filings against $BIG_FILINGS (records per CPU second in brackets)"
printf "   %-5s %-7s %-8s %20s %20s %9s\n" kind mode threads "$FILINGS" "$BIG_FILINGS" big/small
for kind in $BIG_KINDS; do
    for mode in $MODES; do
        for threads in $THREADS; do
            small=$(awk -v f="$FILINGS" -v k="$kind" -v m="$mode" -v t="$threads" \
                '$1 == f && $2 == k && $3 == m && $4 == t { print $5, $6 }' "$RATES")
            big=$(awk -v f="$BIG_FILINGS" -v k="$kind" -v m="$mode" -v t="$threads" \
                '$1 == f && $2 == k && $3 == m && $4 == t { print $5, $6 }' "$RATES")
            [[ -z $small || -z $big ]] && continue
            read -r sr sc <<<"$small"
            read -r br bc <<<"$big"
            printf "   %-5s %-7s %-8s %20s %20s %9s\n" "$kind" "$mode" "$threads" "$sr ($sc)" "$br ($bc)" \
                "$(awk -v a="$br" -v b="$sr" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }')"
        done
    done
done
