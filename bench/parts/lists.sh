# SPDX-License-Identifier: BSD-2-Clause
#
# A list window that counts 100,000 addresses: opening it, reloading it, its memory a row.

# Enough records that about so many of the drawn addresses come at all.
make_lists_store() {
    capture lists "$((million * 2))" 86000 --kind openbsd --worldwide --addresses 150000 --seed 13
    "$bin/tallyd" import --store "$1" "$capture" >&2
}

# counted FIELD: how many rows there are of it.
counted() {
    "$bin/tallyctl" count --epoch 0 --action block --direction in --obj "$1" --format csv | tail -n +2 | wc -l
}

measure_lists() {
    local i rows ports before after list
    store="$inputs/lists-$((million * 2)).sqlite"
    made "$store" make_lists_store "$store"
    start_daemon --store "$store"
    rows="$(counted SRCIP)"
    ports="$(counted DSTPORT)"
    viewer_display
    for i in $(seq "$runs"); do
        start_viewer "lists$i"
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
    result "list window of $rows addresses and $ports ports: longest hold of the main thread, opened and reloaded" \
        "$(largest hold)" ms "" "" 100
    result "memory a row of it, its $ports ports and all else of the window included" "$(median row-bytes)" bytes "" "" ""
}
