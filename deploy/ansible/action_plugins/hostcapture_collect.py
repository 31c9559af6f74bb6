# Runs HostCapture on one host and leaves exactly one outcome for it in the controller's reports
# folder: <host>/<stamp>.html (a page), <host>/<stamp>-cut.html (a page the time bound cut
# short) or <host>/<stamp>.failed (no page, with the reason).
#
# It is one task that talks to the host with plain shell commands (no Python needed there, no
# module upload), because a fleet run pays per task and per host: two or three round trips per
# host (run, transfer, clean up) instead of a dozen module runs. Every failure on the way, including
# a host that cannot be reached, becomes a reason in the marker and in the result, and the task
# fails for every host without a whole page (the playbook's "always" summarises all the same).

import base64
import errno
import os
import re
import shlex
import shutil
import tempfile
import unicodedata

from ansible.errors import AnsibleConnectionFailure, AnsibleError
from ansible.module_utils.common.text.converters import to_text
from ansible.plugins.action import ActionBase

# Folder names on the controller come from inventory names: only these are used as such.
SAFE_NAME = re.compile(r"[A-Za-z0-9][A-Za-z0-9._-]{0,252}")
STAMP = re.compile(r"[0-9]{8}T[0-9]{6}Z")
TIMEOUT = re.compile(r"[0-9]{1,5}")
MAX_TIMEOUT = 86400
ENV_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")
# HostCapture's own pages stay below 64 MiB whatever the daemon sends; anything larger on the
# host is not one, and is not brought to the controller.
MAX_PAGE_BYTES = 64 * 1024 * 1024
REASON_CHARS = 300
# timeout(1) says 124 when it stopped the run (137 when it had to kill it); HostCapture says 143
# when a SIGTERM stopped it and it kept its page.
CUT_CODES = (124, 137, 143)

# Runs on the host, as root when become is on. Arguments: time bound, program, -clearstatus or
# nothing, work folder (empty: make one), package path (empty: none). It prints one line per
# fact ("work PATH", "install RC", "run RC", "size BYTES") and the tail of a failing step's
# messages as "detail" lines, all on standard output: ssh through a terminal (sudo) mixes
# standard error into it anyway. The work folder comes from mktemp and is removed by the
# caller on every path; a dropped connection (SIGHUP) removes it here.
RUN_SCRIPT = r"""
umask 077
timeout_s=$1 binary=$2 clear=$3 work=$4 deb=$5
if [ -z "$work" ]; then
    work=$(mktemp -d "${TMPDIR:-/tmp}/hostcapture.XXXXXXXX") || exit 90
fi
trap 'rm -rf "$work"; exit 129' HUP INT TERM PIPE
echo "work $work"
if [ -n "$deb" ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q -o DPkg::Lock::Timeout=120 "$deb" \
        >"$work/install.log" 2>&1
    rc=$?
    echo "install $rc"
    if [ "$rc" -ne 0 ]; then
        tail -c 2000 "$work/install.log" | sed 's/^/detail /'
        exit 0
    fi
fi
timeout --kill-after=10 "$timeout_s" "$binary" -output "$work/page.html" $clear >"$work/run.log" 2>&1
rc=$?
echo "run $rc"
size=0
[ -f "$work/page.html" ] && size=$(wc -c <"$work/page.html")
echo "size $size"
[ "$rc" -ne 0 ] && tail -c 2000 "$work/run.log" | sed 's/^/detail /'
exit 0
"""

# Prints the page between two marks, base64-encoded, then removes the work folder. Used when
# the page belongs to the become user: a terminal on the way (ssh -tt for sudo) would turn line
# ends into CR LF, which base64 does not mind, and the marks keep any become message out.
SEND_SCRIPT = r"""
echo HOSTCAPTURE-PAGE-BEGIN
base64 "$1/page.html"
rc=$?
echo HOSTCAPTURE-PAGE-END
rm -rf "$1"
exit $rc
"""


def clean_reason(text, limit=REASON_CHARS):
    """One line of printable text: line breaks and tabs become blanks, every other control or
    format character (escape sequences, bidirectional overrides) is dropped, so that the reason
    is safe on any terminal and in the marker's one-line form."""
    if isinstance(text, bytes):
        text = text.decode("utf-8", "replace")
    out = []
    for ch in text:
        if ch in "\t\n\r\v\f":
            out.append(" ")
        elif unicodedata.category(ch) in ("Cc", "Cf", "Cs", "Zl", "Zp"):
            continue
        else:
            out.append(ch)
    line = " ".join("".join(out).split())
    if len(line) > limit:
        line = line[: limit - 3].rstrip() + "..."
    return line


def name_refusal(name):
    """Why an inventory name cannot be a folder name of the reports tree, or None."""
    if not SAFE_NAME.fullmatch(name) or ".." in name:
        return ("the inventory name %r cannot be used as a folder name (letters, digits, '.', '_' "
                "and '-' only, starting with a letter or digit, no '..')" % clean_reason(name, 80))
    return None


def timeout_refusal(value):
    """Why a time bound is not a whole number of seconds HostCapture can run under, or None."""
    text = str(value)
    if isinstance(value, bool) or not TIMEOUT.fullmatch(text) or not 1 <= int(text) <= MAX_TIMEOUT:
        return ("hostcapture_timeout must be whole seconds, digits only, from 1 to %d; %r is not"
                % (MAX_TIMEOUT, clean_reason(text, 40)))
    return None


def parse_facts(stdout):
    """The "word value" lines of RUN_SCRIPT as a dict ("detail" lines joined in order);
    anything else on standard output (a login banner, a become message) is passed over."""
    facts, details = {}, []
    for line in stdout.splitlines():
        word, _, value = line.strip().partition(" ")
        if word == "detail":
            details.append(value)
        elif word in ("work", "install", "run", "size") and value:
            facts[word] = value
    facts["detail"] = "\n".join(details)
    return facts


def decide(facts, timeout_s, fallback=""):
    """(kind, reason) from what RUN_SCRIPT printed: kind "page", "cut" or "failed". fallback
    is the script's raw output, the only clue when it stopped before its first fact."""
    detail = clean_reason(facts.get("detail") or fallback) or "no message"
    if facts.get("install", "0") != "0":
        return "failed", "the package could not be installed (apt-get exit %s): %s" % (
            clean_reason(facts["install"], 20), detail)
    if "run" not in facts or "size" not in facts:
        return "failed", "the run could not be prepared on the host: %s" % detail
    try:
        rc, size = int(facts["run"]), int(facts["size"])
    except ValueError:
        return "failed", "the host gave an unexpected answer: run %s, size %s" % (
            clean_reason(facts["run"], 20), clean_reason(facts["size"], 20))
    if size > MAX_PAGE_BYTES:
        return "failed", "the page on the host has %d bytes, more than a HostCapture page has" % size
    if rc in CUT_CODES:
        if size > 0:
            return "cut", "cut short by the time bound of %s s" % timeout_s
        return "failed", "cut short by the time bound of %s s, no page written" % timeout_s
    if rc in (126, 127):
        return "failed", "HostCapture could not be started (exit %d): %s" % (rc, detail)
    if rc != 0:
        return "failed", "HostCapture exited with %d: %s" % (rc, detail)
    if size == 0:
        return "failed", "HostCapture exited with 0 but wrote no page"
    return "page", ""


class ReportsFolder:
    """The controller's folder of one host, written without following links and never over an
    existing file; every file it creates is mode 0600."""

    def __init__(self, reports_dir, host):
        self.path = os.path.join(reports_dir, host)
        os.makedirs(reports_dir, 0o700, exist_ok=True)
        top = os.open(reports_dir, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC)
        try:
            try:
                os.mkdir(host, 0o700, dir_fd=top)
            except FileExistsError:
                pass
            self.fd = os.open(host, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC,
                              dir_fd=top)
        finally:
            os.close(top)

    def close(self):
        os.close(self.fd)

    def create(self, name, data):
        fd = os.open(name, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC,
                     0o600, dir_fd=self.fd)
        try:
            os.fchmod(fd, 0o600)
            view = memoryview(data)
            while view:
                view = view[os.write(fd, view):]
        finally:
            os.close(fd)
        return os.path.join(self.path, name)

    def adopt(self, source, name, size):
        """Links a fetched file into place under its final name (never over an existing one)
        once it is a regular file of the size the host reported."""
        st = os.lstat(source)
        if not os.path.isfile(source) or os.path.islink(source) or st.st_size != size:
            raise OSError(errno.EIO, "the fetched page has %d bytes, the host reported %d"
                          % (st.st_size, size))
        os.chmod(source, 0o600)
        os.link(source, name, dst_dir_fd=self.fd, follow_symlinks=False)
        return os.path.join(self.path, name)


class ActionModule(ActionBase):
    TRANSFERS_FILES = False
    _VALID_ARGS = frozenset(("reports_dir", "stamp", "binary", "timeout", "clearstatus",
                             "environment", "deb"))

    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        host = str((task_vars or {}).get("inventory_hostname", ""))
        self._work, self._data, self._size = None, None, 0
        try:
            try:
                kind, reason = self._settle(self._task.args, host)
            except AnsibleConnectionFailure as e:
                kind, reason = "failed", "the host could not be reached: %s" % clean_reason(to_text(e))
            except AnsibleError as e:
                kind, reason = "failed", "the collection failed on the host: %s" % clean_reason(to_text(e))
            except Exception as e:  # pylint: disable=broad-except
                # Whatever went wrong, the host still gets its marker and the summary still runs.
                kind, reason = "failed", "the collection failed: %s: %s" % (
                    type(e).__name__, clean_reason(to_text(e)))
            if self._play_context.check_mode:
                would = kind != "failed"
                result.update(changed=would, failed=not would, outcome="would collect" if would else "failed",
                              reason=reason, msg=reason)
                return result
            return self._record(result, self._task.args, host, kind, reason)
        finally:
            self._remove_work()

    # -- the host ------------------------------------------------------------------------------

    def _settle(self, args, host):
        """Runs HostCapture on the host; (kind, reason) as decide() gives them. A page stays on
        the host for _record (self._work) or has come back already (self._data)."""
        timeout_s = args.get("timeout", 600)
        refusal = name_refusal(host) or timeout_refusal(timeout_s)
        if refusal:
            return "failed", refusal
        env = args.get("environment") or {}
        if not isinstance(env, dict) or not all(ENV_NAME.fullmatch(str(k)) for k in env):
            return "failed", "hostcapture_environment must be a dictionary of variable names to values"
        deb = str(args.get("deb") or "")
        if deb:
            try:
                with open(deb, "rb"):
                    pass
            except OSError as e:
                return "failed", "the package %s cannot be read on the controller: %s" % (
                    clean_reason(deb, 120), clean_reason(e.strerror or str(e)))
        binary = str(args.get("binary") or "/usr/sbin/HostCapture")
        if self._play_context.check_mode:
            return self._probe(binary, deb, timeout_s)

        # The extra environment applies to every command on the host (TMPDIR to mktemp too).
        env_prefix = " ".join(["env"] + [shlex.quote("%s=%s" % (k, v)) for k, v in sorted(env.items())])
        work = ""
        if deb:
            # The copy is made as the login user into a folder of its own; the install, as
            # root, reads it from there.
            out = self._low_level_execute_command(
                "%s /bin/sh -c %s" % (env_prefix, shlex.quote(
                    'umask 077 && mktemp -d "${TMPDIR:-/tmp}/hostcapture.XXXXXXXX"')), sudoable=False)
            lines = out["stdout"].split()
            if out["rc"] != 0 or not lines or not self._track_work(lines[-1]):
                return "failed", "no temporary folder on the host for the package: %s" % (
                    clean_reason(out["stderr"] + " " + out["stdout"]) or "no message")
            work = self._work
            self._connection.put_file(deb, work + "/hostcapture.deb")

        command = " ".join(
            [env_prefix, "/bin/sh", "-c", shlex.quote(RUN_SCRIPT), "hostcapture", shlex.quote(str(timeout_s)),
               shlex.quote(binary), "-clearstatus" if args.get("clearstatus") else "''",
               shlex.quote(work), shlex.quote(work + "/hostcapture.deb" if deb else "")])
        out = self._low_level_execute_command(command, sudoable=True)
        facts = parse_facts(out["stdout"])
        if not self._work:
            self._track_work(facts.get("work", ""))
        kind, reason = decide(facts, timeout_s, out["stderr"] + " " + out["stdout"])
        if kind == "failed":
            return kind, reason
        self._size = int(facts["size"])
        if self._connection.become:
            return self._send(kind, reason)
        return kind, reason

    def _probe(self, binary, deb, timeout_s):
        """Check mode: whether the host answers and (without a package to install) has the
        program. Nothing is written anywhere."""
        test = "true" if deb else "test -x %s" % shlex.quote(binary)
        out = self._low_level_execute_command(test, sudoable=True)
        if out["rc"] != 0:
            return "failed", "HostCapture is not installed at %s on the host" % clean_reason(binary, 120)
        first = "install %s, then " % os.path.basename(deb) if deb else ""
        return "would", "would %srun %s under a time bound of %s s and fetch its page" % (
            first, clean_reason(binary, 120), timeout_s)

    def _send(self, kind, reason):
        """The page belongs to the become user: it comes back through the output of a command
        that also removes the work folder."""
        out = self._low_level_execute_command(
            "/bin/sh -c %s hostcapture %s" % (shlex.quote(SEND_SCRIPT), shlex.quote(self._work)),
            sudoable=True, encoding_errors="surrogate_or_replace")
        self._work = None  # removed by the same command
        text = out["stdout"]
        begin, end = text.find("HOSTCAPTURE-PAGE-BEGIN"), text.rfind("HOSTCAPTURE-PAGE-END")
        if out["rc"] != 0 or begin < 0 or end < begin:
            return "failed", "the page could not be fetched: %s" % (
                clean_reason(out["stderr"] + " " + text[:300]) or "no message")
        data = base64.b64decode(text[begin + len("HOSTCAPTURE-PAGE-BEGIN"):end])
        if len(data) != self._size:
            return "failed", "the page could not be fetched: %d of %d bytes arrived" % (len(data), self._size)
        self._data = data
        return kind, reason

    def _track_work(self, path):
        # Only a folder that mktemp made for this run is ever removed on the host.
        if re.fullmatch(r"/[^\n]*/hostcapture\.[A-Za-z0-9]{8}", path or ""):
            self._work = path
            return True
        return False

    def _remove_work(self):
        if not self._work:
            return
        work, self._work = self._work, None
        try:
            self._low_level_execute_command("rm -rf -- %s" % shlex.quote(work), sudoable=True)
        except AnsibleError:
            pass  # the connection is gone; the script's SIGHUP trap removes the folder

    # -- the controller -------------------------------------------------------------------------

    def _record(self, result, args, host, kind, reason):
        reports_dir, stamp = str(args.get("reports_dir") or ""), str(args.get("stamp") or "")
        if not os.path.isabs(reports_dir) or not STAMP.fullmatch(stamp) or name_refusal(host):
            result.update(failed=True, outcome="failed", reason=reason,
                          msg="nothing written: %s" % (name_refusal(host) or "reports_dir must be "
                                                       "an absolute path and stamp YYYYmmddTHHMMSSZ"))
            return result
        try:
            folder = ReportsFolder(reports_dir, host)
        except OSError as e:
            result.update(failed=True, outcome="failed", reason=reason,
                          msg="the reports folder %s cannot be used: %s" % (
                              os.path.join(reports_dir, host), e.strerror))
            return result
        try:
            if kind in ("page", "cut"):
                try:
                    name = stamp + ("-cut.html" if kind == "cut" else ".html")
                    result["file"] = self._place_page(folder, name)
                except (OSError, AnsibleError) as e:
                    kind, reason = "failed", "the page could not be fetched: %s" % clean_reason(
                        getattr(e, "strerror", None) or to_text(e))
            if kind == "failed":
                marker = "host: %s\nreason: %s\n" % (host, reason)
                result["file"] = folder.create(stamp + ".failed", marker.encode("utf-8"))
        except OSError as e:
            result.update(failed=True, msg="could not write into %s: %s" % (folder.path, e.strerror))
        finally:
            folder.close()
        # Only a whole page is success: the play fails the others after the summary ran.
        result.update(changed=True, outcome=kind, reason=reason,
                      failed=result.get("failed") or kind != "page")
        result.setdefault("msg", "%s: %s" % (kind, reason) if reason else "page %s" % result.get("file"))
        return result

    def _place_page(self, folder, name):
        if self._data is not None:
            return folder.create(name, self._data)
        # Fetched as the login user into a private folder beside its place, then linked there.
        scratch = tempfile.mkdtemp(prefix=".fetch-", dir=folder.path)
        try:
            part = os.path.join(scratch, "page.part")
            self._connection.fetch_file(self._work + "/page.html", part)
            return folder.adopt(part, name, self._size)
        finally:
            shutil.rmtree(scratch, ignore_errors=True)
