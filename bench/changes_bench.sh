#!/usr/bin/env bash
# Cost and memory of the changes since the capture before, over a fleet of hosts with two pages
# each:
#
#   bench/changes_bench.sh [build folder] [hosts]     (default 1000 hosts)
#
# 1. Writes two demo-size pages from the test profiles changes-before and changes-after (a failed
#    drive, a power supply back, a memory module gone, a new BIOS, a warmer processor and 20 new
#    event-log entries between them).
# 2. Builds two fleets of hard links (the reading is the same, the disk is not filled) that hold
#    the same pages in number and size: in one every host's two pages differ in those ways (half
#    the hosts before -> after, half after -> before: "with changes"), in the other both pages of
#    a host are the same capture (half before twice, half after twice: "without changes").
# 3. Times the summary (overview and change pages; CPU time, best of 5 rounds taken in turns, with its wall time) over
#    each fleet, reading every page and with --latest (which reads the newest page and the one
#    before it), and prints the ratio with / without (limit 1.20); for scale also the same run
#    with --no-changes (which with --latest reads one page a host instead of two). With changes
#    it is timed twice a round: creating the change pages (into a new folder), and
#    again over the same pages, whose change pages already say the same and are left alone.
# 4. Prints the peak RSS (/usr/bin/time -v) of the --latest run with changes at a tenth of the
#    hosts and at all of them, and of the same run with --no-changes: one host's two pages are
#    held at a time, so the comparison adds nothing per host (what grows is the overview's one
#    line per host, which it holds with or without changes).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
hosts=${2:-1000}
summary=$build/src/summary/hostcapture-summary
[ -x /usr/bin/time ] || { echo "missing: /usr/bin/time (scripts/setup installs it)" >&2; exit 1; }
[ -x "$summary" ] || { echo "build first: $summary is missing" >&2; exit 1; }

work=$(mktemp -d /tmp/hcchanges.XXXXXX)
sim=
trap 'if [ -n "$sim" ]; then kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true; fi; rm -rf "$work"' EXIT
capture() { # profile output
    mkdir -p "$work/root-$1"
    "$build/tools/qmxd-sim/qmxd-sim" --sysroot "$work/root-$1" --profile "$top/testdata/profiles/$1.json" >/dev/null &
    sim=$!
    for _ in $(seq 100); do [ -e "$work/root-$1/var/run/tmqdx.pid" ] && break; sleep 0.05; done
    HOSTCAPTURE_SYSROOT="$work/root-$1" "$build/src/app/HostCapture" -output "$2" >/dev/null
    kill "$sim"; wait "$sim" 2>/dev/null || true; sim=
}
capture changes-before "$work/before.html"
capture changes-after "$work/after.html"
echo "pages: $(stat -c %s "$work/before.html") and $(stat -c %s "$work/after.html") bytes"

fleet() { # folder hosts first second: hosts alternate first -> second and second -> first
    python3 -c 'import os, sys
folder, hosts, first, second = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
for i in range(hosts):
    d = "%s/host%04d" % (folder, i)
    os.makedirs(d)
    older, newer = (first, second) if i % 2 == 0 else (second, first)
    os.link(older, d + "/20261124T060000Z.html")
    os.link(newer, d + "/20261125T060000Z.html")' "$@"
}
fleet "$work/changed" "$hosts" "$work/before.html" "$work/after.html"
mkdir -p "$work/same"
python3 -c 'import os, sys
folder, hosts, before, after = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
for i in range(hosts):
    d = "%s/host%04d" % (folder, i)
    os.makedirs(d)
    page = before if i % 2 == 0 else after
    os.link(page, d + "/20261124T060000Z.html")
    os.link(page, d + "/20261125T060000Z.html")' "$work/same" "$hosts" "$work/before.html" "$work/after.html"
fleet "$work/small" $((hosts / 10)) "$work/before.html" "$work/after.html"

# Every run must really compare: a run that fails at once would look fast.
line=$("$summary" --latest "$work/changed" | head -n 1 || true)
[[ $line == *"; since the previous capture: $hosts changed ($hosts worse), $((hosts / 2 * 20)) new event-log entries |"* ]] ||
    { echo "the summary did not compare the pages: $line" >&2; exit 1; }
line=$("$summary" --latest "$work/same" | head -n 1 || true)
[[ $line == *"; since the previous capture: 0 changed (0 worse), 0 new event-log entries |"* ]] ||
    { echo "identical pages gave changes: $line" >&2; exit 1; }

# CPU time (user + system) of one run in ms: on a machine shared with other work it is the cost
# of the run itself; the wall time beside it also counts the waiting for a processor.
cpu() { /usr/bin/time -f "%U %S %e" -o "$work/t.txt" "$@" >/dev/null 2>&1 || true; tail -n 1 "$work/t.txt" | awk '{ printf "%d %d\n", ($1 + $2) * 1000, $3 * 1000 }'; }
run() { # label options...: the runs take turns, five rounds, so that a busy moment of the
    # machine does not fall on one of them only; the best round of each counts
    local label=$1; shift
    rm -rf "$work/out"; mkdir -p "$work/out"
    local -A best wall
    local round kind t w
    for round in 1 2 3 4 5; do
        for kind in created with without off; do
            case $kind in
            # A new overview name each round: its change pages are created in a new folder (not
            # where files were just removed, which costs the file system a search of its own).
            created) read -r t w < <(cpu "$summary" --quiet --html "$work/out/new$round.html" "$@" "$work/changed") ;;
            with) read -r t w < <(cpu "$summary" --quiet --html "$work/out/changed.html" "$@" "$work/changed") ;;
            without) read -r t w < <(cpu "$summary" --quiet --html "$work/out/same.html" "$@" "$work/same") ;;
            off) read -r t w < <(cpu "$summary" --quiet --no-changes --html "$work/out/off.html" "$@" "$work/changed") ;;
            esac
            if [ -z "${best[$kind]:-}" ] || [ "$t" -lt "${best[$kind]}" ]; then best[$kind]=$t; wall[$kind]=$w; fi
        done
    done
    echo "$label, CPU time, best of 5: with changes ${best[created]} ms creating the change pages," \
         "${best[with]} ms again; without changes ${best[without]} ms; comparison off ${best[off]} ms" \
         "(wall ${wall[created]}, ${wall[with]}, ${wall[without]}, ${wall[off]} ms)"
    awk -v c="${best[created]}" -v a="${best[with]}" -v b="${best[without]}" -v label="$label" \
        'BEGIN { printf "  ratio with / without changes (%s): %.2f creating, %.2f again (limit 1.20)\n", label, c / b, a / b }'
}
run "$hosts hosts x 2 pages, every page read"
run "$hosts hosts x 2 pages, --latest" --latest

peak() { # folder [options]
    local folder=$1; shift
    /usr/bin/time -v "$summary" --quiet --latest "$@" --json "$work/out/fleet.json" --html "$work/out/fleet.html" \
        "$folder" 2>"$work/time.txt" >/dev/null || true
    awk -F: '/Maximum resident set size/ { gsub(/ /, "", $2); print $2 }' "$work/time.txt"
}
small=$(peak "$work/small")
large=$(peak "$work/changed")
off=$(peak "$work/changed" --no-changes)
echo "peak RSS, --latest with --json and --html: with changes $((hosts / 10)) hosts $((small / 1024)) MiB," \
     "$hosts hosts $((large / 1024)) MiB; comparison off $hosts hosts $((off / 1024)) MiB"
