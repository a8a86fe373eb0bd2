# SPDX-License-Identifier: BSD-2-Clause
#
# Recordings into a store, against programs that read the same recordings; and what comes out again.

# A million lines of a netfilter log in which few addresses come often; the same each time.
make_lines() {
    awk -v count="$million" -v start="$(($(date +%s) - 86000))" 'BEGIN {
        srand(7)
        for (i = 0; i < count; ++i) {
            rank = int(exp(rand() * log(2000)))
            time = start + i * 86000 / count
            mixed = (rank * 40503 * 2654435) % 4294967296
            printf "%s.%06d+00:00 gate kernel: [%d.%06d] SITE_%s IN=eth0 OUT= MAC= SRC=%d.%d.%d.%d " \
                "DST=192.168.1.%d LEN=60 TOS=0x00 PREC=0x00 TTL=%d ID=%d DF PROTO=TCP SPT=%d DPT=%d " \
                "WINDOW=64240 RES=0x00 SYN URGP=0 \n", strftime("%Y-%m-%dT%H:%M:%S", int(time), 1),
                (time % 1) * 1000000, i / 10, i % 1000000, rank % 4 ? "DROP" : "ALLOW",
                1 + mixed / 16777216 % 222, mixed / 65536 % 256, mixed / 256 % 256, mixed % 256,
                2 + rank % 9, 40 + rank % 20, i % 65536, 1024 + rand() * 60000,
                rand() < 0.5 ? 443 : 1 + rand() * 9999
        }
    }' >"$1"
}

import_into_empty() {
    local name="$1"
    shift
    rm -f "$work"/store.sqlite*
    timed "$name" "$bin/tallyd" import --store "$work/store.sqlite" "$@" >"$work/imported"
}

measure_captures() {
    local kinds=(openbsd freebsd freebsd13 darwin netbsd openbsd34 old17 nflog) kind slowest=-1
    million_capture
    for _ in $(seq "$runs"); do
        timed tcpdump sh -c 'tcpdump -n -e -r "$1" >/dev/null' sh "$capture"
        import_into_empty import "$capture"
    done
    grep -q "^imported $million records, skipped 0$" "$work/imported" || cat "$work/imported" >&2
    result "import of $million pflog packets into an empty store, durable; 2,000 remote addresses" \
        "$(median import.s)" s '`tcpdump -n -e -r`' "$(median tcpdump.s)" x3
    result "the same, most memory" "$(calculate "$(largest import.kb) / 1024" %.0f)" MB \
        '`tcpdump`' "$(calculate "$(largest tcpdump.kb) / 1024" %.0f)" ""
    capture many "$million" 86000 --kind openbsd --worldwide --addresses 50000 --seed 7
    for _ in $(seq "$runs"); do
        timed tcpdump-many sh -c 'tcpdump -n -e -r "$1" >/dev/null' sh "$capture"
        import_into_empty import-many "$capture"
    done
    result "the same with 50,000 remote addresses" "$(median import-many.s)" s '`tcpdump -n -e -r`' \
        "$(median tcpdump-many.s)" x3
    # Each layout once a run: only that none of them is slow.
    for kind in "${kinds[@]}"; do
        capture "layout-$kind" $((million / 10)) 86000 --kind "$kind" --worldwide --addresses 2000 --seed 7
        for _ in $(seq "$runs"); do
            # tcpdump does not know that one.
            [ $kind = old17 ] ||
                timed "tcpdump-$kind" sh -c 'tcpdump -n -e -r "$1" >/dev/null' sh "$capture"
            import_into_empty "import-$kind" "$capture"
        done
        grep -q "^imported $((million / 10)) records, skipped 0$" "$work/imported" || cat "$work/imported" >&2
        if [ "$(calculate "$(median "import-$kind.s") > $slowest" %d)" = 1 ]; then
            slowest="$(median "import-$kind.s")"
            slowest_kind="$kind"
        fi
    done
    [ -e "$work/tcpdump-$slowest_kind.s" ] || echo cannot >"$work/tcpdump-$slowest_kind.s"
    result "import of $((million / 10)) packets, the slowest of ${#kinds[@]} layouts ($slowest_kind)" "$slowest" s \
        '`tcpdump -n -e -r`' "$(median "tcpdump-$slowest_kind.s")" ""
}

measure_tshark() {
    local theirs="not installed" counted="not installed" memory="not installed"
    million_capture
    if have tshark; then
        timed tshark sh -c 'tshark -n -r "$1" >/dev/null' sh "$capture"
        timed endpoints sh -c 'tshark -n -r "$1" -q -z endpoints,ip >/dev/null' sh "$capture"
        theirs="$(median tshark.s)"
        counted="$(median endpoints.s)"
        memory="$(calculate "$(largest endpoints.kb) / 1024" %.0f)"
    fi
    result "import of the first capture, again" "$(median import.s)" s '`tshark -n -r`, once' "$theirs" ""
    result "import of it and a count of every address" \
        "$(calculate "$(median import.s) + $(median count.s)")" s '`tshark -q -z endpoints,ip`, once' "$counted" ""
    result "the same, most memory" "$(calculate "$(largest import.kb) / 1024" %.0f)" MB '`tshark`' "$memory" ""
}

measure_lines() {
    local lines="$inputs/netfilter-$million.log" theirs="not installed" memory="not installed"
    made "$lines" make_lines "$lines"
    for _ in $(seq "$runs"); do
        import_into_empty lines "$lines"
        if have lnav; then
            timed lnav sh -c 'HOME="$2" lnav -n -c ":filter-in DPT=443 " "$1" >/dev/null' sh "$lines" "$work"
            theirs="$(median lnav.s)"
            memory="$(calculate "$(largest lnav.kb) / 1024" %.0f)"
        fi
    done
    grep -q "^imported $million records, skipped 0$" "$work/imported" || cat "$work/imported" >&2
    result "import of $million lines of a netfilter log" "$(median lines.s)" s '`lnav -n`, one filter' "$theirs" ""
    result "the same, most memory" "$(calculate "$(largest lines.kb) / 1024" %.0f)" MB '`lnav`' "$memory" ""
}

# Out of the daemon again, all of it: tcpdump's prints as the measure.
measure_queries() {
    local query=("$bin/tallyctl" query --from 0 --to $(($(date +%s) + 1)) --format csv)
    million_store
    start_daemon --store "$store"
    for _ in $(seq "$runs"); do
        timed query sh -c '"$@" >/dev/null' sh "${query[@]}"
        # When the first line is there, the rest is not waited for.
        timed first sh -c '"$@" 2>/dev/null | head -n 2 >/dev/null' sh "${query[@]}"
        timed count sh -c '"$@" >/dev/null' sh "$bin/tallyctl" count --epoch 0 --action block --direction in --obj SRCIP
    done
    stop "$daemon"
    result "query of all $million records, csv" "$(median query.s)" s '`tcpdump -n -e -r`' "$(median tcpdump.s)" ""
    result "the first line of it" "$(median first.s)" s "" "" ""
    result "\`tallyctl\`, most memory for it" "$(calculate "$(largest query.kb) / 1024" %.0f)" MB "" "" 64
}

measure_import() {
    measure_captures
    measure_queries
    measure_tshark
    measure_lines
}
