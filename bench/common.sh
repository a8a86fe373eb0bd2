# SPDX-License-Identifier: BSD-2-Clause
#
# What bench/run, its parts and bench/growth share; sourced from the project's folder after
# packaging/common.sh.

results="$PWD/build/bench/results.tsv"
inputs="$PWD/build/bench/inputs"
million="${BENCH_COUNT:-1000000}"
large="${BENCH_LARGE:-10000000}"
mkdir -p "$inputs"
# Without it tcpdump asks the file system for the zone at each packet, which takes it half as long again.
export TZ=UTC0

# prepare_programs TARGET...: sets bin to the folder of the built programs; installs the others.
prepare_programs() {
    packaging/install-packages
    # Whatever of these cannot be had is told in its row.
    packaging/install-packages packages-bench.txt >&2 || true
    if [ -n "${BRINDLE_BIN:-}" ]; then
        bin="$(realpath -- "$BRINDLE_BIN")"
        return
    fi
    configure release
    # Looks again for what was installed since.
    cmake build/release >/dev/null
    local mmdb=()
    if [ -d build/release/bench/mmdb/CMakeFiles/bench_mmdb.dir ]; then
        mmdb=(bench_mmdb)
    fi
    cmake --build build/release --target "$@" "${mmdb[@]}"
    bin="$PWD/build/release/bin"
}

# --- inputs

# made FILE COMMAND...: runs the command, which makes FILE, unless one is there that is younger than
# a day: what the viewer is asked for ends now.
made() {
    local file="$1"
    shift
    if [ -e "$file" ] && [ -z "$(find "$file" -mmin +1200)" ]; then
        return
    fi
    echo "Making ${file##*/}..." >&2
    rm -f "$file" "$file"-*
    "$@" || { rm -f "$file" "$file"-*; return 1; }
}

# capture NAME COUNT SECONDS ARGUMENTS...: sets capture to a capture of so many packets that ends
# now; the same packets each time, but for their times.
capture() {
    capture="$inputs/$1-$2.pcap"
    local count="$2" seconds="$3"
    shift 3
    made "$capture" "$bin/makecapture" --count "$count" --start $(($(date +%s) - seconds)) \
        --span "$seconds" "$@" "$capture"
}

# Addresses of the whole world, as real logs have them: a documentation network's few would all fall
# into a few of tcpdump's lists, which makes it slow.
million_capture() { capture million "$million" 86000 --kind freebsd13 --worldwide --addresses 2000 --seed 7; }

# The stores come from captures; the capture of the large one is not kept.
million_store() {
    million_capture
    store="$inputs/million-$million.sqlite"
    made "$store" "$bin/tallyd" import --store "$store" "$capture" >&2
}
make_large_store() {
    capture month "$large" $((30 * 86400)) --kind openbsd --worldwide --addresses 50000 --seed 9
    "$bin/tallyd" import --store "$store" "$capture" >&2 && rm -f "$capture"
}
large_store() {
    store="$inputs/month-$large.sqlite"
    made "$store" make_large_store
}

nation_ranges() {
    ranges="$inputs/ranges.csv"
    made "$ranges" sh -c 'awk -f bench/nations/ranges.awk >"$1"' sh "$ranges"
}
# Sets BRINDLE_NATIONS_DB to what the viewer reads.
nations_database() {
    nation_ranges
    export BRINDLE_NATIONS_DB="$inputs/worldCIDR.plist"
    made "$BRINDLE_NATIONS_DB" "$bin/makenations" "$ranges" "$BRINDLE_NATIONS_DB" >&2
}

# --- programs

# timed NAME COMMAND...: appends seconds, kilobytes at the most and processor seconds of a command to
# the files NAME.s, NAME.kb and NAME.cpu of the part.
timed() {
    local name="$work/$1"
    shift
    if ! /usr/bin/time -o "$work/time" -f '%e %M %U %S' "$@" 2>"$work/errors"; then
        cat "$work/errors" "$work/time" >&2
        return 1
    fi
    awk -v s="$name.s" -v kb="$name.kb" -v cpu="$name.cpu" \
        '{ print $1 >>s; print $2 >>kb; print $3 + $4 >>cpu }' "$work/time"
}
median() { sort -n "$work/$1" | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
largest() { sort -n "$work/$1" | tail -n 1; }
# calculate EXPRESSION [FORMAT]
calculate() { awk "BEGIN { printf \"${2:-%.2f}\", ($1) }"; }
have() { command -v "$1" >/dev/null; }
resident_kb() { awk '/^VmRSS/ { print $2 }' "/proc/$1/status"; }
# Processor seconds that a process took so far.
processor_seconds() { awk -v hz="$(getconf CLK_TCK)" '{ sub(/.*\) /, ""); print ($12 + $13) / hz }' "/proc/$1/stat"; }

# start_daemon ARGUMENTS...: sets daemon and TALLYD_SOCKET.
start_daemon() {
    export TALLYD_SOCKET="$work/tallyd.sock"
    : >"$work/tallyd.out"
    "$bin/tallyd" serve --socket "$TALLYD_SOCKET" "$@" >"$work/tallyd.out" 2>"$work/tallyd.log" </dev/null &
    daemon=$!
    started_processes+=("$daemon")
    if ! wait_for 60 grep -qx ready "$work/tallyd.out"; then
        echo "tallyd did not get ready:" >&2
        cat "$work/tallyd.log" >&2
        return 1
    fi
}
# stop PROCESS: one that this script started.
stop() {
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

# --- results

begin_part() {
    part="$1"
    part_began=$SECONDS
    echo "== $part ($(date -u +%H:%M:%S), load $(cut -d' ' -f1 /proc/loadavg))" >&2
    scratch_folder work
    rm -f "$results.new"
}
# result WORK OURS UNIT OTHER THEIRS BUDGET: BUDGET is the most that OURS may be, "x" and the most
# that OURS / THEIRS may be, or "min" and the least that OURS must be. Empty is what there is not;
# THEIRS is "not installed" where that is why.
result() {
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$part" "$1" "$2" "$3" "${4:-}" "${5:-}" "${6:-}" >>"$results.new"
    printf '   %s: %s %s   %s\n' "$1" "$2" "$3" "${4:+($4: ${5:-})}" >&2
}
# The new rows of a part take the place of its old ones.
end_part() {
    touch "$results" "$results.new"
    awk -F'\t' -v part="$part" '$1 != part' "$results" | cat - "$results.new" >"$results.all"
    mv "$results.all" "$results"
    rm -f "$results.new"
    printf '%s\t%s, runs: %s\t%s\t%s\n' "$part" "$(date -u +%Y-%m-%d)" "$runs" "$(cut -d' ' -f1-3 /proc/loadavg)" \
        "$((SECONDS - part_began))" >"$results.$part.when"
    stop_started
    scratch_folders=()
}
