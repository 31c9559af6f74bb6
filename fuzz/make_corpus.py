#!/usr/bin/env python3
"""Writes the small seed corpora of the fuzz targets into corpus/<target>/.

The seeds are checked in; this script documents how each was made and rebuilds them after a
change of an input format. The fuzzer's own finds are not kept here.
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def frame(text):
    """A daemon frame: 4-byte length (host order, counting the zero byte), text, zero byte."""
    body = text.encode() if isinstance(text, str) else text
    return struct.pack("<I", len(body) + 1) + body + b"\0"


def reply(data=None, status="0", version=1):
    members = [] if status is None else ['"ST":' + status]
    if data is not None:
        members.append('"DA":' + data)
    return '{"SIP":{"V":%d,"CMD":[{"OC":768,%s}]}}' % (version, ",".join(members))


def record(severity, code, time, text):
    body = text.encode() + b"\0"
    return struct.pack("<HBBHHII", 16 + len(body), 0, severity, code, 0, time, 0) + body


def raw(data):
    return '{"RAW":[%s]}' % ",".join(str(b) for b in data)


def write(target, name, data):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(data.encode() if isinstance(data, str) else data)


def reply_seeds():
    log = record(2, 0x1234, 1700000000, "Fan 1 failed") + record(5, 0x0042, 0, "Power on")
    write("reply", "strings", b"".join(frame(reply('"RX-9000 M2"')) for _ in range(4)))
    write("reply", "counts", b"".join(frame(reply(d)) for d in
                                       ['"M"', '"Linux"', "3600", "4294967295", "2", "1", "2",
                                        '"FAN1"', "2", "1", "2500", "3", '"CPU"']))
    write("reply", "raw", frame(reply('"a"')) * 3 + frame(reply("16")) + frame(reply("1")) +
          frame(reply(raw(log))))
    write("reply", "raw_forms", b"".join(frame(reply(d)) for d in
                                          [raw([1, 2, 3]), '{"RAW":"text"}', '["a","b"]', "-1",
                                           "1.5", "18446744073709551615", "null", "true", "{}"]))
    write("reply", "status_only", frame(reply(None, "21")) + frame(reply('"x"', '"0x0"')) +
          frame(reply("1", None)))
    write("reply", "version2", frame(reply('"x"', version=2)) + frame("not json") + frame(""))
    write("reply", "short", struct.pack("<I", 100) + b'{"SIP":')
    write("reply", "huge_length", struct.pack("<I", 0x7FFFFFFF) + b"{}")
    write("reply", "early_zero", struct.pack("<I", 40) + reply('"ab"').encode()[:20] + b"\0" * 20)
    write("reply", "half_word", b"\x10\x00")


def event_seeds():
    event = '{"SIP":{"V":1,"CMD":[{"OC":1234,"OE":1,"OI":2,"CA":0,"ST":0,"DA":5}]}}'
    write("event", "two_events", frame(event) + frame(event.replace("5}", '"text"}')))
    write("event", "zero_length", struct.pack("<I", 0))
    write("event", "short", struct.pack("<I", 50) + b'{"SIP"')
    write("event", "not_obra", frame("[1,2,3]") + frame('{"SIP":{"V":1,"CMD":{}}}'))
    write("event", "half_word", b"\x05\x00")


def eventlog_seeds():
    write("eventlog", "records", record(2, 0x1234, 1700000000, "Fan 1 failed") +
          record(5, 0x0042, 0, "Power on") + record(3, 0xFFFF, -1 & 0xFFFFFFFF, "x" * 40))
    write("eventlog", "unknown_severity", record(9, 1, 1, "unknown") + record(0, 2, 2, ""))
    write("eventlog", "cut", record(2, 1, 1, "cut off")[:-3])
    write("eventlog", "length_below_header", struct.pack("<HBBHHII", 4, 0, 2, 1, 0, 1, 0))


def registry_seeds():
    write("registry", "tree",
          "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Tessmark]\n[Setup]\nBinRoot=s=/opt/TessmarkQDX/bin\n"
          "Path=es=%HOME%/x%%y\nCount=d=12\nBlob=b=ab 01 ff \n\n\n\n\n")
    write("registry", "odd_lines", "no tag here\n=s=empty name\nx=d=notanumber\ny=b=zz 1\n[a]\n[b]\n\n")
    write("registry", "value_and_subkey", "[k]\nv=s=1\n\nk=s=replaces?\n[k]\n\n")
    write("registry", "unclosed", "[a]\n[b]\n[c]\nv=d=-1\n")
    # Line ends converted twice: once made every save shorten the value by one carriage return.
    write("registry", "crlf_twice", "[k\r]\r\r\nv=s=x\r\r\r\n\r\r\n\r\n")


def traceconfig_seeds():
    glob = "[GlobalDebugSettings]\nDynamicUpdate=5\n[EndOfFile]\n"
    app = ("[HostCapture]\nFileDebugLevel=0x3\nTraceFlags=010\nRingBufferDirectory=/tmp/ring\n"
           "RingBufferSizeFactor=2\nRingBufferSizeWeight=3\nNoHeaderToStderr=1\nMemoryTracesFlag=1\n"
           "[EndOfFile]\n")
    env = "TM_LOG_DEBUG_LEVEL=4\nTM_LOG_FILE_MAX_SIZE=1000\nTM_LOG_RINGBUF_DIR=/tmp/r\n"
    write("traceconfig", "full", "\n@@\n".join([glob, app, "[Other]\nA=1\n[EndOfFile]\n", env]))
    write("traceconfig", "no_marker", "\n@@\n".join(["[GlobalDebugSettings]\nDynamicUpdate=1\n",
                                                      "[hostcapture]\nFileDebugLevel=9\n", "", ""]))
    write("traceconfig", "keys_in_values",
          "\n@@\n".join([glob, "[HostCapture]\n; FileDebugLevel=5 in a comment\nTraceFlags\n[EndOfFile]\n",
                         "[HostCapture]\nFileDebugLevel=\n[EndOfFile]", "TM_LOG_DYNAMIC_UPDATE=x\n"]))


def xml_seeds():
    doc = '<?xml version="1.0"?>\n<Messages>Temp 25 \u00b0C &amp; fan</Messages>\n'
    plain = doc.replace('<?xml version="1.0"?>', "")
    write("xml", "utf8", doc)
    write("xml", "utf8_bom", b"\xef\xbb\xbf" + doc.encode())
    write("xml", "utf16le_bom", b"\xff\xfe" + plain.encode("utf-16-le"))
    write("xml", "utf16be", plain.encode("utf-16-be"))
    write("xml", "utf32le", plain.encode("utf-32-le"))
    write("xml", "utf32be_bom", b"\x00\x00\xfe\xff" + plain.encode("utf-32-be"))
    write("xml", "latin1_declared",
          '<?xml version="1.0" encoding="ISO-8859-1"?><M>\u00b0C</M>'.encode("latin-1"))
    write("xml", "cp1252_undeclared", "<M>\u20ac \u00b0C</M>".encode("cp1252"))
    write("xml", "entities", '<!DOCTYPE M [<!ENTITY e SYSTEM "file:///etc/passwd">]><M>&e;&#xB0;</M>')
    write("xml", "broken", "<M><N></M>")


def cmdline_seeds():
    write("cmdline", "output", "HostCapture\n-output\n/tmp/x.html")
    write("cmdline", "switches", "/usr/bin/HostCapture\n-ClearStatus\n-AUTOSTART")
    write("cmdline", "help", "HostCapture\n-?")
    write("cmdline", "odd", "HostCapture\n-5\nword\n-output\n-output\nx\n/slash\n-")


def page_seeds():
    """Pages as HostCapture writes them, derived from the golden page: icon data and style sheet
    shortened and every table cut to two rows, so that a whole page fits the fuzzer's length."""
    import re
    with open(os.path.join(HERE, "..", "testdata", "golden", "report.html"), encoding="utf-8") as f:
        page = f.read()
    page = re.sub(r"base64,[A-Za-z0-9+/=]+", "base64,AA", page)
    page = re.sub(r"<style>.*?</style>", "<style></style>", page, flags=re.S)

    def two_rows(table):
        rows = re.findall(r"<tr>.*?</tr>", table.group(0), flags=re.S)
        head = table.group(0).split("<tr>")[0]
        return head + "".join(rows[:2]) + "</table>"

    page = re.sub(r"<table.*?</table>", two_rows, page, flags=re.S)
    write("page", "report", page)
    write("page", "cut_off", page[: len(page) // 2])
    write("page", "not_a_report", "<!DOCTYPE html><html><head><title>Other</title></head><body></body></html>")


if __name__ == "__main__":
    reply_seeds()
    event_seeds()
    eventlog_seeds()
    registry_seeds()
    traceconfig_seeds()
    xml_seeds()
    cmdline_seeds()
    page_seeds()
