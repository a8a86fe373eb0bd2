# SPDX-License-Identifier: BSD-2-Clause
#
# What a connected client costs the daemon in memory: a hundred that take live records.

measure_clients() {
    local count=100 alone with
    million_store
    start_daemon --store "$store"
    # What the first request makes once is not the clients'.
    "$bin/tallyctl" status >/dev/null
    sleep 1
    alone="$(resident_kb "$daemon")"
    for _ in $(seq $count); do
        "$bin/tallyctl" tail >/dev/null 2>&1 &
        started_processes+=($!)
    done
    all_there() { "$bin/tallyctl" status --json | grep -q "\"liveClients\":$count\b"; }
    wait_for 60 all_there
    sleep 1
    with="$(resident_kb "$daemon")"
    result "daemon with a store of $million records and no client, memory" \
        "$(calculate "$alone / 1024" %.1f)" MB "" "" ""
    result "memory a client more, of $count that take live records" \
        "$(calculate "($with - $alone) / $count" %.0f)" kB "" "" ""
}
