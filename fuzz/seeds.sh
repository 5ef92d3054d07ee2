#!/usr/bin/env bash
# Seed corpora of every fuzz target, from the sample world: the files of the
# written sample sets, the sample list's records and names.
# Usage: fuzz/seeds.sh NCOA FUZZ_BUILD_DIR
set -euo pipefail
ncoa=$1
out=$2/fuzz/corpus
src=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$ncoa" dataset build "$src/data/sample/world.json" "$work/hash" --quiet
"$ncoa" dataset build "$src/data/sample/world.json" "$work/flat" --kind flat --quiet
"$ncoa" dataset build "$src/data/sample/world.json" "$work/packed" --packed --quiet
rm -rf "$out"
mkdir -p "$out"

# A set file's seed is that file as the writer made it.
seed_file() {  # target set relative-path
    mkdir -p "$out/$1"
    cp "$work/$2/$3" "$out/$1/sample"
}
seed_file fuzzfile_dvdhdr01 hash "DVD 1/dvdhdr01.dat"
seed_file fuzzfile_dvdhdr02 hash "DVD 2/dvdhdr02.dat"
seed_file fuzzfile_contents hash "DVD 2/clk/contents.lst"
seed_file fuzzfile_zip_lst hash "DVD 2/clk/zip.lst"
seed_file fuzzfile_hint_lst hash "DVD 2/clk/hint.lst"
seed_file fuzzfile_x11 hash "DVD 2/clk/x11"
seed_file fuzzfile_leftrite hash "DVD 2/clk/leftrite.txt"
seed_file fuzzfile_czp hash "DVD 2/rv9/czp.dat"
seed_file fuzzfile_cln hash "DVD 2/rv9/cln.dat"
seed_file fuzzfile_rv9_tables hash "DVD 2/rv9/nam.dat"
seed_file fuzzfile_normalf hash "DVD 2/clk/normalf.lst"
seed_file fuzzfile_nick hash "DVD 2/clk/nick.lst"
seed_file fuzzfile_rules hash "DVD 2/clk/rules.lst"
seed_file fuzzfile_nonof hash "DVD 2/clk/nonof.lst"
seed_file fuzzfile_lcd hash "DVD 2/clk/lcd"
seed_file fuzzfile_business hash "DVD 2/clk/business.lst"
seed_file fuzzfile_gender hash "DVD 2/clk/gender.txt"
seed_file fuzzfile_urbx hash "DVD 2/clk/urbx.lst"
seed_file fuzzfile_dailydel hash "DVD 2/dailydel.dat"
seed_file fuzzfile_clk_hsb hash "DVD 2/clk.hsb"
seed_file fuzzfile_dph_hsa hash "DVD 2/clk/dph.hsa"
seed_file fuzzfile_rv9_esd hash "DVD 2/rv9/rv9.esd"
seed_file fuzzfile_hash_filter hash "DVD 2/clk.a.hs0"
seed_file fuzzfile_hash_stripe hash "DVD 1/clk.a.hs1"
seed_file fuzzfile_flat_file flat "DVD 1/clk.flt.2"
mkdir -p "$out/fuzz_szp"
n=0
for f in "$work/packed/DVD 1/"*.SZP; do
    cp "$f" "$out/fuzz_szp/$((n++))"
    [ $n -ge 8 ] && break
done

mkdir -p "$out/fuzz_csv"
cp "$src/data/sample/list.csv" "$out/fuzz_csv/list"
head -20 "$src/data/sample/list.csv" | tr ',' ';' > "$out/fuzz_csv/semicolons"

# Lookup records and numbers: name NUL pno NUL sno NUL zip9 NUL designator, type last.
mkdir -p "$out/fuzz_lookup_entry" "$out/fuzz_parse_num" "$out/fuzz_busname" "$out/fuzz_name_parse" "$out/fuzz_qvav_parse"
n=0
sed -n '2,61p' "$src/data/sample/list.csv" | while IFS=, read -r id name company pno street desc sno city state zip zip4 type; do
    n=$((n + 1))
    printf '%s\0%s\0%s\0%s%s\0%s\0%s' "${name:-$company}" "$pno" "$sno" "$zip" "$zip4" "$desc" "$type" \
        > "$out/fuzz_lookup_entry/$n"
    # The parser's input: its length as the first byte, then the field.
    printf "\\$(printf %03o ${#pno})%s" "$pno" > "$out/fuzz_parse_num/p$n"
    [ -n "$sno" ] && printf "\\$(printf %03o ${#sno})%s" "$sno" > "$out/fuzz_parse_num/s$n"
    [ -n "$company" ] && printf '%s\0%s INC' "$company" "$company" > "$out/fuzz_busname/$n"
    [ -n "$name" ] && printf '%s' "$name" > "$out/fuzz_name_parse/$n"
    printf '%s\n%s %s %s %s\n%s %s %s-%s' "${name:-$company}" "$pno" "$street" "$desc" "$sno" "$city" "$state" \
        "$zip" "$zip4" > "$out/fuzz_qvav_parse/$n"
    true
done
for t in "$out"/*; do [ -n "$(ls -A "$t")" ] || printf 'A' > "$t/minimal"; done
echo "seed corpora written under $out"
