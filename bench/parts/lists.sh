# SPDX-License-Identifier: BSD-2-Clause
#
# A list window with a hundred thousand rows in both tables together, and one with half as many
# again: opening it, reloading it, its memory a row.

# make_lists_store STORE RECORDS ADDRESSES: enough records that many of the drawn addresses come.
make_lists_store() {
    capture "lists-$2" "$2" 86000 --kind openbsd --worldwide --addresses "$3" --seed 13
    "$bin/tallyd" import --store "$1" "$capture" >&2
}

# counted FIELD: how many rows there are of it.
counted() {
    "$bin/tallyctl" count --epoch 0 --action block --direction in --obj "$1" --format csv | tail -n +2 | wc -l
}

# measure_list RECORDS ADDRESSES MUST
measure_list() {
    local i rows ports before after list
    store="$inputs/lists-$1-$2.sqlite"
    made "$store" make_lists_store "$store" "$1" "$2"
    start_daemon --store "$store"
    rows="$(counted SRCIP)"
    ports="$(counted DSTPORT)"
    rm -f "$work/hold" "$work/row-bytes"
    for i in $(seq "$runs"); do
        start_viewer "lists-$1-$i"
        quiet_for 2
        before="$(resident_kb "$viewer")"
        keys alt+2
        list="$(timeout 20 xdotool search --sync --onlyvisible --name '^Blocked Inbound$' | head -n 1)"
        timeout 20 xdotool windowfocus --sync "$list"
        quiet_for 2
        # Everything there is: the period that reaches back furthest.
        keys ctrl+3
        quiet_for 3
        after="$(resident_kb "$viewer")"
        echo $(((after - before) * 1024 / (rows + ports))) >>"$work/row-bytes"
        keys ctrl+3
        quiet_for 2
        quit_viewer
        longest_hold >>"$work/hold"
    done
    stop "$daemon"
    result "list window of $rows addresses and $ports ports: longest hold of the main thread, opened and reloaded" \
        "$(largest hold)" ms "" "" "$3"
    result "memory a row of it, all else of the window included" "$(median row-bytes)" bytes "" "" ""
}

measure_lists() {
    viewer_display
    measure_list "$million" 80000 100
    measure_list "$((million * 2))" 150000 ""
}
