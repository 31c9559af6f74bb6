#!/usr/bin/env python3
"""Writes a qmxd-sim profile for a two-socket rack server.

Without options it writes the profile to standard output. The shipped demonstration profile and
its event-message catalogue are written with (in tools/qmxd-sim):

  python3 make_profile.py -o profiles/demo.json --catalogue demo-root/opt/TessmarkQDX/bin/ERRMSG.XML

Options scale the tables up for benchmarks, for example 1,000 physical drives on four RAID
adapters and 10,000 event-log records:

  python3 make_profile.py --raid-adapters 4 --physical-drives 1000 --event-records 10000 -o /tmp/big.json

Further options change the server in known ways, so that two captures differ exactly there (the
summary's change tests use such a pair):

  python3 make_profile.py --power-supplies 1 --event-records 30 -o before.json
  python3 make_profile.py --failed-drive --missing-dimm DIMM-1C --bios "V5.0.0.16 R1.23.0 for D3893-B1x" \
      --warmer CPU1=12 --event-records 50 -o after.json

Every group and section status is the worst status among its rows and sub-sections, so the
page never shows a green section over a warning row. The output is deterministic: the same
options give the same file.
"""

import argparse
import json
import struct
import sys

# Report status numbers as the daemon sends them for groups and sub-groups.
NORMAL, WARNING, ERROR = 1, 2, 3
NOT_COUNTED = 0  # empty slots, disabled devices: they neither raise nor lower a section


def worst(statuses):
    """The section status over its rows and sub-sections: error > warning > normal."""
    counted = [s for s in statuses if s != NOT_COUNTED]
    return max(counted) if counted else NORMAL

# The event log's severity bytes.
INFO, MINOR, MAJOR, CRITICAL = 0, 1, 2, 3

BASE_TIME = 1717400000  # a Monday in June 2024, 07:33:20 UTC


def key(oc, oe=0, oi=0):
    return "0x%04X/0x%X/%d" % (oc, oe, oi) if oe else "0x%04X/0/%d" % (oc, oi)


class Profile:
    def __init__(self):
        self.answers = {}  # (OC, OE, OI) -> answer

    def answer(self, oc, oe, oi, data=None, status=None):
        entry = {}
        if status is not None:
            entry["ST"] = status
        if data is not None:
            entry["DA"] = data
        self.answers[(oc, oe, oi)] = entry

    def number(self, oc, value, oe=0, oi=0):
        self.answer(oc, oe, oi, value)

    def string(self, oc, value, oe=0, oi=0):
        self.answer(oc, oe, oi, value)


DEFAULT_BIOS = "V5.0.0.14 R1.22.0 for D3893-B1x"


def system_information(p, bios):
    p.string(0x0C00, "RX-9000 M2", 0x0608)            # model
    p.string(0x0C00, "YM4K002137", 0x0600)            # serial number
    p.string(0x0C00, "CHS-5520-0417", 0x0108)         # chassis id
    p.string(0xE001, "IT-000815", 0x0210)             # asset tag
    p.string(0x0C00, "4c4c4544-0042-3510-8052-b3c04f4e3132", 0x1510)  # UUID
    p.number(0xE001, 31536000 + 187 * 86400 + 5 * 3600 + 42 * 60, 0x1010)  # power-on seconds
    p.string(0x0C00, "BS2301-44871", 0x0200)          # board serial number
    p.string(0x0C00, "D3893-B13 GS1", 0x0201)         # board ident number
    p.string(0x0C00, bios, 0xA006)                     # BIOS
    p.string(0x0C00, "Debian GNU/Linux 12 (bookworm)", 0xA708)  # operating system
    p.number(0x011E, 12 * 86400 + 3 * 3600 + 17 * 60 + 9)  # uptime seconds
    p.string(0xE107, "rack07-node3.example.net")       # host name
    p.answer(0xE108, 0, 0, {"RAW": [10, 20, 30, 40]})  # IPv4
    ipv6 = [0xFD, 0x12, 0x34, 0x56, 0x78, 0x9A, 0x00, 0x01, 0, 0, 0, 0, 0, 0, 0x00, 0x40]
    p.answer(0xE108, 1, 0, {"RAW": ipv6})
    p.string(0x0C00, "9.10.3", 0xA806)                 # management software version
    p.answer(0x180A, 0, 0, 1)                          # clearing the status is acknowledged


def group_statuses(p, sections):
    """sections: (group, sub-group) -> status; a group is the worst of its sub-sections. Sections
    with a status query of their own (the RAID ones) are named by text and only count."""
    for (group, sub), status in sections.items():
        if isinstance(sub, int):
            p.answer(0x2306, group, sub, status)
    for group in sorted({g for g, _ in sections}):
        p.number(0x2301, worst([s for (g, _), s in sections.items() if g == group]), group)


def environment(p, warmer):
    # The report shows fan code 1 as OK, 3 as Pre-Fail (a warning), 0 as Disabled (not present);
    # temperature code 6 as OK and 7 as Warning.
    fan_status = {0: NOT_COUNTED, 1: NORMAL, 3: WARNING}
    temperature_status = {6: NORMAL, 7: WARNING}
    # name, status code, rpm, type code (3 in-house, 4 power supply)
    fans = [("FAN1 SYS", 1, 4320, 3), ("FAN2 SYS", 1, 4380, 3), ("FAN3 SYS", 3, 1210, 3),
            ("FAN4 SYS", 1, 4290, 3), ("FAN5 SYS", 0, 0, 3), ("FAN PSU1", 1, 6120, 4),
            ("FAN PSU2", 1, 6060, 4)]
    p.number(0x0300, len(fans))
    for i, (name, status, rpm, kind) in enumerate(fans):
        p.answer(0x0301, 0, i, status)
        p.answer(0x0302, 0, i, rpm)
        p.answer(0x0303, 0, i, kind)
        p.answer(0x0304, 0, i, name)

    # name, status code, degrees, type code (1 CPU, 2 ambient, 3 in house, 5 power plane)
    sensors = [("Ambient", 6, 24, 2), ("Systemboard 1", 6, 38, 3), ("Systemboard 2", 6, 41, 3),
               ("CPU1", 6, 52, 1), ("CPU2", 7, 83, 1), ("MEM A", 6, 44, 3), ("MEM B", 6, 46, 3),
               ("PSU1", 6, 36, 5), ("PSU2", 6, 37, 5)]
    p.number(0x0400, len(sensors))
    for i, (name, status, degrees, kind) in enumerate(sensors):
        degrees += warmer.get(name, 0)
        p.answer(0x0401, 0, i, status)
        p.answer(0x0402, 0, i, degrees)
        p.answer(0x0403, 0, i, kind)
        p.answer(0x0404, 0, i, name)
    return {(0, 0): worst(fan_status[f[1]] for f in fans),
            (0, 2): worst(temperature_status[t[1]] for t in sensors)}


def power_supplies(p, count):
    units = [("PSU1", 1, 800, 214), ("PSU2", 1, 800, 198)][:count]
    p.number(0x0500, len(units))
    for i, (name, status, nominal, current) in enumerate(units):
        p.answer(0x0501, 0, i, status)
        p.answer(0x0504, 0, i, name)
        p.answer(0x0506, 0, i, nominal)
        p.answer(0x0507, 0, i, current)
    return {(1, 0): worst(NORMAL for u in units if u[1] == 1)}


def threshold_word(minimum, maximum):
    """Low 16 bits the minimum, high 16 bits the maximum, each signed hundredths of a volt."""
    return ((maximum & 0xFFFF) << 16) | (minimum & 0xFFFF)


def system_board(p, missing_dimms):
    # name, status code, current, minimum, maximum (hundredths of a volt)
    voltages = [("BATT 3.0V", 1, 302, 250, 340), ("STBY 12V", 1, 1205, 1100, 1300),
                ("MAIN 12V", 1, 1198, 1100, 1300), ("MAIN 5V", 1, 503, 460, 540),
                ("MAIN 3.3V", 1, 331, 300, 360), ("STBY 3.3V", 1, 329, 300, 360),
                ("CPU1 VCORE", 1, 182, 160, 200), ("CPU2 VCORE", 1, 181, 160, 200),
                ("MEM AB 1.2V", 1, 121, 110, 130), ("MEM CD 1.2V", 1, 120, 110, 130)]
    p.number(0x0520, len(voltages))
    for i, (name, status, current, minimum, maximum) in enumerate(voltages):
        p.answer(0x0521, 0, i, status)
        p.answer(0x0522, 0, i, name)
        p.answer(0x0523, 0, i, threshold_word(minimum, maximum))
        p.answer(0x0524, 0, i, current)

    memory = []  # module statuses: code 1 OK, 5 Pre-Failure (a warning), empty slots not counted
    sockets = ["DIMM-1A", "DIMM-1B", "DIMM-1C", "DIMM-1D", "DIMM-2A", "DIMM-2B", "DIMM-2C", "DIMM-2D"]
    sockets = [s for s in sockets if s not in missing_dimms]  # modules the controller no longer sees
    p.number(0x0700, len(sockets))
    for i, name in enumerate(sockets):
        p.answer(0x0702, 0, i, name)
        if name.endswith("D"):
            p.answer(0x0701, 0, i, 0)  # empty slot: no size and no type
            continue
        code = 5 if name == "DIMM-2B" else 1
        memory.append(WARNING if code == 5 else NORMAL)
        p.answer(0x0701, 0, i, code)
        p.answer(0x070A, 0, i, 32768)
        p.answer(0x070B, 0, i, "DDR4")
        p.answer(0x070D, 0, i, "RDIMM 3200 MT/s ECC")

    p.number(0x0600, 2)
    for i in range(2):
        p.answer(0x0601, 0, i, 1)
        p.answer(0x0602, 0, i, "CPU%d" % (i + 1))
        p.answer(0x0605, 0, i, "64-bit Server Processor, 24 cores, 2.90 GHz")
        p.answer(0x061D, 0, i, 2900)

    # designation, status code (1 OK, 4 empty, 128 OK with warning icon)
    slots = [("PCIe Gen4 x16 Slot 1", 1), ("PCIe Gen4 x16 Slot 2", 1), ("PCIe Gen4 x8 Slot 3", 4),
             ("PCIe Gen4 x8 Slot 4", 128), ("PCIe Gen4 x8 Slot 5", 4), ("OCP 3.0 Slot", 1)]
    p.number(0x1480, len(slots))
    for i, (name, status) in enumerate(slots):
        p.answer(0x1042, 0x28, i, status)
        p.answer(0x1043, 0x28, i, name)
    slot_status = {1: NORMAL, 4: NOT_COUNTED, 128: WARNING}
    return {(3, 0): worst(NORMAL for v in voltages if v[1] == 1), (3, 1): worst(memory),
            (3, 2): NORMAL, (3, 4): worst(slot_status[s[1]] for s in slots)}


def adapters(p):
    # designation, location, class (3 mass storage, 2 network, 1 neither), status code
    cards = [("SATA AHCI Controller", "Onboard", 3, 1),
             ("Dual Port 25GbE Adapter", "OCP 3.0 Slot", 2, 1),
             ("Baseboard Management Controller", "Onboard", 1, 1)]
    p.number(0x1800, len(cards))
    for i, (name, location, kind, status) in enumerate(cards):
        p.answer(0x1801, 0, i, status)
        p.answer(0x1803, 0, i, name)
        p.answer(0x1804, 0, i, location)
        p.answer(0x1805, 0, i, kind)
    p.answer(0x1820, 3, 0, NORMAL)
    return {(5, 0): NORMAL}


def raid(p, adapter_count, physical_drives, failed_drive):
    p.string(0x0C00, "7.14.0.5", 0xAA03)  # RAID manager version
    p.number(0x2120, 1)                   # manager overall status code: OK
    p.number(0x21DF, 0)
    p.number(0x2110, adapter_count)
    p.number(0x2121, NORMAL)
    physical, logical_statuses = [], []

    per_adapter = [physical_drives // adapter_count + (1 if a < physical_drives % adapter_count else 0)
                   for a in range(adapter_count)]
    for a in range(adapter_count):
        p.answer(0x2111, 0, a, "RAID Ctrl SAS 12G 8i (%d)" % a)
        p.answer(0x2116, 0, a, 0)

        drives = per_adapter[a]
        p.answer(0x2130, a, 0, drives)
        for d in range(drives):
            nvme = a % 2 == 1
            size = 1831420 if nvme else 1144641
            status = 0
            smart = 0
            if d == drives - 1 and drives > 2:
                status = 4  # dedicated hot spare
            if a == 0 and d == 1:
                smart = 1   # S.M.A.R.T. failure on an operational drive: shown as a warning
            physical.append(WARNING if smart else NORMAL)
            if a == 1 and d == 2:
                status = 6  # rebuilding
            if failed_drive and a == 0 and d == 0:
                status = 11  # failed
            physical[-1] = ERROR if status == 11 else physical[-1]
            p.answer(0x2131, a, d, status)
            p.answer(0x2132, a, d, smart)
            p.answer(0x2133, a, d, "%s (%d)" % ("NVMe SSD 1.92TB" if nvme else "SAS HDD 1.2TB 10K", d))
            p.answer(0x2134, a, d, 15 if nvme else 8)
            p.answer(0x2135, a, d, size)

        # Two logical drives per adapter: a mirrored system volume and a parity data volume.
        logical = [("LD0 System", "RAID-1", 0, 2 * 1024 * 1024 // 4),
                   ("LD1 Data", "RAID-5", 1 if a == 1 else 0, max(drives - 3, 1) * (1831420 if a % 2 == 1 else 1144641))]
        p.answer(0x2150, a, 0, len(logical))
        for d, (name, level, status, size) in enumerate(logical):
            logical_statuses.append(WARNING if status == 1 else NORMAL)  # 1 is Degraded
            p.answer(0x2151, a, d, status)
            p.answer(0x2152, a, d, "%s (%d)" % (name, a))
            p.answer(0x2153, a, d, size)
            p.answer(0x2155, a, d, level)

    p.number(0x2122, worst(logical_statuses))
    p.number(0x2123, worst(physical))
    return {(2, "adapters"): NORMAL, (2, "raid system"): NORMAL, (2, "raid adapters"): NORMAL,
            (2, "logical drives"): worst(logical_statuses), (2, "physical drives"): worst(physical)}


EVENT_TEXTS = [
    (INFO, 0x0101, "System booted"),
    (INFO, 0x0102, "BIOS POST completed successfully"),
    (INFO, 0x1A05, "Operating system started"),
    (INFO, 0x0C10, "Power supply 'PSU2' inserted"),
    (INFO, 0x0B01, "Event log cleared"),
    (MINOR, 0x0301, "Fan 'FAN3 SYS' prefailure detected"),
    (MINOR, 0x0402, "Temperature 'CPU2' exceeded warning level"),
    (MINOR, 0x0713, "Memory module 'DIMM-2B' correctable errors exceeded threshold"),
    (MINOR, 0x2131, "Physical drive 'SAS HDD 1.2TB 10K (1)' S.M.A.R.T. failure predicted"),
    (MAJOR, 0x0503, "Power supply 'PSU2' AC failure"),
    (MAJOR, 0x2151, "Logical drive 'LD1 Data (1)' degraded"),
    (MAJOR, 0x1234, "Chassis intrusion detected"),
    (CRITICAL, 0x0302, "Fan 'FAN5 SYS' failed"),
    (CRITICAL, 0x0405, "Temperature 'CPU2' exceeded critical level"),
    (CRITICAL, 0x000A, "Uncorrectable memory error on 'DIMM-2B'"),
]


def event_record(severity, code, stamp, text):
    body = text.encode("utf-8") + b"\0"
    length = 16 + len(body)
    header = struct.pack("<HBBHHiI", length, 0, severity, code, 0, stamp, 0)
    return header + body


def event_log(p, count):
    data = bytearray()
    for i in range(count):
        severity, code, text = EVENT_TEXTS[(i * 7) % len(EVENT_TEXTS)]
        # Every 50th record has lost its time stamp.
        stamp = 0 if i % 50 == 49 else BASE_TIME + i * 3607
        data += event_record(severity, code, stamp, text)
    p.answer(0x0B10, 0, 0, {"RAW": list(data)})


def events():
    def event(oc, oe, oi, status, data=None):
        command = {"OC": oc, "OE": oe, "OI": oi, "CA": 0, "ST": status}
        if data is not None:
            command["DA"] = data
        return {"SIP": {"V": 1, "CMD": [command]}}
    return [event(0x0301, 0, 2, 0, 3), event(0x0401, 0, 4, 0, 7), event(0x0501, 0, 1, 0, 1)]


def write_catalogue(out):
    """The event-message catalogue (ERRMSG.XML) of the demonstration system root: one text per
    event code, the same texts the records carry."""
    names = {INFO: "Info", MINOR: "Minor", MAJOR: "Major", CRITICAL: "Critical"}
    out.write('<?xml version="1.0" encoding="UTF-8"?>\n')
    out.write("<!-- Event messages of the demonstration server: one text per event code, the same texts the\n"
              "     simulated daemon sends in its event-log records. -->\n")
    out.write('<EventMessages version="1">\n')
    for severity, code, text in sorted(EVENT_TEXTS, key=lambda entry: entry[1]):
        text = text.replace("&", "&amp;").replace("<", "&lt;")
        out.write('  <Message code="0x%04X" severity="%s">%s</Message>\n' % (code, names[severity], text))
    out.write("</EventMessages>\n")


def write(profile, out):
    """One answer per line keeps the file easy to read and to edit by hand."""
    out.write("{\n")
    for name in ("_", "cabinet", "unanswered", "push_on_register"):
        if name in profile:
            out.write('  "%s": %s,\n' % (name, json.dumps(profile[name])))
    out.write('  "answers": {\n')
    items = sorted(profile["answers"].items())  # numeric order of (OC, OE, OI)
    for index, (k, v) in enumerate(items):
        comma = "," if index + 1 < len(items) else ""
        out.write('    "%s": %s%s\n' % (key(*k), json.dumps(v, separators=(", ", ": ")), comma))
    out.write("  },\n")
    out.write('  "events": [\n')
    for index, event in enumerate(profile["events"]):
        comma = "," if index + 1 < len(profile["events"]) else ""
        out.write("    %s%s\n" % (json.dumps(event), comma))
    out.write("  ]\n}\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--raid-adapters", type=int, default=2, metavar="N", help="RAID adapters (default 2)")
    parser.add_argument("--physical-drives", type=int, default=10, metavar="N",
                        help="physical drives, spread evenly over the RAID adapters (default 10)")
    parser.add_argument("--event-records", type=int, default=300, metavar="N", help="event-log records (default 300)")
    parser.add_argument("--bios", default=DEFAULT_BIOS, metavar="TEXT", help="BIOS version text")
    parser.add_argument("--power-supplies", type=int, default=2, choices=[0, 1, 2],
                        help="power supply units present (default 2)")
    parser.add_argument("--failed-drive", action="store_true", help="the first drive of adapter 0 has failed")
    parser.add_argument("--missing-dimm", action="append", default=[], metavar="SOCKET",
                        help="leave this memory socket out of the module list (repeatable)")
    parser.add_argument("--warmer", action="append", default=[], metavar="SENSOR=DEGREES",
                        help="raise one temperature sensor's reading (repeatable)")
    parser.add_argument("-o", "--output", metavar="FILE", help="output file (default: standard output)")
    parser.add_argument("--catalogue", metavar="FILE",
                        help="also write the event-message catalogue (ERRMSG.XML) with the event texts")
    options = parser.parse_args()
    if options.raid_adapters < 1 or options.physical_drives < 0 or options.event_records < 0:
        parser.error("counts must not be negative and at least one RAID adapter is needed")

    warmer = {}
    for item in options.warmer:
        name, _, degrees = item.partition("=")
        try:
            warmer[name] = int(degrees)
        except ValueError:
            parser.error("--warmer needs SENSOR=DEGREES, not %s" % item)

    p = Profile()
    system_information(p, options.bios)
    sections = {}
    sections.update(environment(p, warmer))
    sections.update(power_supplies(p, options.power_supplies))
    sections.update(system_board(p, options.missing_dimm))
    sections.update(adapters(p))
    sections.update(raid(p, options.raid_adapters, options.physical_drives, options.failed_drive))
    group_statuses(p, sections)
    event_log(p, options.event_records)

    profile = {
        "_": "Generated by tools/qmxd-sim/make_profile.py: a two-socket rack server.",
        "cabinet": 0,
        "unanswered": {"ST": 4},
        "answers": p.answers,
        "events": events(),
    }
    if options.output:
        with open(options.output, "w") as out:
            write(profile, out)
    else:
        write(profile, sys.stdout)
    if options.catalogue:
        with open(options.catalogue, "w") as out:
            write_catalogue(out)


if __name__ == "__main__":
    main()
