# SPDX-License-Identifier: BSD-2-Clause
#
# A minute of 20,000 records a second into the daemon, with the viewer in live mode beside it: all
# stored, nothing lost on the way to the viewer, its memory flat.

figure() { grep -o "\"$1\":[0-9]*" <<<"$2" | head -n 1 | cut -d: -f2; }

measure_live() {
    local rate=$((million / 50)) seconds=75 count began cpu early late status stored lost
    count=$((rate * seconds))
    capture minute "$count" "$seconds" --kind openbsd --worldwide --addresses 2000 --seed 11
    nations_database
    start_daemon --store "$work/live.sqlite" --source "replay:$capture"
    began=$SECONDS
    viewer_display
    start_viewer live
    # Ctrl+1 is the live mode that it starts in.
    sleep 5
    early="$(resident_kb "$viewer")"
    cpu="$(processor_seconds "$viewer")"
    sleep $((seconds - 3 - (SECONDS - began)))
    late="$(resident_kb "$viewer")"
    cpu="$(calculate "($(processor_seconds "$viewer") - $cpu) / ($rate * ($seconds - 8)) * 1e5")"
    all_came() { [ "$(figure received "$("$bin/tallyctl" status --json)")" -ge "$count" ]; }
    wait_for 30 all_came || true
    sleep 1
    status="$("$bin/tallyctl" status --json)"
    stored="$(figure stored "$status")"
    lost="$(grep -o '"lost":{[^}]*}' <<<"$status" | grep -o ':[0-9]*' | tr -d : | awk '{ sum += $1 } END { print sum + 0 }')"
    result "live, $rate records a second for $seconds seconds: stored" \
        "$(calculate "$stored * 100 / $count")" % "" "" min100
    result "lost by the daemon or on the way to the viewer" "$lost" records "" "" 0
    result "the daemon, processor time of 100,000 records" \
        "$(calculate "$(processor_seconds "$daemon") / $count * 1e5")" s "" "" ""
    result "growth of the viewer's memory from its fifth second to the end" \
        "$(calculate "($late - $early) / 1024" %.1f)" MB "" "" 5
    quit_viewer
    result "longest hold of the main thread meanwhile" "$(longest_hold)" ms "" "" 100
}
