# SPDX-License-Identifier: BSD-2-Clause
#
# Count and breakdown requests over a month of ten million records of 50,000 addresses, asked by
# tallyctl of a daemon, against SQLite's own program that groups the records of the same store.

# clocked NAME COMMAND...: appends milliseconds to the file NAME of the part.
clocked() {
    local name="$1" began ended
    shift
    began="${EPOCHREALTIME/./}"
    "$@" >/dev/null
    ended="${EPOCHREALTIME/./}"
    calculate "($ended - $began) / 1000" '%.1f\n' >>"$work/$name"
}

# compare WHAT CONDITION GROUP ARGUMENTS...: the slowest of three starts, each as its median. Theirs
# once a start, from the same start on: it takes seconds.
compare() {
    local what="$1" condition="$2" group="$3" start from name ours slowest=-1 theirs
    shift 3
    for start in 0 3 28; do
        # Half an hour into an hour: as much as may lie before what is whole.
        from=$((start == 0 ? 0 : (oldest / 86400 + start) * 86400 + 5400))
        name="${what// /-}-$start"
        for _ in $(seq $((runs * 3))); do
            clocked "$name" "$bin/tallyctl" "$@" --epoch "$from" --action block --direction in --time \
                2>>"$work/$name-told"
        done
        grep -o '[0-9.]* ms$' "$work/$name-told" | cut -d' ' -f1 >"$work/$name-answers"
        median "$name-answers" >>"$work/requests"
        clocked "$name-sqlite" sqlite3 -readonly "$store" \
            "SELECT $group, count(*) FROM records WHERE flags = 1 AND time >= ${from}000000 $condition GROUP BY $group"
        ours="$(median "$name")"
        if [ "$(calculate "$ours > $slowest" %d)" = 1 ]; then
            slowest="$ours"
            theirs="$(median "$name-sqlite")"
        fi
    done
    result "$what, the slowest of three starts" "$slowest" ms '`sqlite3`, group by, once' "$theirs" ""
}

# The slowest answer of the store itself, of every question and start; and the longest step of
# rolling days up, for which a batch may have to wait.
measure_requests_alone() {
    local slowest
    BENCH_STORE="$store" "$bin/bench_tallies" --benchmark_format=csv --benchmark_filter=/from_ \
        >"$work/tallies" 2>"$work/errors"
    slowest="$(awk -F, '/from_/ && $4 > most { most = $4 } END { print most }' "$work/tallies")"
    result "the slowest of them in the store alone" "$(calculate "$slowest" %.1f)" ms "" "" 100
}

measure_counts() {
    local address port=443 bytes
    large_store
    # The daemon rolls days up beside its intake; here it is done with before anything is timed.
    BENCH_STORE="$store" "$bin/bench_tallies" --benchmark_filter=nothing >/dev/null 2>&1
    oldest="$(($(sqlite3 -readonly "$store" 'SELECT min(time) FROM records') / 1000000))"
    bytes="$(stat -c %s "$store")"
    start_daemon --store "$store"
    # The address with the most records has the most to tell.
    "$bin/tallyctl" count --epoch 0 --action block --direction in --obj SRCIP --format csv >"$work/sources"
    address="$(tail -n +2 "$work/sources" | tr -d '"' | awk -F, '
        $1 !~ /:/ && $2 + 0 > most { most = $2 + 0; address = $1 } END { print address }')"
    compare "count of the sources of $large records" "" src count --obj SRCIP
    compare "count of the ports" "" dstport count --obj DSTPORT
    compare "ports of the busiest address" \
        "AND src = x'$(printf '%02x' ${address//./ })'" dstport ports-of --ip "$address"
    compare "addresses of port $port" "AND dstport = $port" src addresses-of --port $port
    result "the slowest of these 12 requests: from the question to the whole answer, as \`tallyctl --time\` tells" \
        "$(largest requests)" ms "" "" 100
    stop "$daemon"
    measure_requests_alone
    result "distinct addresses counted" "$(($(wc -l <"$work/sources") - 1))" "" "" "" ""
    result "store, a record with its share of the tallies" "$(calculate "$bytes / $large" %.1f)" bytes "" "" ""
}
