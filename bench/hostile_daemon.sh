#!/usr/bin/env bash
# Runs HostCapture against two hostile simulated daemons and prints time, peak memory (measured
# from outside with /usr/bin/time -v), page size and table rows:
#   1. every member count answered with 0xFFFFFFFF;
#   2. every text answered with 60,000,000 bytes (each reply below the 64 MiB reply cap), the
#      event log included.
# Usage: bench/hostile_daemon.sh [build folder]   (default: build)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
tool=$build/src/app/HostCapture
sim=$build/tools/qmxd-sim/qmxd-sim
[ -x "$tool" ] && [ -x "$sim" ] || { echo "build first: scripts/build $build" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "/usr/bin/time is missing (apt-get install time)" >&2; exit 1; }

work=$(mktemp -d)
simPid=
cleanup() {
    if [ -n "$simPid" ]; then kill "$simPid" 2>/dev/null || true; wait "$simPid" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap cleanup EXIT

# Starts the simulator on a fresh system root and waits for its pid file.
start_sim() {
    local profile=$1
    rm -rf "$work/root"
    mkdir -p "$work/root"
    "$sim" --sysroot "$work/root" --profile "$profile" >"$work/sim.out" 2>&1 &
    simPid=$!
    for _ in $(seq 100); do
        [ -e "$work/root/var/run/tmqdx.pid" ] && return 0
        sleep 0.05
    done
    echo "simulator did not start: $(cat "$work/sim.out")" >&2
    exit 1
}

stop_sim() {
    kill "$simPid"
    wait "$simPid" || true
    simPid=
}

# Runs the tool once and prints the figures.
measure() {
    local name=$1
    local page=$work/$name.html
    local status=0
    HOSTCAPTURE_SYSROOT=$work/root /usr/bin/time -v "$tool" -output "$page" >"$work/$name.out" \
        2>"$work/$name.time" || status=$?
    local wall rss rows cut
    wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/$name.time")
    rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/$name.time")
    rows=$( (grep -o '<tr' "$page" || true) | wc -l)
    cut=$( (grep -o '\[cut: [0-9]* bytes\]' "$page" || true) | wc -l)
    local size
    size=$(stat -c %s "$page")
    printf '%-8s exit %d  wall %s  peak RSS %d KiB (%s MiB)  page %d bytes (%s MiB)  rows %d  cut texts %d\n' \
        "$name" "$status" "$wall" "$rss" "$(awk "BEGIN{printf \"%.1f\", $rss/1024}")" "$size" \
        "$(awk "BEGIN{printf \"%.1f\", $size/1048576}")" "$rows" "$cut"
    (grep -o '[0-9]* more left out[^<]*' "$page" || true) | sort | uniq -c | sed 's/^/    left-out row: /'
}

cat >"$work/counts.json" <<'JSON'
{ "counts": 4294967295 }
JSON
start_sim "$work/counts.json"
measure counts
stop_sim

# Every text query answers 60,000,000 bytes; one member per table so that each table shows cut
# texts; adapters are mass storage adapters.
big='{"repeat": {"text": "<big & \"hostile\" text> ", "bytes": 60000000}}'
{
    echo '{ "counts": 1, "answers": {'
    for key in 0x0C00/*/* 0xE001/0x0210/* 0xE107/*/* 0x0304/*/* 0x0404/*/* 0x0504/*/* 0x0522/*/* \
               0x0602/*/* 0x0605/*/* 0x0702/*/* 0x070B/*/* 0x070D/*/* 0x1043/*/* 0x1803/*/* 0x1804/*/* \
               0x2111/*/* 0x2133/*/* 0x2152/*/* 0x2155/*/* 0x0B10/*/*; do
        echo "  \"$key\": $big,"
    done
    echo '  "0x1805/*/*": {"DA": 3}'
    echo '} }'
} >"$work/strings.json"
start_sim "$work/strings.json"
measure strings
stop_sim
