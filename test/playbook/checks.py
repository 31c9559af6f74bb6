"""Checks of run.sh, one per playbook run: python3 checks.py STEP WORK REPORTS.

"snapshot" prints the state of the reports folder and the hosts' temporary folders as JSON;
every other step compares the state after its run with the snapshot taken before it
(WORK/STEP.before.json) and reads the run's log (WORK/STEP.log)."""

import json
import os
import re
import stat
import sys

PAGE_HOSTS = ["healthy", "raid", "psu", "nodaemon", "bigevents", "rooted"]
FAILED_HOSTS = {
    "gone": "the host could not be reached",
    "noisy": "HostCapture exited with 3: daemon gone",
    "pkgfail": "the package could not be installed (apt-get exit 100): E: Invalid archive signature",
    "tmpfail": "the run could not be prepared on the host: mktemp:",
}
ALL_HOSTS = PAGE_HOSTS + ["stall"] + list(FAILED_HOSTS)
FLEET = ["fleet.json", "fleet.html", "fleet.txt"]


def snapshot(work, reports):
    files = {}
    if os.path.isdir(reports):
        for folder, _, names in os.walk(reports):
            for name in names:
                path = os.path.join(folder, name)
                st = os.lstat(path)
                files[os.path.relpath(path, reports)] = [st.st_size, st.st_mtime_ns, stat.S_IMODE(st.st_mode)]
    tmp = os.path.join(work, "tmp")
    leftovers = [os.path.join(host, name) for host in sorted(os.listdir(tmp))
                 for name in os.listdir(os.path.join(tmp, host))]
    return {"files": files, "leftovers": leftovers, "reports_exists": os.path.isdir(reports)}


class Step:
    def __init__(self, name, work, reports):
        self.work, self.reports, self.failures = work, reports, []
        with open(os.path.join(work, name + ".before.json")) as f:
            self.before = json.load(f)
        self.now = snapshot(work, reports)
        with open(os.path.join(work, name + ".log"), "rb") as f:
            self.log = f.read().decode("utf-8", "replace")
        self.new = sorted(set(self.now["files"]) - set(self.before["files"]))
        self.changed = sorted(p for p in self.before["files"]
                              if self.now["files"].get(p, [])[:2] != self.before["files"][p][:2])

    def check(self, ok, what):
        if not ok:
            self.failures.append(what)

    def read(self, rel):
        with open(os.path.join(self.reports, rel), encoding="utf-8", errors="replace") as f:
            return f.read()

    def new_of(self, host):
        return [p for p in self.new if p.startswith(host + "/")]

    def fleet(self):
        return json.loads(self.read("fleet.json"))

    def common(self):
        """What every run must keep to: temporary folders on the hosts gone, every new file
        0600, no control character of a host on the controller's terminal."""
        self.check(not self.now["leftovers"], "temporary files left on the hosts: %s" % self.now["leftovers"])
        for rel in self.new + [p for p in self.changed if p in self.now["files"]]:
            mode = self.now["files"][rel][2]
            self.check(mode == 0o600, "%s has mode %o, not 600" % (rel, mode))
        self.check(not re.search("[\x00-\x08\x0b-\x1f\x7f]", self.log), "a control character reached the log")

    def one_outcome_each(self, hosts, suffix_of):
        """Exactly one new file per host of the play, of the expected kind; none elsewhere."""
        for host in hosts:
            files = self.new_of(host)
            self.check(len(files) == 1, "%s: one new file, found %s" % (host, files))
            if len(files) == 1:
                self.check(files[0].endswith(suffix_of(host)),
                           "%s: %s, expected *%s" % (host, files[0], suffix_of(host)))
        stray = [p for p in self.new if p.split("/")[0] not in hosts and p not in FLEET]
        self.check(not stray, "files for hosts outside the play: %s" % stray)
        stamps = {re.sub(r"(-cut)?\.(html|failed)$", "", os.path.basename(p)) for p in self.new if "/" in p}
        self.check(len(stamps) <= 1, "one time stamp per run: %s" % stamps)
        return stamps.pop() if len(stamps) == 1 else None

    def summary_ran(self, stamp, exit_status, hosts):
        for name in FLEET:
            self.check(name in self.new or name in self.changed, name + " written by this run")
        text = self.read("fleet.txt")
        self.check(text.startswith("HOSTCAPTURE ") and ": %d host" % hosts in text, "fleet.txt: " + text)
        self.check("exit %d\n" % exit_status in text, "fleet.txt: exit %d: %s" % (exit_status, text))
        self.check(re.search(r"^time 20\d\d-\d\d-\d\dT\d\d:\d\d:\d\dZ \(run %s," % stamp, text, re.M),
                   "fleet.txt carries the time of run %s: %s" % (stamp, text))

    def marker_reason(self, host):
        files = [p for p in self.new_of(host) if p.endswith(".failed")]
        if not files:
            return ""
        text = self.read(files[0])
        self.check(text.startswith("host: %s\nreason: " % host) and text.count("\n") == 2,
                   "%s: marker of two lines: %r" % (host, text))
        return text.split("reason: ", 1)[-1]


def step_full(s):
    s.common()
    cut_page = [p for p in s.new_of("stall") if p.endswith("-cut.html")]
    allow_empty_cut = os.environ.get("HOSTCAPTURE_TEST_ALLOW_EMPTY_CUT_PAGE") == "1"
    stall_kind = "-cut.html" if cut_page or not allow_empty_cut else ".failed"
    stamp = s.one_outcome_each(ALL_HOSTS, lambda h: "Z.html" if h in PAGE_HOSTS
                               else stall_kind if h == "stall" else ".failed")
    s.summary_ran(stamp, 2, len(ALL_HOSTS))
    s.check("healthy/20000101T000000Z.html" in s.now["files"], "the earlier page is kept")
    for host in PAGE_HOSTS:
        page = s.new_of(host)
        s.check(page and s.read(page[0]).rstrip().endswith("</html>"), host + ": whole page fetched")
    for host, reason in FAILED_HOSTS.items():
        got = s.marker_reason(host)
        s.check(got.startswith(reason), "%s: reason %r, expected %r..." % (host, got, reason))
        s.check(not re.search("[\x00-\x09\x0b-\x1f\x7f]", got), "%s: control characters in %r" % (host, got))
        s.check("fatal: [%s]" % host in s.log and reason[:30] in s.log,
                host + ": failed in the recap with its reason")
    s.check(re.search(r"gone +: .*failed=1", s.log) and re.search(r"healthy +: .*failed=0", s.log), "recap")

    fleet = s.fleet()
    pages = {os.path.basename(os.path.dirname(p["file"])): p for p in fleet["pages"]}
    s.check(sorted(pages) == sorted(ALL_HOSTS), "every host once in fleet.json: %s" % sorted(pages))
    expected = {"healthy": "normal", "rooted": "normal", "raid": "warning", "psu": "error",
                "nodaemon": "unknown", "bigevents": "warning", "gone": "unreadable", "noisy": "unreadable"}
    for host, worst in expected.items():
        got = pages.get(host, {}).get("worst_status")
        s.check(got == worst, "%s: worst %s, expected %s" % (host, got, worst))

    def group(host, title):
        for section in pages.get(host, {}).get("sections", []):
            if section["block"] == "System Health" and section["title"] == title:
                return section["status"]["name"]

    s.check(group("raid", "RAID Physical Drives") == "warning", "raid: physical drives warning")
    s.check(group("psu", "Power Supply") == "error", "psu: Power Supply error")
    s.check(len(pages.get("bigevents", {}).get("event_log", [])) == 4000, "bigevents: 4000 event-log rows")
    stall = pages.get("stall", {})
    s.check("cut short" in stall.get("problem", ""), "stall: marked as cut short: %s" % stall.get("problem"))
    s.check(fleet["exit_status"] == 2, "fleet exit status 2")
    html = s.read("fleet.html")
    for text in ("Power Supply Units: 1 of 2, Present and failed (PSU2)", "could not be reached",
                 'href="psu/'):
        s.check(text in html, "fleet.html shows " + text)


def step_limit(s):
    s.common()
    stamp = s.one_outcome_each(["healthy", "raid"], lambda h: "Z.html")
    s.check(set(s.changed) <= set(FLEET), "only the fleet files change: %s" % s.changed)
    s.summary_ran(stamp, 2, len(ALL_HOSTS))
    pages = s.fleet()["pages"]
    # The summary's own outputs of the last run lie in the same folder and are no host; the
    # retired host's old page is left out by --max-age.
    s.check(sorted(os.path.relpath(os.path.dirname(p["file"]), s.reports) for p in pages) == sorted(ALL_HOSTS),
            "fleet.json holds the host folders, nothing else: %s" % [p["file"] for p in pages])
    worst = {os.path.basename(os.path.dirname(p["file"])): p["worst_status"] for p in pages}
    # Hosts outside the limit (localhost in it is no inventory host) keep their last outcome.
    s.check(worst.get("raid") == "warning" and worst.get("gone") == "unreadable" and worst.get("psu") == "error",
            "hosts outside the limit keep their last outcome: %s" % worst)


def step_check(s):
    s.common()
    s.check(not s.new and not s.changed, "--check wrote %s, changed %s" % (s.new, s.changed))
    s.check(len(re.findall(r'"[a-z]+: would (run|install) ', s.log)) == len(ALL_HOSTS) - 1,
            "--check tells what it would do")
    s.check("nothing was written" in s.log, "--check says it wrote nothing")


def step_nodeb(s):
    s.common()
    stamp = s.one_outcome_each(["healthy", "raid"], lambda h: ".failed")
    for host in ("healthy", "raid"):
        got = s.marker_reason(host)
        s.check(got.startswith("the package /nonexistent.deb cannot be read on the controller: No such file"),
                "%s: reason %r" % (host, got))
    # Every host of the play failed: the summary ran all the same and fleet.txt is of this run.
    s.summary_ran(stamp, 2, len(ALL_HOSTS))


def step_unsafe(s):
    s.check(os.listdir(os.path.join(s.work, "elsewhere")) == [], "nothing written through the linked folder")
    s.check(not os.path.lexists(os.path.join(s.work, "escape")), "nothing written beside the reports folder")
    s.check("../escape" in s.log and "fine=10m" in s.log and "--limit" in s.log and "symbolic link" in s.log,
            "the refusal names the host, the time bound and the linked folder")
    s.check("TASK [Run HostCapture" not in s.log, "no host was touched")


def step_empty(s):
    s.check(not s.now["reports_exists"], "no reports folder for an empty inventory")
    s.check("The inventory holds no host" in s.log, "the empty inventory is told: %s" % s.log[-400:])


def main():
    step, work, reports = sys.argv[1:4]
    if step == "snapshot":
        json.dump(snapshot(work, reports), sys.stdout)
        return 0
    s = Step(step, work, reports)
    globals()["step_" + step](s)
    for failure in s.failures:
        print("FAIL (%s): %s" % (step, failure))
    return 1 if s.failures else 0


if __name__ == "__main__":
    sys.exit(main())
