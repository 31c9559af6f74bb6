#!/usr/bin/env python3
"""Writes the golden profile: a server whose daemon answers every query that HostCapture knows
and, across its answers, sends every code of every code table once, plus one code that each
table lacks (shown as an unknown status with no text).

    python3 testdata/golden/make_golden_profile.py > testdata/golden/profile.json

The server is deliberately inconsistent (every state at once), so it is kept apart from the
shipped profiles. Tables stay small and texts short: the page is compared byte for byte.
"""

import json
import struct
import sys


def key(oc, oe=0, oi=0):
    return "0x%04X/0x%X/%d" % (oc, oe, oi)


class Profile:
    def __init__(self):
        self.answers = {}

    def data(self, oc, value, oe=0, oi=0):
        self.answers[(oc, oe, oi)] = {"DA": value}

    def refused(self, oc, status, oe=0, oi=0):
        self.answers[(oc, oe, oi)] = {"ST": status}

    def raw(self, oc, data, oe=0, oi=0):
        self.answers[(oc, oe, oi)] = {"DA": {"RAW": list(data)}}


# Codes of each table in table order, then one code the table does not hold.
COOLING_STATUS = [0, 1, 2, 3, 4, 5, 6, 7]
COOLING_TYPE = [0, 1, 2, 3, 4, 5, 6, 6]
TEMPERATURE_STATUS = [0, 1, 2, 3, 4, 5, 6, 7, 8]
SENSOR_TYPE = [0, 1, 2, 3, 4, 5, 6, 0, 1]
POWER_SUPPLY_STATUS = list(range(12)) + [12]
RAID_ADAPTER_STATUS = [0, 1, 2, 255, 3]
PHYSICAL_DRIVE_STATUS = list(range(16)) + [255, 16]
SMART_STATE = [1, 0, 255, 2]  # cycled over the drives; the first drive is operational
DRIVE_BUS_TYPE = list(range(16)) + [255, 16]
LOGICAL_DRIVE_STATUS = [0, 1, 2, 3, 4, 255, 5]
ADAPTER_STATUS = [0, 1, 2, 3, 4, 5, 6]
VOLTAGE_STATUS = [0, 1, 2, 3, 4, 5, 6]
MEMORY_STATUS = list(range(10)) + [10]
PROCESSOR_STATUS = list(range(7)) + [7]
PCI_SLOT_STATUS = [0, 1, 2, 3, 4, 5, 128, 130, 131, 129]
RAID_MANAGER_STATUS = 1  # one query per run; normal, so the follow-up query is asked too


def system_information(p):
    p.data(0x0C00, "GX-7 <lab>", 0x0608)
    p.data(0x0C00, "SN-0001", 0x0600)
    p.data(0x0C00, "CH-42", 0x0108)
    p.data(0xE001, "Asset M\u00fcller & Co", 0x0210)
    p.data(0x0C00, "00000000-1111-2222-3333-444444444444", 0x1510)
    p.data(0xE001, 5 * 3600, 0x1010)  # whole hours only: "5 hours "
    p.data(0x0C00, "BSN-9", 0x0200)
    p.data(0x0C00, "D1234-A1", 0x0201)
    p.data(0x0C00, "R1.0.0", 0xA006)
    p.data(0x0C00, "Linux \"golden\"", 0xA708)
    p.data(0x011E, 86400 + 2 * 3600 + 3 * 60 + 4)
    p.data(0xE107, "golden-host")
    p.raw(0xE108, [192, 0, 2, 17])
    p.raw(0xE108, [0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1], 1)
    p.data(0x0C00, "1.2.3", 0xA806)
    p.data(0x0931, "not asked 0931")
    p.data(0x0930, "not asked 0930")
    p.data(0x180A, 1)  # the status clear is acknowledged


def group_statuses(p):
    for group, status in ((0, 2), (1, 3), (2, 6), (3, 1), (5, 4)):
        p.data(0x2301, status, group)
    subgroups = {(0, 0): 0, (0, 2): 5, (1, 0): 7, (3, 0): 1, (3, 1): 2, (3, 2): 3, (3, 4): 6, (5, 0): 4}
    for (group, sub), status in subgroups.items():
        p.data(0x2306, status, group, sub)


def environment(p):
    p.data(0x0300, len(COOLING_STATUS))
    for i, status in enumerate(COOLING_STATUS):
        p.data(0x0301, status, 0, i)
        p.data(0x0302, 1000 + i, 0, i)
        p.data(0x0303, COOLING_TYPE[i], 0, i)
        p.data(0x0304, "FAN%d" % i, 0, i)
    p.data(0x0400, len(TEMPERATURE_STATUS))
    for i, status in enumerate(TEMPERATURE_STATUS):
        p.data(0x0401, status, 0, i)
        p.data(0x0402, 20 + i, 0, i)
        p.data(0x0403, SENSOR_TYPE[i], 0, i)
        p.data(0x0404, "TEMP%d" % i, 0, i)


def power_supplies(p):
    p.data(0x0500, len(POWER_SUPPLY_STATUS))
    for i, status in enumerate(POWER_SUPPLY_STATUS):
        p.data(0x0501, status, 0, i)
        p.data(0x0504, "PSU%d" % i, 0, i)
        p.data(0x0506, 800, 0, i)
        p.data(0x0507, 100 + i, 0, i)
    p.refused(0x0506, 4, 0, 1)        # nominal power not known: "N/A"
    p.data(0x0507, "many", 0, 2)       # a text where a number belongs: "N/A"
    p.data(0x0507, 0, 0, 3)            # a real 0


def threshold_word(minimum, maximum):
    return ((maximum & 0xFFFF) << 16) | (minimum & 0xFFFF)


def system_board(p):
    p.data(0x0520, len(VOLTAGE_STATUS))
    for i, status in enumerate(VOLTAGE_STATUS):
        p.data(0x0521, status, 0, i)
        p.data(0x0522, "VOLT%d" % i, 0, i)
        p.data(0x0523, threshold_word(100 * i, 100 * i + 50), 0, i)
        p.data(0x0524, 100 * i + 25, 0, i)
    p.data(0x0523, 0xFFF601F4, 0, 1)   # minimum 5.00 V, maximum -0.10 V
    p.data(0x0523, {"RAW": [1, 2, 3, 4]}, 0, 2)  # no word: 0.00 both

    p.data(0x0700, len(MEMORY_STATUS))
    for i, status in enumerate(MEMORY_STATUS):
        p.data(0x0701, status, 0, i)
        p.data(0x0702, "DIMM%d" % i, 0, i)
        p.data(0x070A, 1024 * i, 0, i)  # module 0 has size 0: a blank cell
        p.data(0x070B, "DDR5", 0, i)
        p.data(0x070D, "RDIMM", 0, i)
    p.refused(0x070B, 4, 0, 2)         # only the second part of the type
    p.refused(0x070D, 4, 0, 3)         # only the first part

    p.data(0x0600, len(PROCESSOR_STATUS))
    for i, status in enumerate(PROCESSOR_STATUS):
        p.data(0x0601, status, 0, i)
        p.data(0x0602, "CPU%d" % i, 0, i)
        p.data(0x0605, "Core-%d" % i, 0, i)
        p.data(0x061D, 2000 + 25 * i, 0, i)

    p.data(0x1480, len(PCI_SLOT_STATUS))
    for i, status in enumerate(PCI_SLOT_STATUS):
        p.data(0x1042, status, 0x28, i)
        p.data(0x1043, "SLOT%d" % i, 0x28, i)


def adapters(p):
    # Classes: 3 mass storage, 2 network; 0x103 matches neither (the whole class is compared).
    classes = [3, 2, 3, 2, 3, 2, 3, 0x103, 1]
    statuses = ADAPTER_STATUS + [1, 1]
    p.data(0x1800, len(classes))
    for i, kind in enumerate(classes):
        p.data(0x1801, statuses[i], 0, i)
        p.data(0x1803, "ADAPTER%d" % i, 0, i)
        p.data(0x1804, "LOC%d" % i, 0, i)
        p.data(0x1805, kind, 0, i)
    p.refused(0x1804, 4, 0, 2)         # no location
    p.data(0x1820, 2, 3)


def raid(p):
    p.data(0x0C00, "4.5.6", 0xAA03)
    p.data(0x2120, RAID_MANAGER_STATUS)
    p.data(0x21DF, 0)
    p.data(0x2110, len(RAID_ADAPTER_STATUS))
    p.data(0x2121, 1)
    p.data(0x2122, 2)
    p.data(0x2123, 3)
    for a, status in enumerate(RAID_ADAPTER_STATUS):
        p.data(0x2116, status, 0, a)
        p.data(0x2111, "RAID%d" % a, 0, a)

    # Physical drives: six on each of the first three adapters, none on the fourth, and a
    # count that the daemon refuses on the fifth.
    drives_per_adapter = [6, 6, 6, 0]
    drive = 0
    for a, count in enumerate(drives_per_adapter):
        p.data(0x2130, count, a)
        for d in range(count):
            p.data(0x2131, PHYSICAL_DRIVE_STATUS[drive], a, d)
            p.data(0x2132, SMART_STATE[drive % len(SMART_STATE)], a, d)
            p.data(0x2133, "PD%d" % drive, a, d)
            p.data(0x2134, DRIVE_BUS_TYPE[len(DRIVE_BUS_TYPE) - 1 - drive], a, d)
            p.data(0x2135, 1024 * drive + 512, a, d)  # an exact half rounds to even
            drive += 1
    p.refused(0x2130, 4, 4)

    # Logical drives: three, two and two on the first three adapters.
    sizes = [1535, 1536, 2560, 1048576, 0, 3000, 512]
    per_adapter = [3, 2, 2, 0, 0]
    drive = 0
    for a, count in enumerate(per_adapter):
        p.data(0x2150, count, a)
        for d in range(count):
            p.data(0x2151, LOGICAL_DRIVE_STATUS[drive], a, d)
            p.data(0x2152, "LD%d" % drive, a, d)
            p.data(0x2153, sizes[drive], a, d)
            p.data(0x2155, "RAID-%d" % drive, a, d)
            drive += 1


def event_record(severity, code, stamp, text):
    body = text.encode("utf-8") + b"\0"
    return struct.pack("<HBBHHiI", 16 + len(body), 0, severity, code, 0, stamp, 0) + body


def event_log(p):
    records = [
        (0, 0x1234, 1709622541, "Boot <done>"),
        (1, 0x0301, 1709622600, "Fan warning"),
        (2, 0x0402, 1709622700, "Temp major"),
        (3, 0x000A, 0, "No time"),
        (7, 0x0001, 1709622800, "Unknown severity"),  # left out of the table
        (3, 0xABCD, -5, "Negative time"),
    ]
    data = b"".join(event_record(*record) for record in records)
    p.raw(0x0B10, data)


def write(answers, out):
    out.write("{\n")
    out.write('  "_": "Generated by testdata/golden/make_golden_profile.py; regenerate, do not edit.",\n')
    out.write('  "cabinet": {"RAW": [3, 1]},\n')
    out.write('  "unanswered": {"ST": 4},\n')
    out.write('  "answers": {\n')
    items = sorted(answers.items())
    for index, (k, v) in enumerate(items):
        comma = "," if index + 1 < len(items) else ""
        out.write('    "%s": %s%s\n' % (key(*k), json.dumps(v, ensure_ascii=False), comma))
    out.write("  }\n}\n")


def main():
    p = Profile()
    system_information(p)
    group_statuses(p)
    environment(p)
    power_supplies(p)
    system_board(p)
    adapters(p)
    raid(p)
    event_log(p)
    write(p.answers, sys.stdout)


if __name__ == "__main__":
    main()
