#!/usr/bin/env bash
# Runs the collection playbook over simulated hosts on this machine (local connection, each with
# its own system root, daemon simulator and temporary folder) and checks what it leaves behind:
#
#   healthy, raid, psu, nodaemon, bigevents, rooted   pages (rooted through su, the become path)
#   stall      a daemon that never answers: a page cut by a 5 s time bound
#   gone       nobody listens: unreachable
#   noisy      HostCapture fails with escape sequences on its standard error
#   pkgfail    the package install fails on the host (a stand-in apt-get)
#   tmpfail    mktemp fails on the host
#
# and then the same reports folder under --limit, --check and a package that does not exist,
# and, in folders of their own, an inventory with a "../" name, a bad time bound and a reports
# folder that is a symbolic link, and an empty inventory. checks.py holds the checks; test_collect.py the task's rules that need no
# host.
#
#   test/playbook/run.sh [build folder]
#
# A run that the time bound stops keeps its page (HostCapture writes it on SIGTERM); with
# HOSTCAPTURE_TEST_ALLOW_EMPTY_CUT_PAGE=1 a stalled host that left no page is accepted too, as
# long as it is reported as cut short.
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
here=$top/test/playbook
playbook=$top/deploy/ansible/hostcapture.yml

# The collection task's own rules first (Debian's Python: the one that has Ansible).
/usr/bin/python3 -m unittest discover -s "$here" -p 'test_*.py'

work=$(mktemp -d /tmp/hcans.XXXXXX)   # short: socket paths must fit into sun_path
sims=()
cleanup() {
    for pid in "${sims[@]}"; do kill -CONT "$pid" 2>/dev/null || true; kill "$pid" 2>/dev/null || true; done
    for pid in "${sims[@]}"; do wait "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT

start_sim() { # host profile
    local root=$work/r/$1
    mkdir -p "$root/var/log/plinthd"
    "$build/tools/qmxd-sim/qmxd-sim" --sysroot "$root" --profile "$2" >"$work/$1.sim.log" 2>&1 &
    sims+=($!)
    for _ in $(seq 200); do [ -e "$root/var/run/tmqdx.pid" ] && return 0; sleep 0.05; done
    echo "simulator for $1 did not start: $(cat "$work/$1.sim.log")" >&2
    exit 1
}

python3 "$top/tools/qmxd-sim/make_profile.py" --event-records 4000 -o "$work/bigevents.json"
start_sim healthy "$top/testdata/profiles/healthy.json"
start_sim raid "$top/testdata/profiles/degraded-raid.json"
start_sim psu "$top/testdata/profiles/failed-psu.json"
start_sim stall "$top/testdata/profiles/healthy.json"
kill -STOP "${sims[-1]}"   # listening, accepting into the backlog, never answering
start_sim bigevents "$work/bigevents.json"
mkdir -p "$work/r/nodaemon/var/log/plinthd"

# Stand-ins on the hosts: a HostCapture that fails loudly and an apt-get that cannot install.
mkdir -p "$work/bin"
printf '#!/bin/sh\nprintf "daemon gone\\033]0;owned\\007\\033[2J\\nsecond line\\n" >&2\nexit 3\n' >"$work/bin/noisy"
printf '#!/bin/sh\necho "E: Invalid archive signature \\033[31m$*"\nexit 100\n' >"$work/bin/apt-get"
chmod +x "$work/bin/noisy" "$work/bin/apt-get"
echo "not a package" >"$work/fake.deb"

host_entry() { # name system-root time-bound temporary-folder [more yaml lines...]
    mkdir -p "$work/tmp/$1"
    cat <<ENTRY
    $1:
      ansible_connection: local
      hostcapture_timeout: $3
      hostcapture_environment: {HOSTCAPTURE_SYSROOT: "$work/r/$2", TMPDIR: "$4", PATH: "$work/bin:/usr/bin:/bin"}
ENTRY
    shift 4
    for line in "$@"; do echo "      $line"; done
}
{
    cat <<INVENTORY
all:
  vars:
    hostcapture_become: false
    hostcapture_binary: $build/src/app/HostCapture
  hosts:
    gone: {ansible_connection: ssh, ansible_host: 127.0.0.1, ansible_port: 1, ansible_user: nobody}
INVENTORY
    for host in healthy raid psu nodaemon bigevents; do host_entry $host $host 60 "$work/tmp/$host"; done
    host_entry stall stall 5 "$work/tmp/stall"
    # As root, su to root asks no password: become really wraps the commands. As anyone else
    # become stays configured but unused (same user), which still takes the become path.
    host_entry rooted healthy 60 "$work/tmp/rooted" "hostcapture_become: true" \
        "ansible_become_method: $([ "$(id -u)" = 0 ] && echo su || echo sudo)" "ansible_become_user: $(id -un)"
    host_entry noisy healthy 60 "$work/tmp/noisy" "hostcapture_binary: $work/bin/noisy"
    host_entry pkgfail healthy 60 "$work/tmp/pkgfail" "hostcapture_deb: $work/fake.deb"
    host_entry tmpfail healthy 60 "$work/no-such-folder"
} >"$work/inventory.yml"

# An earlier page of one host stays, and is not the one summarised.
mkdir -p "$work/reports/healthy"
echo "an earlier run" >"$work/reports/healthy/20000101T000000Z.html"

export ANSIBLE_LOCAL_TEMP=$work/ansible-local ANSIBLE_REMOTE_TEMP=$work/ansible-remote
export ANSIBLE_HOST_KEY_CHECKING=False ANSIBLE_NOCOLOR=1 ANSIBLE_FORKS=12 ANSIBLE_RETRY_FILES_ENABLED=False
export ANSIBLE_SSH_ARGS="-o ConnectTimeout=5 -o BatchMode=yes"
export ANSIBLE_BECOME_ALLOW_SAME_USER=$([ "$(id -u)" = 0 ] && echo True || echo False)
export HOSTCAPTURE_TEST_ALLOW_EMPTY_CUT_PAGE=${HOSTCAPTURE_TEST_ALLOW_EMPTY_CUT_PAGE:-0}

play() { # name expected-status inventory reports-folder [ansible-playbook arguments...]
    local name=$1 expected=$2 inventory=$3 reports=$4 status=0 start=$SECONDS
    shift 4
    python3 "$here/checks.py" snapshot "$work" "$reports" >"$work/$name.before.json"
    ansible-playbook -i "$inventory" "$playbook" -e "hostcapture_reports_dir=$reports" \
        -e "hostcapture_summary=$build/src/summary/hostcapture-summary" "$@" >"$work/$name.log" 2>&1 || status=$?
    echo "playbook $name: exit $status, $((SECONDS - start)) s"
    if [ "$status" != "$expected" ]; then
        cat "$work/$name.log"
        echo "FAIL: playbook $name exited with $status, expected $expected" >&2
        exit 1
    fi
    if ! python3 "$here/checks.py" "$name" "$work" "$reports"; then
        cat "$work/$name.log"
        exit 1
    fi
}

# Some hosts give no page: the playbook fails them at the end, after the summary (exit 2).
play full 2 "$work/inventory.yml" "$work/reports"
# A host gone from the inventory left a page long ago: --max-age (passed through) leaves it out.
mkdir "$work/reports/retired"
cp "$(ls "$work"/reports/healthy/2*Z.html | tail -n 1)" "$work/reports/retired/20000101T000000Z.html"
play limit 0 "$work/inventory.yml" "$work/reports" --limit healthy,raid,localhost -e hostcapture_max_age=1d
rm -r "$work/reports/retired"
play check 0 "$work/inventory.yml" "$work/reports" --check --limit 'all:!gone'
play nodeb 2 "$work/inventory.yml" "$work/reports" --limit healthy,raid -e hostcapture_deb=/nonexistent.deb

cat >"$work/unsafe.yml" <<INVENTORY
all:
  hosts:
    fine: {ansible_connection: local}
    ../escape: {ansible_connection: local}
INVENTORY
mkdir "$work/elsewhere"
ln -s "$work/elsewhere" "$work/unsafe-reports"
play unsafe 2 "$work/unsafe.yml" "$work/unsafe-reports" -e hostcapture_timeout=10m

echo "all: {}" >"$work/empty.yml"
play empty 0 "$work/empty.yml" "$work/empty-reports"
echo "ansible fleet test passed"
