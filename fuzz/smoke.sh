#!/usr/bin/env bash
# Runs every fuzz target for a fixed number of runs over its seeds and its
# regression cases (inputs that once crashed it). New inputs go to a scratch
# folder, so the seeds stay as made. Usage: fuzz/smoke.sh FUZZ_BUILD_DIR
set -euo pipefail
bin=$1/fuzz
src=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
status=0
for t in "$bin"/fuzz_* "$bin"/fuzzfile_*; do
    [ -x "$t" ] || continue
    name=$(basename "$t")
    # A target that opens the set for each input runs about 30 inputs a second.
    case $name in
        fuzzfile_*) runs=60 ;;
        *) runs=2000 ;;
    esac
    mkdir -p "$scratch/$name"
    dirs=("$scratch/$name" "$bin/corpus/$name")
    [ -d "$src/regressions/$name" ] && dirs+=("$src/regressions/$name")
    if "$t" -runs=$runs -timeout=20 -rss_limit_mb=2048 "${dirs[@]}" > "$scratch/$name.log" 2>&1; then
        echo "fuzz-smoke: $name ok ($runs runs)"
    else
        echo "fuzz-smoke: $name FAILED"; tail -40 "$scratch/$name.log"; status=1
    fi
done
exit $status
