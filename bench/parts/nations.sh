# SPDX-License-Identifier: BSD-2-Clause
#
# What a look-up of a nation costs, with a database of 560,000 blocks, against libmaxminddb with one
# of the same ranges; and how long the database takes to read.

# cpu_time NAME FILE: of a benchmark in a CSV report.
cpu_time() { awk -F, -v name="\"$1\"" '$1 == name { print $4 }' "$2"; }

make_mmdb() { bench/nations/makemmdb "$1" <"$ranges"; }

measure_nations() {
    local theirs="not installed" theirs_text="not installed"
    nation_ranges
    BENCH_NATIONS_RANGES="$ranges" "$bin/bench_geo" --benchmark_format=csv \
        --benchmark_filter='firstMatch|lookupUncached|^import$' >"$work/ours" 2>"$work/errors"
    if [ -x "$bin/bench_mmdb" ] && perl -MMaxMind::DB::Writer -e1 2>/dev/null; then
        made "$inputs/nations.mmdb" make_mmdb "$inputs/nations.mmdb"
        BENCH_MMDB="$inputs/nations.mmdb" "$bin/bench_mmdb" --benchmark_format=csv \
            >"$work/theirs" 2>"$work/errors"
        theirs="$(calculate "$(cpu_time fromNumber "$work/theirs")" %.0f)"
        theirs_text="$(calculate "$(cpu_time fromText/1000000 "$work/theirs")" %.0f)"
    fi
    result "nation of an address's number, 560,000 blocks" \
        "$(calculate "$(cpu_time firstMatch "$work/ours")" %.0f)" ns '`libmaxminddb`' "$theirs" 500
    result "nation of an address's text, uncached, with its entry into the cache; 10,000 texts" \
        "$(calculate "$(cpu_time lookupUncached/10000 "$work/ours")" %.0f)" ns "" "" 500
    result "the same, 1,000,000 texts" "$(calculate "$(cpu_time lookupUncached/1000000 "$work/ours")" %.0f)" ns \
        '`libmaxminddb`, which has no cache' "$theirs_text" 500
    result "reading the database" "$(calculate "$(cpu_time import "$work/ours")" %.0f)" ms "" "" ""
}
