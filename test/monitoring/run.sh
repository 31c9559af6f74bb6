#!/usr/bin/env bash
# The daily capture as a monitoring system sees it, end to end:
#
#   test/monitoring/run.sh [build folder]
#
# 1. The units: systemd-analyze verify (binaries and manual pages of the build under a private
#    root) and systemd-analyze security --offline=true, whose exposure must stay at 2.0 or less.
# 2. The service's command lines, read from debian/hostcapture.service itself, run against the
#    simulator under a system root (state and textfile folders moved below it): one page 0600 in
#    a 0700 folder, the metrics file 0644 with no temporary file left beside it.
# 3. promtool check metrics on that file (no error, no lint remark), promtool check rules and
#    test rules, every input series of the rules' test found in real metrics of the test profiles.
# 4. Debian's prometheus-node-exporter and prometheus, started here on 127.0.0.1 with free ports
#    and private folders: the exporter reads the textfile folder the service wrote, Prometheus
#    scrapes it every second, and its HTTP API must give the demo host's failing members with
#    the states and readings its page shows, and the pending warning alerts for them.
# A missing program fails the test; nothing is skipped.
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
unit=$top/debian/hostcapture.service
timer=$top/debian/hostcapture.timer
rules=$top/deploy/prometheus/hostcapture.rules.yml
rules_test=$top/deploy/prometheus/hostcapture.rules.test.yml
capture=$build/src/app/HostCapture
summary=$build/src/summary/hostcapture-summary
sim=$build/tools/qmxd-sim/qmxd-sim
demo_host=rack07-node3.example.net
started=$(date +%s)

fail() {
    echo "test/monitoring: $*" >&2
    exit 1
}
for tool in prometheus prometheus-node-exporter promtool systemd-analyze python3 curl; do
    command -v "$tool" >/dev/null || fail "missing $tool (scripts/setup monitoring generators)"
done
for program in "$capture" "$summary" "$sim"; do
    [ -x "$program" ] || fail "build first: $program is missing"
done

tmp=$(mktemp -d /tmp/hcmon.XXXXXX) # short: socket paths must fit into sun_path
pids=()
cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    for pid in "${pids[@]}"; do
        timeout 10 tail --pid="$pid" -f /dev/null 2>/dev/null || true
    done
    rm -rf "$tmp"
}
trap cleanup EXIT

# Starts the simulator with a profile on a fresh system root, left in sim_root (not printed: a
# command substitution would note the pid in a subshell, and the daemon would outlive the test).
start_sim() {
    sim_root=$(mktemp -d "$tmp/root.XXXX")
    cp -r "$top/tools/qmxd-sim/demo-root/." "$sim_root"
    mkdir -p "$sim_root/var/log/plinthd"
    "$sim" --daemon --sysroot "$sim_root" --profile "$1" --pid-file "$sim_root/sim.pid" >/dev/null \
        2>"$sim_root/sim.err"
    pids+=("$(cat "$sim_root/sim.pid")")
}

# --- 1. the units -----------------------------------------------------------------------------
units=$tmp/units
mkdir -p "$units/usr/sbin" "$units/usr/bin" "$units/usr/share/man/man1" "$units/usr/share/man/man8" \
    "$units/usr/lib/systemd"
ln -s usr/lib "$units/lib"
cp -r /usr/lib/systemd/system "$units/usr/lib/systemd/"
cp "$capture" "$units/usr/sbin/"
cp "$summary" "$units/usr/bin/"
cp "$build/doc/man/HostCapture.8" "$units/usr/share/man/man8/"
cp "$build/doc/man/hostcapture-summary.1" "$units/usr/share/man/man1/"
cp "$unit" "$timer" "$units/usr/lib/systemd/system/"
verify=$(MANPATH=$units/usr/share/man systemd-analyze verify --root="$units" \
    "$units/usr/lib/systemd/system/hostcapture.service" "$units/usr/lib/systemd/system/hostcapture.timer" 2>&1) ||
    fail "systemd-analyze verify: $verify"
[ -z "$verify" ] || fail "systemd-analyze verify is not clean: $verify"
exposure=$(systemd-analyze security --offline=true "$unit" 2>&1 |
    sed -n 's/.*Overall exposure level for hostcapture.service: \([0-9.]*\).*/\1/p')
[ -n "$exposure" ] || fail "systemd-analyze security gave no exposure level"
awk -v e="$exposure" 'BEGIN { exit !(e <= 2.0) }' || fail "exposure $exposure is above 2.0"

# --- 2. the service's command lines under a system root ---------------------------------------
start_sim "$top/tools/qmxd-sim/profiles/demo.json"
root=$sim_root
setting() { sed -n "s/^$1=//p" "$unit"; }
state=$root/var/lib/$(setting StateDirectory)
mkdir -p "$state" "$root/var/lib/prometheus/node-exporter"
chmod "$(setting StateDirectoryMode)" "$state"
textfiles=$root/var/lib/prometheus/node-exporter
# A command line of the unit with the programs of the build and the fixed folders below the root.
mapped() {
    local word out=()
    for word in $1; do
        case $word in
        /usr/sbin/HostCapture) out+=("$capture") ;;
        /usr/bin/hostcapture-summary) out+=("$summary") ;;
        /var/*) out+=("$root$word") ;;
        *) out+=("$word") ;;
        esac
    done
    echo "${out[*]}"
}
workdir=$(mapped "$(setting WorkingDirectory)")
umask_value=$(setting UMask)
mapfile -t starts < <(setting ExecStart)
mapfile -t posts < <(setting ExecStopPost)
[ "${#starts[@]}" -ge 1 ] && [ "${#posts[@]}" -ge 1 ] || fail "the unit lacks ExecStart or ExecStopPost"
for line in "${starts[@]}" "${posts[@]}"; do
    ignore=false
    if [ "${line:0:1}" = "-" ]; then
        ignore=true
        line=${line:1}
    fi
    command_line=$(mapped "$line")
    set +e
    (cd "$workdir" && umask "$umask_value" && HOSTCAPTURE_SYSROOT=$root exec $command_line) \
        >>"$tmp/service.out" 2>&1
    status=$?
    set -e
    [ "$status" -eq 0 ] || [ "$ignore" = true ] || fail "$line exited with $status: $(cat "$tmp/service.out")"
done
pages=("$state"/HostCapture_*.html)
[ "${#pages[@]}" -eq 1 ] && [ -f "${pages[0]}" ] || fail "the service left no page in $state: $(ls -A "$state")"
[ "$(stat -c %a "$state")" = 700 ] || fail "state folder mode $(stat -c %a "$state")"
[ "$(stat -c %a "${pages[0]}")" = 600 ] || fail "page mode $(stat -c %a "${pages[0]}")"
metrics=$textfiles/hostcapture.prom
[ -f "$metrics" ] || fail "the service wrote no metrics: $(cat "$tmp/service.out")"
[ "$(stat -c %a "$metrics")" = 644 ] || fail "metrics mode $(stat -c %a "$metrics")"
[ "$(ls -A "$textfiles")" = hostcapture.prom ] || fail "more than the metrics in $textfiles: $(ls -A "$textfiles")"
grep -qx "hostcapture_page_readable{host=\"$demo_host\"} 1" "$metrics" || fail "no readable page in the metrics"

# --- 3. promtool on the metrics and the rules --------------------------------------------------
lint=$(promtool check metrics <"$metrics" 2>&1) || fail "promtool check metrics: $lint"
[ -z "$lint" ] || fail "promtool check metrics remarks: $lint"
promtool check rules "$rules" >/dev/null || fail "promtool check rules failed"
(cd "$(dirname "$rules_test")" && promtool test rules "$(basename "$rules_test")" >"$tmp/rules.out" 2>&1) ||
    fail "promtool test rules: $(cat "$tmp/rules.out")"
# The rules' test speaks of the series the summary really writes for the test profiles.
mkdir -p "$tmp/fleet/gone"
for profile in healthy failed-psu degraded-raid; do
    start_sim "$top/testdata/profiles/$profile.json"
    mkdir -p "$tmp/fleet/$profile"
    HOSTCAPTURE_SYSROOT=$sim_root "$capture" -output "$tmp/fleet/$profile/20260101T000000Z.html" >/dev/null
done
printf 'host: gone\nreason: unreachable\n' >"$tmp/fleet/gone/20260101T000000Z.failed"
"$summary" --quiet --metrics "$tmp/fleet.prom" "$tmp/fleet" "${pages[0]}" 2>/dev/null || true
while read -r series; do
    grep -qF "$series " "$tmp/fleet.prom" || fail "the rules' test uses a series the metrics lack: $series"
done < <(sed -n "s/^ *- series: '\(.*\)'$/\1/p" "$rules_test")

# --- 4. node exporter and Prometheus -----------------------------------------------------------
free_port() { python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
exporter_port=$(free_port)
prometheus-node-exporter --web.listen-address="127.0.0.1:$exporter_port" --collector.disable-defaults \
    --collector.textfile --collector.textfile.directory="$textfiles" >"$tmp/exporter.log" 2>&1 &
pids+=($!)
prometheus_port=$(free_port)
mkdir -p "$tmp/prometheus"
cat >"$tmp/prometheus/prometheus.yml" <<EOF
global:
  scrape_interval: 1s
  evaluation_interval: 1s
rule_files:
  - $rules
scrape_configs:
  - job_name: node
    static_configs:
      - targets: ["127.0.0.1:$exporter_port"]
EOF
prometheus --config.file="$tmp/prometheus/prometheus.yml" --storage.tsdb.path="$tmp/prometheus/data" \
    --web.listen-address="127.0.0.1:$prometheus_port" >"$tmp/prometheus.log" 2>&1 &
pids+=($!)

"$summary" --json "$tmp/page.json" "${pages[0]}" >/dev/null || true
python3 - "$prometheus_port" "$demo_host" "$tmp/page.json" <<'EOF' || fail "Prometheus: see above (logs: exporter $(tail -n 3 "$tmp/exporter.log"), prometheus $(tail -n 3 "$tmp/prometheus.log"))"
import json, sys, time, urllib.parse, urllib.request

port, host, export = sys.argv[1], sys.argv[2], sys.argv[3]

def api(path, **query):
    url = "http://127.0.0.1:%s/api/v1/%s?%s" % (port, path, urllib.parse.urlencode(query))
    with urllib.request.urlopen(url, timeout=5) as answer:
        return json.load(answer)["data"]

def wait(what, probe, seconds=60):
    deadline = time.time() + seconds
    while True:
        try:
            result = probe()
            if result:
                return result
        except OSError:
            pass
        if time.time() > deadline:
            sys.exit("gave up waiting for " + what)
        time.sleep(0.5)

# What the page itself shows, from the summary's JSON export: every failing member row with its
# state (1 warning, 2 error or major) and its readings by heading.
page = json.load(open(export))["pages"][0]
expected = {}
for section in page["sections"]:
    if section["block"] != "System Health" or section["title"] == "System Event Log":
        continue
    for table in section["tables"]:
        heads = table["headings"][1:]
        name = next((heads.index(h) for h in ("Designation", "Name", "Socket") if h in heads), None)
        for row in table["rows"]:
            state = {"warning": 1, "error": 2, "major": 2}.get(row["status"]["name"])
            if state is not None:
                cells = dict(zip(heads, row["cells"]))
                expected[(section["title"], row["cells"][name])] = (state, cells)
if len(expected) < 3:
    sys.exit("the demo page has only %d failing members" % len(expected))

selector = '{host="%s"}' % host
found = wait("the demo host's failing members",
             lambda: api("query", query="hostcapture_member_state%s > 0" % selector)["result"])
got = {(r["metric"]["section"], r["metric"]["member"]): float(r["value"][1]) for r in found}
want = {key: float(value[0]) for key, value in expected.items()}
if got != want:
    sys.exit("failing members from Prometheus %s, from the page %s" % (sorted(got.items()), sorted(want.items())))

readings = {"Temperature (\u00b0C)": "hostcapture_temperature_celsius", "RPM": "hostcapture_fan_speed_rpm",
            "Current Power (W)": "hostcapture_power_supply_watts", "Current (V)": "hostcapture_voltage_volts"}
checked = 0
for (section, member), (state, cells) in expected.items():
    for heading, family in readings.items():
        if heading not in cells:
            continue
        query = '%s{host="%s",section="%s",member="%s"}' % (family, host, section, member)
        result = api("query", query=query)["result"]
        if len(result) != 1 or float(result[0]["value"][1]) != float(cells[heading]):
            sys.exit("%s gives %s, the page shows %s" % (query, result, cells[heading]))
        checked += 1
if checked < 2:
    sys.exit("only %d readings of failing members were compared" % checked)

def pending():
    alerts = api("alerts")["alerts"]
    return {(a["labels"].get("section"), a["labels"].get("member")) for a in alerts
            if a["labels"]["alertname"] == "HostCaptureComponentWarning" and a["state"] == "pending"
            and a["labels"]["host"] == host}
warned = {key for key, value in want.items() if value == 1}
wait("the pending warning alerts", lambda: pending() == warned or None, 30)
print("Prometheus: %d failing members, %d readings, %d pending warning alerts" % (len(got), checked, len(warned)))
EOF
# Four simulators, the exporter and Prometheus, each to be stopped on the way out.
[ "${#pids[@]}" -eq 6 ] || fail "${#pids[@]} processes noted for stopping, not 6"
echo "Monitoring test passed: exposure $exposure, $(grep -vc '^#' "$metrics") series, $(($(date +%s) - started)) s"
