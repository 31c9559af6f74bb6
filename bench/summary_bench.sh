#!/usr/bin/env bash
# Reading cost and memory of hostcapture-summary, measured against libxml2 alone in the same run.
#
#   bench/summary_bench.sh [build folder] [pages for the memory run]
#
# 1. Writes a demo-size page from the bundled simulator profile.
# 2. Parses the same 1,000 page files with `xmllint --html --noout` (libxml2's HTML parser alone)
#    and reads them with hostcapture-summary, each in one process, and prints both times and
#    their ratio (the summary must stay within twice libxml2's cost).
# 3. Reads 10,000 pages (hard links to the one page: the reading is the same, the disk is not
#    filled) writing the JSON export and the overview, and prints the peak RSS from
#    /usr/bin/time -v (it must stay under 100 MiB: pages are read one at a time).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
many=${2:-10000}
summary=$build/src/summary/hostcapture-summary
for tool in xmllint /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "missing: $tool (scripts/setup installs it)" >&2; exit 1; }
done
[ -x "$summary" ] || { echo "build first: $summary is missing" >&2; exit 1; }

work=$(mktemp -d /tmp/hcbench.XXXXXX)
trap 'kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir -p "$work/root" "$work/pages" "$work/many"
"$build/tools/qmxd-sim/qmxd-sim" --sysroot "$work/root" --profile "$top/tools/qmxd-sim/profiles/demo.json" >/dev/null &
sim=$!
for _ in $(seq 100); do [ -e "$work/root/var/run/tmqdx.pid" ] && break; sleep 0.05; done
HOSTCAPTURE_SYSROOT="$work/root" "$build/src/app/HostCapture" -output "$work/demo.html" >/dev/null
kill "$sim"; wait "$sim" 2>/dev/null || true
echo "demo page: $(stat -c %s "$work/demo.html") bytes"

links() { # count folder: hard links to the demo page, without a process per link
    python3 -c 'import os, sys
for i in range(int(sys.argv[1])): os.link(sys.argv[2], "%s/p%d.html" % (sys.argv[3], i))' "$1" "$work/demo.html" "$2"
}
links 1000 "$work/pages"
seconds() { local start end; start=$(date +%s%N); "$@" >/dev/null 2>&1 || true; end=$(date +%s%N); echo $(( (end - start) / 1000 )); }
best() { local best=0 t; for _ in 1 2 3; do t=$(seconds "$@"); if [ "$best" -eq 0 ] || [ "$t" -lt "$best" ]; then best=$t; fi; done; echo "$best"; }
# Both must really read every page: a run that fails at once would look fast.
line=$("$summary" "$work/pages" || true)   # the demo server has warnings: exit status 1
[[ $line == *": 1000 hosts, 1000 warning |"* ]] || { echo "the summary did not read the pages: $line" >&2; exit 1; }
[ "$(xmllint --html --noout "$work"/pages/*.html 2>&1 | wc -l)" -lt 1000 ] || { echo "xmllint failed" >&2; exit 1; }
xml=$(best xmllint --html --noout "$work"/pages/*.html)
ours=$(best "$summary" --quiet "$work/pages")
echo "1,000 pages, best of 3: xmllint --html --noout ${xml} us ($(( xml / 1000 )) us a page)," \
     "hostcapture-summary ${ours} us ($(( ours / 1000 )) us a page)"
awk -v a="$ours" -v b="$xml" 'BEGIN { printf "ratio summary / libxml2: %.2f (limit 2.00)\n", a / b }'

links "$many" "$work/many"
/usr/bin/time -v "$summary" --quiet --json "$work/fleet.json" --html "$work/fleet.html" "$work/many" \
    2>"$work/time.txt" || true
rss=$(awk -F: '/Maximum resident set size/ { gsub(/ /, "", $2); print $2 }' "$work/time.txt")
wall=$(awk '/Elapsed \(wall clock\)/ { print $NF }' "$work/time.txt")
echo "$many pages with --json and --html: peak RSS $((rss / 1024)) MiB (limit 100 MiB), wall $wall," \
     "export $(( $(stat -c %s "$work/fleet.json") / 1048576 )) MiB"
