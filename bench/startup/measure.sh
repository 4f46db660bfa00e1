#!/bin/bash
# Start-up time to a docked tray icon, idle memory and idle wake-ups of Corvane against a bare Qt
# tray program (startup_floor), under Xvfb with trayer as the tray.
#
#   bench/startup/measure.sh BUILD_DIR [RUNS] [IDLE_SECONDS]
#
# BUILD_DIR must hold src/app/corvane and bench/startup/startup_floor (configure with
# -DCORVANE_BUILD_BENCH=ON, preferably -DCMAKE_BUILD_TYPE=Release). Prints a Markdown table.
set -euo pipefail

build=$(realpath "$1")
runs=${2:-7}
idle=${3:-60}
corvane=$build/src/app/corvane
floor=$build/bench/startup/startup_floor
for program in "$corvane" "$floor"; do
    [[ -x $program ]] || { echo "missing $program" >&2; exit 2; }
done

# shellcheck source=../../scripts/lib/xvfb-tray.sh
source "$(dirname "$0")/../../scripts/lib/xvfb-tray.sh"

now_ns() { date +%s%N; }

# Starts PROGRAM with a fresh config home; sets $pid and $startup_ms (start to docked icon).
start_docked() {
    local program=$1 class
    class=$(basename "$program")
    local home
    home=$(mktemp -d -p "$work")
    local t0
    t0=$(now_ns)
    XDG_CONFIG_HOME=$home "$program" >/dev/null 2>&1 &
    pid=$!
    pids+=("$pid")
    # The docked icon is the program's window reparented into the tray's panel.
    until xwininfo -tree -id "$panel" 2>/dev/null | grep -q "(\"$class\" "; do
        kill -0 "$pid" 2>/dev/null || { echo "$class exited before docking" >&2; exit 1; }
        sleep 0.002
    done
    startup_ms=$((($(now_ns) - t0) / 1000000))
}

stop() {
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
    # Let the tray drop the old icon before the next program docks.
    while xwininfo -tree -id "$panel" 2>/dev/null | grep -q '("'; do sleep 0.01; done
}

switches() { # voluntary + involuntary context switches of all threads of PID
    cat /proc/"$1"/task/*/status | awk '/ctxt_switches/ { n += $2 } END { print n }'
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

declare -A times
for ((i = 0; i < runs; i++)); do
    # Alternate so that drift on the shared machine hits both programs alike.
    for program in "$floor" "$corvane"; do
        start_docked "$program"
        times[$program]+="$startup_ms "
        stop "$pid"
    done
done

declare -A rss wakeups
for program in "$floor" "$corvane"; do
    start_docked "$program"
    sleep 5 # settle: icon painted, first-use allocations done
    rss[$program]=$(awk '/VmRSS/ { print $2 }' /proc/"$pid"/status)
    before=$(switches "$pid")
    sleep "$idle"
    after=$(switches "$pid")
    wakeups[$program]=$(((after - before) * 60 / idle))
    stop "$pid"
done

floor_ms=$(tr ' ' '\n' <<<"${times[$floor]}" | grep . | median)
corvane_ms=$(tr ' ' '\n' <<<"${times[$corvane]}" | grep . | median)
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b == 0) print "n/a"; else printf "%.2f", a / b }'; }

echo "| | startup_floor | corvane | ratio |"
echo "|---|---|---|---|"
echo "| start to docked icon, median of $runs (ms) | $floor_ms | $corvane_ms | $(ratio "$corvane_ms" "$floor_ms") |"
echo "| resident memory when idle (KiB) | ${rss[$floor]} | ${rss[$corvane]} | $(ratio "${rss[$corvane]}" "${rss[$floor]}") |"
echo "| context switches per minute when idle | ${wakeups[$floor]} | ${wakeups[$corvane]} | |"
echo
echo "start-up samples (ms): floor ${times[$floor]}; corvane ${times[$corvane]}"
