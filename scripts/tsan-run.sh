#!/usr/bin/env bash
# Under ThreadSanitizer: four threads looking up on one data object, on disk
# and in memory, must equal one thread; then `ncoa match` with four threads on
# the sample list. Usage: scripts/tsan-run.sh TSAN_BUILD_DIR
set -euo pipefail
build=$1
src=$(cd "$(dirname "$0")/.." && pwd)
# The longest history: a worker's stack that cannot be restored cannot be
# matched against the suppressions either.
export TSAN_OPTIONS="halt_on_error=1 exitcode=66 history_size=7 suppressions=$src/tests/tsan.supp"
"$build/tests/qvtests" --gtest_filter='*MatchFlowThreads*'
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/cli/ncoa" dataset build "$src/data/sample/world.json" "$work/set" --quiet
for memory in "" --memory; do
    "$build/cli/ncoa" match --data "$work/set" $memory --in "$src/data/sample/list.csv" --out "$work/out.csv" \
        --threads 4 --batch 8 --no-progress
done
echo "test-tsan: clean"
