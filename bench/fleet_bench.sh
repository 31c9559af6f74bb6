#!/usr/bin/env bash
# Cost of the collection playbook per host, beside Ansible's own floor on the same inventory.
#
#   bench/fleet_bench.sh N [build folder]        (FORKS=50 by default, as deploy/ansible/ansible.cfg)
#
# Starts N simulated hosts on this machine: each a system root of its own with a daemon
# simulator (started once, up front, healthy profile), reached through Ansible's local
# connection. Then it times, with /usr/bin/time, over the same inventory and with the same forks:
#
#   floor     ansible all -m command -a true    one module run per host, nothing else
#   raw       ansible all -m raw -a true        one shell command per host, no module at all
#   playbook  ansible-playbook hostcapture.yml  HostCapture on every host, pages fetched,
#                                               markers, summary, fleet.txt
#
# and prints wall time and CPU time (user + system of Ansible and everything it started, which
# on this machine includes the hosts' side) per host, and the playbook's ratio to the floor.
# One HostCapture run alone is timed too, since the playbook's CPU includes N of them.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
hosts=${1:?usage: bench/fleet_bench.sh N [build folder]}
build=$(cd "${2:-$top/build}" && pwd)
forks=${FORKS:-50}
for tool in ansible ansible-playbook /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "missing: $tool (scripts/setup ansible bench)" >&2; exit 1; }
done
for program in "$build/src/app/HostCapture" "$build/tools/qmxd-sim/qmxd-sim" "$build/src/summary/hostcapture-summary"; do
    [ -x "$program" ] || { echo "build first: $program is missing" >&2; exit 1; }
done

work=$(mktemp -d /tmp/hcfleet.XXXXXX)   # short: socket paths must fit into sun_path
stop_sims() {
    for pidfile in "$work"/r/*/var/run/tmqdx.pid; do
        [ -e "$pidfile" ] && kill "$(cat "$pidfile")" 2>/dev/null || true
    done
}
trap 'stop_sims; rm -rf "$work"' EXIT

{
    echo "all:"
    echo "  vars:"
    echo "    ansible_connection: local"
    echo "    ansible_python_interpreter: /usr/bin/python3"
    echo "    hostcapture_become: false"
    echo "    hostcapture_binary: $build/src/app/HostCapture"
    echo "  hosts:"
} >"$work/inventory.yml"
for i in $(seq "$hosts"); do
    root=$work/r/h$i
    mkdir -p "$root/var/log/plinthd"
    "$build/tools/qmxd-sim/qmxd-sim" --daemon --sysroot "$root" --profile "$top/testdata/profiles/healthy.json" >/dev/null 2>&1
    echo "    h$i: {hostcapture_environment: {HOSTCAPTURE_SYSROOT: \"$root\"}}" >>"$work/inventory.yml"
done
echo "$hosts simulated hosts, $forks forks"

export ANSIBLE_LOCAL_TEMP=$work/ansible-local ANSIBLE_REMOTE_TEMP=$work/ansible-remote
export ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=False ANSIBLE_FORKS=$forks

measure() { # name command...: prints "wall cpu" in seconds; the command must succeed
    local name=$1
    shift
    if ! /usr/bin/time -f "%e %U %S" -o "$work/$name.time" "$@" >"$work/$name.log" 2>&1; then
        tail -n 30 "$work/$name.log" >&2
        echo "$name failed" >&2
        exit 1
    fi
    awk '{ printf "%s %.2f\n", $1, $2 + $3 }' "$work/$name.time"
}
read -r floor_wall floor_cpu < <(measure floor ansible all -i "$work/inventory.yml" -m command -a true)
read -r raw_wall raw_cpu < <(measure raw ansible all -i "$work/inventory.yml" -m raw -a true)
read -r book_wall book_cpu < <(measure playbook ansible-playbook -i "$work/inventory.yml" \
    "$top/deploy/ansible/hostcapture.yml" -e "hostcapture_reports_dir=$work/reports" \
    -e "hostcapture_summary=$build/src/summary/hostcapture-summary")
pages=$(find "$work/reports" -name '2*Z.html' | wc -l)
[ "$pages" -eq "$hosts" ] || { echo "only $pages of $hosts pages arrived" >&2; exit 1; }
# Ten runs: one is below the timer's 10 ms resolution.
read -r ten_wall ten_cpu < <(measure ten env HOSTCAPTURE_SYSROOT="$work/r/h1" sh -c \
    'for i in 1 2 3 4 5 6 7 8 9 10; do "$0" -output "$1/one$i.html" || exit 1; done' \
    "$build/src/app/HostCapture" "$work")

awk -v n="$hosts" -v fw="$floor_wall" -v fc="$floor_cpu" -v bw="$book_wall" -v bc="$book_cpu" \
    -v oc="$ten_cpu" -v rw="$raw_wall" -v rc="$raw_cpu" 'BEGIN {
    printf "%-44s %12s %12s\n", "per host", "wall (ms)", "CPU (ms)"
    printf "%-44s %12.1f %12.1f\n", "floor: ansible all -m command -a true", 1000 * fw / n, 1000 * fc / n
    printf "%-44s %12.1f %12.1f\n", "raw: ansible all -m raw -a true", 1000 * rw / n, 1000 * rc / n
    printf "%-44s %12.1f %12.1f\n", "playbook: hostcapture.yml", 1000 * bw / n, 1000 * bc / n
    printf "%-44s %12.2f %12.2f\n", "playbook / floor", bw / fw, bc / fc
    printf "%-44s %12.2f %12.2f\n", "playbook / raw", bw / rw, bc / rc
    printf "%-44s %12s %12.1f\n", "of which HostCapture itself (one run)", "", 100 * oc
}'
echo "($pages pages fetched; summary: $(head -n 1 "$work/reports/fleet.txt"))"
