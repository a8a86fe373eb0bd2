# SPDX-License-Identifier: BSD-2-Clause
#
# The viewer on a virtual display, driven with real keys, and what its own trace says; for the parts
# of bench/run that need it.

# Starts a display once for a part.
viewer_display() {
    start_virtual_display
    nations_database
    export HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
}

# start_viewer TRACE: sets viewer and trace; its first rows were painted afterwards.
start_viewer() {
    trace="$work/$1.json"
    BRINDLE_TRACE="$trace" timeout 400 "$bin/brindle" vardex >"$work/brindle.out" 2>"$work/brindle.log" &
    viewer_guard=$!
    started_processes+=("$viewer_guard")
    first_rows_came() { [ "$(times_of 'first rows painted' | wc -l)" -ge 1 ]; }
    wait_for 60 first_rows_came
    viewer="$(pgrep -P "$viewer_guard")"
    window="$(timeout 20 xdotool search --sync --onlyvisible --name '^PF Realtime Log$' | head -n 1)"
    timeout 20 xdotool windowfocus --sync "$window"
}
keys() { timeout 20 xdotool key --clearmodifiers "$@"; }
# Ends it as a user does; its trace is complete afterwards.
quit_viewer() {
    timeout 20 xdotool windowfocus --sync "$window"
    keys ctrl+q
    wait "$viewer_guard" || true
}

# times_of NAME: the microseconds since the start of all events of that name.
times_of() { grep -o "\"name\":\"$1\"[^}]*" "$trace" 2>/dev/null | grep -o '"ts":[0-9.]*' | cut -d: -f2; }
# The longest time for which the main thread answered to nothing after the first paint, milliseconds.
# By what, goes to standard error.
longest_hold() {
    grep -o 'longest main-thread hold[^"]*' "$trace" | sed 's/^/   /' >&2
    grep -o '"name":"longest main-thread hold[^}]*' "$trace" | grep -o '"dur":[0-9.]*' |
        cut -d: -f2 | awk '{ printf "%.0f\n", $1 / 1000 }'
}
# quiet_for SECONDS: waits, at most a minute, until the viewer took no processor time for so long.
quiet_for() {
    local before now quiet=0 tries=0
    before="$(processor_seconds "$viewer")"
    while [ "$quiet" -lt "$1" ] && [ $tries -lt 60 ]; do
        sleep 1
        now="$(processor_seconds "$viewer")"
        quiet=$(($(calculate "$now - $before < 0.03" %d) ? quiet + 1 : 0))
        before="$now"
        tries=$((tries + 1))
    done
}
