#!/usr/bin/env bash
# Cost of writing the Prometheus metrics beside the cost of reading the pages they come from.
#
#   bench/metrics_bench.sh [build folder]
#
# Writes a demo-size page from the bundled simulator profile, then times hostcapture-summary on
# 1 page and on 1,000 pages (hard links, each in a host folder of its own, so 1,000 hosts), best
# of 5 runs each: reading alone (--quiet) and reading with --metrics. The difference is the cost
# of the metrics. It also prints the file's size and series, and the peak memory of the 1,000.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
summary=$build/src/summary/hostcapture-summary
command -v /usr/bin/time >/dev/null || { echo "missing: /usr/bin/time (scripts/setup bench)" >&2; exit 1; }
[ -x "$summary" ] || { echo "build first: $summary is missing" >&2; exit 1; }

work=$(mktemp -d /tmp/hcmbench.XXXXXX)
trap 'kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir -p "$work/root" "$work/one" "$work/fleet"
"$build/tools/qmxd-sim/qmxd-sim" --sysroot "$work/root" --profile "$top/tools/qmxd-sim/profiles/demo.json" \
    >/dev/null 2>&1 &
sim=$!
for _ in $(seq 100); do [ -e "$work/root/var/run/tmqdx.pid" ] && break; sleep 0.05; done
HOSTCAPTURE_SYSROOT="$work/root" "$build/src/app/HostCapture" -output "$work/one/demo.html" >/dev/null
kill "$sim"; wait "$sim" 2>/dev/null || true
for i in $(seq 1000); do
    mkdir "$work/fleet/host$i"
    ln "$work/one/demo.html" "$work/fleet/host$i/20260101T000000Z.html"
done

# Processor time (user + system) of one run, in microseconds, the best of 5 measurements of
# "repeat" runs each (the clock ticks in hundredths of a second, so one page is run 100 times):
# on a shared machine the wall clock mostly measures the neighbours.
cpu() {
    local repeat=$1 best=0 t
    shift
    for _ in 1 2 3 4 5; do
        /usr/bin/time -f "%U %S" -o "$work/cpu.txt" \
            bash -c 'for _ in $(seq "$0"); do "$@" >/dev/null 2>&1; done; true' "$repeat" "$@"
        t=$(tail -n 1 "$work/cpu.txt" | awk -v n="$repeat" '{ printf "%d", ($1 + $2) * 1000000 / n }')
        if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi
    done
    echo "$best"
}

for set in one fleet; do
    pages=$([ "$set" = one ] && echo 1 || echo 1000)
    repeat=$([ "$set" = one ] && echo 100 || echo 1)
    read_only=$(cpu "$repeat" "$summary" --quiet "$work/$set")
    with=$(cpu "$repeat" "$summary" --quiet --metrics "$work/$set.prom" "$work/$set")
    # Both must really have done the work: a run that fails at once would look fast.
    hosts=$(grep -c '^hostcapture_page_readable{.*} 1$' "$work/$set.prom")
    [ "$hosts" -eq "$pages" ] || { echo "the metrics hold $hosts readable hosts, not $pages" >&2; exit 1; }
    echo "$pages page(s), processor time: reading ${read_only} us, reading and writing metrics ${with} us," \
         "so the metrics $(( with - read_only )) us ($(( (with - read_only) / pages )) us a page);" \
         "file $(stat -c %s "$work/$set.prom") bytes, $(grep -vc '^#' "$work/$set.prom") series"
done
/usr/bin/time -v "$summary" --quiet --metrics "$work/fleet.prom" "$work/fleet" 2>"$work/time.txt" >/dev/null || true
rss=$(awk -F: '/Maximum resident set size/ { gsub(/ /, "", $2); print $2 }' "$work/time.txt")
echo "1000 pages with --metrics: peak RSS $((rss / 1024)) MiB"
