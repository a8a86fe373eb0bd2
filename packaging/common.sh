# SPDX-License-Identifier: BSD-2-Clause
#
# What ./run, ./test and .ci/run share; sourced by them from the project's folder.

started_processes=()
scratch_folders=()

# Ends what this script started, and nothing else.
stop_started() {
    local pid
    for pid in "${started_processes[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    for pid in "${started_processes[@]}"; do
        wait "$pid" 2>/dev/null || true
    done
    started_processes=()
    [ ${#scratch_folders[@]} -eq 0 ] || rm -rf -- "${scratch_folders[@]}"
}

# scratch_folder NAME: sets NAME to a new folder that goes away with the script. Under /tmp, as a
# socket's path holds about a hundred characters.
scratch_folder() {
    local new_folder
    new_folder="$(mktemp -d /tmp/brindle.XXXXXX)"
    scratch_folders+=("$new_folder")
    printf -v "$1" %s "$new_folder"
}

# configure PRESET [-DNAME=VALUE...]: once, and again when settings are given or the presets changed;
# the build itself notices changed CMake files.
configure() {
    local preset="$1"
    shift
    local plan="build/$preset/build.ninja"
    if [ $# -eq 0 ] && [ -f "$plan" ] && [ "$plan" -nt CMakePresets.json ]; then
        return
    fi
    cmake --preset "$preset" "$@"
}

# wait_for SECONDS COMMAND...: until the command succeeds; fails when the time is up.
wait_for() {
    local tries=$(($1 * 20))
    shift
    until "$@"; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
        sleep 0.05
    done
}

# Starts a display without a screen, and a window manager on it, for what this script starts after.
start_virtual_display() {
    local folder
    scratch_folder folder
    Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp -noreset 3>"$folder/display" \
        >"$folder/xvfb.log" 2>&1 </dev/null &
    started_processes+=($!)
    if ! wait_for 20 test -s "$folder/display"; then
        echo "no virtual display:" >&2
        cat "$folder/xvfb.log" >&2
        return 1
    fi
    DISPLAY=":$(cat "$folder/display")"
    export DISPLAY QT_QPA_PLATFORM=xcb
    unset WAYLAND_DISPLAY XAUTHORITY
    openbox >"$folder/openbox.log" 2>&1 </dev/null &
    started_processes+=($!)
}

# Starts a session bus for what this script starts after.
start_session_bus() {
    local folder
    scratch_folder folder
    dbus-daemon --session --nofork --nopidfile --print-address=3 3>"$folder/address" \
        >"$folder/log" 2>&1 </dev/null &
    started_processes+=($!)
    if ! wait_for 10 test -s "$folder/address"; then
        echo "no session bus:" >&2
        cat "$folder/log" >&2
        return 1
    fi
    DBUS_SESSION_BUS_ADDRESS="$(cat "$folder/address")"
    export DBUS_SESSION_BUS_ADDRESS
}
