# SPDX-License-Identifier: BSD-2-Clause
#
# Packets that the kernel logs to an NFLOG group, in a network of its own, stored by tallyd and by
# ulogd2 with its SQLite output, one after the other.

# The next three run inside of that network.
nflog_network() {
    ip link set lo up
    nft add table inet t
    nft 'add chain inet t o { type filter hook output priority 0; }'
    nft "add rule inet t o udp dport 9905 log prefix \"SITE_DROP \" group 5"
}
nflog_ours() {
    nflog_network
    rm -f "$work/nflog.sqlite"*
    start_daemon --store "$work/nflog.sqlite" --source nflog:5
    "$bin/sendpackets" "$1" "$2" 9905 >/dev/null
    sleep 2
    processor_seconds "$daemon" >>"$work/ours.cpu"
    stop "$daemon"
    sqlite3 "$work/nflog.sqlite" 'SELECT count(*) FROM records' >>"$work/ours.stored"
}
nflog_theirs() {
    local plugins ulogd
    plugins="$(dirname "$(dpkg -L ulogd2 | grep 'ulogd_inppkt_NFLOG.so$')")"
    rm -f "$work/ulogd.sqlite"*
    # The columns that a record of ours has, as far as a packet has them.
    sqlite3 "$work/ulogd.sqlite" 'CREATE TABLE ulog (oob_prefix, oob_time_sec, oob_time_usec, oob_in,
        oob_out, ip_saddr, ip_daddr, ip_protocol, udp_sport, udp_dport)'
    cat >"$work/ulogd.conf" <<TEXT
[global]
logfile="$work/ulogd.log"
loglevel=5
plugin="$plugins/ulogd_inppkt_NFLOG.so"
plugin="$plugins/ulogd_raw2packet_BASE.so"
plugin="$plugins/ulogd_filter_IFINDEX.so"
plugin="$plugins/ulogd_output_SQLITE3.so"
stack=log:NFLOG,base:BASE,ifi:IFINDEX,store:SQLITE3
[log]
group=5
netlink_socket_buffer_size=8388608
netlink_socket_buffer_maxsize=16777216
[store]
db="$work/ulogd.sqlite"
table="ulog"
TEXT
    nflog_network
    ulogd -c "$work/ulogd.conf" >/dev/null 2>"$work/ulogd.err" </dev/null &
    ulogd=$!
    started_processes+=("$ulogd")
    sleep 1
    "$bin/sendpackets" "$1" "$2" 9905 >/dev/null
    # What waits in the kernel it may still store, for a minute.
    local before="" now tries=30
    now="$(processor_seconds "$ulogd")"
    while [ "$before" != "$now" ] && [ $tries -gt 0 ]; do
        sleep 2
        before="$now"
        now="$(processor_seconds "$ulogd")"
        tries=$((tries - 1))
    done
    processor_seconds "$ulogd" >>"$work/theirs.cpu"
    stop "$ulogd"
    sqlite3 "$work/ulogd.sqlite" 'SELECT count(*) FROM ulog' >>"$work/theirs.stored"
}
# in_a_network FUNCTION ARGUMENTS...: with the functions and settings of this script.
in_a_network() {
    local settings
    settings="$(declare -f; declare -p bin work started_processes scratch_folders)"
    unshare -n bash -c "$settings"'
        set -euo pipefail
        scratch_folders=()
        trap stop_started EXIT
        "$@"' bash "$@"
}

measure_nflog() {
    local count=$((million / 10)) rate=20000 theirs="not installed" cpu="not installed" missing=
    if [ "$(id -u)" -ne 0 ] || ! unshare -n true 2>/dev/null; then
        missing="needs root"
    elif ! in_a_network nflog_network 2>/dev/null; then
        missing="the kernel has no NFLOG"
    fi
    if [ -n "$missing" ]; then
        result "packets logged by the kernel: stored of those sent" "$missing" "" "" "" ""
        return
    fi
    for _ in $(seq "$runs"); do
        in_a_network nflog_ours "$count" "$rate"
        if have ulogd && dpkg -s ulogd2-sqlite3 >/dev/null 2>&1; then
            in_a_network nflog_theirs "$count" "$rate"
            theirs="$(calculate "$(median theirs.stored) * 100 / $count" %.1f)"
            cpu="$(calculate "$(median theirs.cpu) / ($(median theirs.stored) + 1e-9) * 1e5")"
        fi
    done
    result "$count packets logged by the kernel, $rate a second: stored of those sent" \
        "$(calculate "$(median ours.stored) * 100 / $count" %.1f)" % '`ulogd`, SQLite' "$theirs" min100
    result "processor time of 100,000 packets stored" \
        "$(calculate "$(median ours.cpu) / ($(median ours.stored) + 1e-9) * 1e5")" s '`ulogd`, SQLite' "$cpu" ""
}
