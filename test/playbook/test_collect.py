"""Rules of the collection task that need no host: python3 -m unittest discover -s test/playbook"""

import errno
import importlib.util
import os
import stat
import tempfile
import unittest

_path = os.path.join(os.path.dirname(__file__), "..", "..", "deploy", "ansible", "action_plugins",
                     "hostcapture_collect.py")
_spec = importlib.util.spec_from_file_location("hostcapture_collect", _path)
collect = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(collect)


class CleanReasonTest(unittest.TestCase):
    def test_leaves_one_printable_line(self):
        cases = [
            ("plain", "plain"),
            ("clear\x1b[2Jscreen", "clear[2Jscreen"),
            ("title \x1b]0;owned\x07 set", "title ]0;owned set"),
            ("first\nsecond\r\nthird\tfourth", "first second third fourth"),
            ("  blanks   collapse  ", "blanks collapse"),
            ("bidi \u202eevil\u202c end", "bidi evil end"),
            ("nul\x00 and del\x7f and c1\x9b", "nul and del and c1"),
            (b"bytes \xff\xfe broken", "bytes \ufffd\ufffd broken"),
            ("kept: Grüße, 温度", "kept: Grüße, 温度"),
        ]
        for given, expected in cases:
            with self.subTest(given=given):
                self.assertEqual(collect.clean_reason(given), expected)

    def test_cuts_long_text(self):
        line = collect.clean_reason("x" * 1000, limit=50)
        self.assertEqual(len(line), 50)
        self.assertTrue(line.endswith("..."))
        self.assertEqual(collect.clean_reason("y" * 50, limit=50), "y" * 50)


class RefusalTest(unittest.TestCase):
    def test_inventory_names(self):
        for name in ("web01", "web-01.example.com", "10.1.0.11", "a_b", "X", "9" * 253):
            with self.subTest(name=name):
                self.assertIsNone(collect.name_refusal(name))
        for name in ("../escape", "..", "a..b", "a/b", "/abs", ".hidden", "-dash", "_under", "",
                     "a b", "host\n", "höst", "a:b", "9" * 254):
            with self.subTest(name=name):
                self.assertIn("cannot be used as a folder name", collect.name_refusal(name))

    def test_time_bounds(self):
        for value in (1, "600", 600, "0600", 86400):
            with self.subTest(value=value):
                self.assertIsNone(collect.timeout_refusal(value))
        for value in ("10m", 0, "0", -5, "1.5", 1.5, True, "", "86401", " 60", "60\n", None):
            with self.subTest(value=value):
                self.assertIn("whole seconds", collect.timeout_refusal(value))


class DecideTest(unittest.TestCase):
    def test_outcome_of_each_ending(self):
        big = str(collect.MAX_PAGE_BYTES + 1)
        cases = [
            ({"run": "0", "size": "100"}, "page", ""),
            ({"run": "0", "size": "0"}, "failed", "HostCapture exited with 0 but wrote no page"),
            ({"run": "124", "size": "50"}, "cut", "cut short by the time bound of 30 s"),
            ({"run": "137", "size": "50"}, "cut", "cut short by the time bound of 30 s"),
            ({"run": "143", "size": "50"}, "cut", "cut short by the time bound of 30 s"),
            ({"run": "124", "size": "0"}, "failed", "cut short by the time bound of 30 s, no page written"),
            ({"run": "127", "size": "0", "detail": "timeout: failed to run"}, "failed",
             "HostCapture could not be started (exit 127): timeout: failed to run"),
            ({"run": "3", "size": "80", "detail": "daemon\n\x1b[2Jgone"}, "failed",
             "HostCapture exited with 3: daemon [2Jgone"),
            ({"run": "0", "size": big}, "failed", "the page on the host has %s bytes" % big),
            ({"run": "x", "size": "1"}, "failed", "the host gave an unexpected answer"),
            ({"install": "100", "detail": "E: no"}, "failed",
             "the package could not be installed (apt-get exit 100): E: no"),
            ({"install": "0", "run": "0", "size": "9"}, "page", ""),
            ({}, "failed", "the run could not be prepared on the host: mktemp: failed"),
        ]
        for facts, kind, reason in cases:
            with self.subTest(facts=facts):
                got = collect.decide(facts, 30, "mktemp: failed")
                self.assertEqual(got[0], kind)
                self.assertTrue(got[1].startswith(reason), got[1])

    def test_reads_facts_through_banners_and_terminals(self):
        out = "Welcome to host\r\nwork /tmp/hostcapture.AbCdEf12\r\nrun 3\r\nsize 0\r\n" \
              "detail first\r\ndetail second\r\nrunaway\r\n"
        facts = collect.parse_facts(out)
        self.assertEqual(facts, {"work": "/tmp/hostcapture.AbCdEf12", "run": "3", "size": "0",
                                 "detail": "first\nsecond"})


class ReportsFolderTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.reports = os.path.join(self.tmp.name, "nested", "reports")
        self.umask = os.umask(0)

    def tearDown(self):
        os.umask(self.umask)
        self.tmp.cleanup()

    def mode(self, path):
        return stat.S_IMODE(os.lstat(path).st_mode)

    def test_creates_private_folders_and_files_never_twice(self):
        folder = collect.ReportsFolder(self.reports, "web01")
        try:
            path = folder.create("20260101T000000Z.failed", b"host: web01\n")
            with self.assertRaises(FileExistsError):
                folder.create("20260101T000000Z.failed", b"again")
        finally:
            folder.close()
        self.assertEqual(self.mode(self.reports), 0o700)
        self.assertEqual(self.mode(os.path.dirname(path)), 0o700)
        self.assertEqual(self.mode(path), 0o600)
        with open(path, "rb") as f:
            self.assertEqual(f.read(), b"host: web01\n")

    def test_does_not_follow_links(self):
        elsewhere = os.path.join(self.tmp.name, "elsewhere")
        os.makedirs(elsewhere)
        os.makedirs(self.reports)
        os.symlink(elsewhere, os.path.join(self.reports, "web01"))
        with self.assertRaises(OSError) as raised:
            collect.ReportsFolder(self.reports, "web01")
        self.assertIn(raised.exception.errno, (errno.ELOOP, errno.ENOTDIR))
        folder = collect.ReportsFolder(self.reports, "web02")
        try:
            os.symlink(os.path.join(elsewhere, "target"), os.path.join(folder.path, "page.html"))
            with self.assertRaises(FileExistsError):
                folder.create("page.html", b"x")
        finally:
            folder.close()
        self.assertEqual(os.listdir(elsewhere), [])

    def test_adopts_a_fetched_file_of_the_reported_size_only(self):
        folder = collect.ReportsFolder(self.reports, "web01")
        try:
            part = os.path.join(self.tmp.name, "part")
            with open(part, "wb") as f:
                f.write(b"<html></html>")
            with self.assertRaises(OSError):
                folder.adopt(part, "short.html", 99)
            self.assertFalse(os.path.exists(os.path.join(folder.path, "short.html")))
            path = folder.adopt(part, "page.html", 13)
            self.assertEqual(self.mode(path), 0o600)
            with self.assertRaises(FileExistsError):
                folder.adopt(part, "page.html", 13)
        finally:
            folder.close()


if __name__ == "__main__":
    unittest.main()
