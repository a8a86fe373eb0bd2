# SPDX-License-Identifier: BSD-2-Clause
#
# The logs window with a million records: the start, the period's rows, sorting and filtering them.

# The period of seven days by its shortcut, until the last row is there.
show_period() {
    local before after sent
    before="$(resident_kb "$viewer")"
    timeout 20 xdotool key --clearmodifiers ctrl+3
    # The first fill wrote the first "last row", the period's answer writes the second.
    last_row_came() { [ "$(times_of 'last row' | wc -l)" -ge 2 ]; }
    wait_for 60 last_row_came
    quiet_for 2
    after="$(resident_kb "$viewer")"
    sent="$(times_of 'query sent' | tail -n 1)"
    calculate "($(times_of 'first rows painted' | tail -n 1) - $sent) / 1000" '%.0f\n' >>"$work/rows-first"
    calculate "($(times_of 'last row' | tail -n 1) - $sent) / 1000" '%.0f\n' >>"$work/rows-all"
    echo $(((after - before) * 1024 / million)) >>"$work/row-bytes"
}

# A word is typed into the filter and taken out again, three headers are clicked, the end and the
# start of the table are gone to: whatever holds the main thread there counts.
use_table() {
    local x
    keys ctrl+f
    timeout 20 xdotool type --delay 100 blocked
    quiet_for 1
    keys ctrl+a BackSpace
    quiet_for 1
    keys Escape Tab
    # Date, source, source port: descending and ascending. Places within the window.
    for x in 60 500 900; do
        for _ in 1 2; do
            timeout 20 xdotool mousemove --window "$window" "$x" 77 click 1
            quiet_for 1
        done
    done
    keys ctrl+End
    keys ctrl+Home
    quiet_for 1
}

measure_viewer() {
    local i
    million_store
    start_daemon --store "$store"
    viewer_display
    for i in $(seq "$runs"); do
        start_viewer "trace$i"
        times_of 'first rows painted' | head -n 1 | awk '{ printf "%.0f\n", $1 / 1000 }' >>"$work/start"
        quiet_for 1
        show_period
        use_table
        quit_viewer
        longest_hold >>"$work/hold"
    done
    result "start of the viewer to the first painted rows, nation database of 560,000 blocks" \
        "$(median start)" ms "" "" 800
    result "period of $million records: first rows painted" "$(median rows-first)" ms "" "" 150
    result "the same: last row in the table" "$(median rows-all)" ms "" "" 2500
    result "memory a row" "$(median row-bytes)" bytes "" "" 300
    result "longest hold of the main thread: period, filter, sorting, scrolling" "$(largest hold)" ms "" "" 100
}
