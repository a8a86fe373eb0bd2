# SPDX-License-Identifier: BSD-2-Clause
#
# The parts that have a budget of their own, without a window or a daemon around them.

# slowest PATTERN FILE: of the benchmarks that match, in a CSV report: real time, and the names.
slowest() {
    awk -F, -v pattern="$1" '{ gsub(/"/, "") } $1 ~ pattern && $3 + 0 > most { most = $3 } END { print most }' "$2"
}

measure_parts() {
    local table="$work/table.csv" exclusions="$work/exclusions.csv"
    "$bin/bench_logs_table" --benchmark_format=csv --benchmark_filter='(sortBy|filterBy)/.*/50000/' \
        >"$table" 2>"$work/errors"
    "$bin/bench_exclusions" --benchmark_format=csv --benchmark_filter=testRecords >"$exclusions" 2>"$work/errors"
    result "sorting 1,000,000 rows, the slowest of five columns" \
        "$(calculate "$(slowest '^sortBy/' "$table")" %.0f)" ms "" "" 1000
    result "filtering 1,000,000 rows, the slowest of seven filters" \
        "$(calculate "$(slowest '^filterBy/' "$table")" %.0f)" ms "" "" 300
    result "exclusion test of a record, 10,000 entries, the slowest of ten mixtures" \
        "$(calculate "$(slowest '^testRecords/' "$exclusions")" %.0f)" ns "" "" 2000
}
