#!/usr/bin/env python3
"""Writes a daemon simulator profile in which every text the daemon hands out carries markup:
each string answer, and the message of every event-log record, becomes a script element, an
image with an error handler, quotes and an ampersand. A report built from it must show all of it
as text and run none of it.

    python3 markup_profile.py <base profile> > markup.json
"""
import json
import re
import sys

# Each piece sets window.__injected or opens a dialog if it ever runs as markup.
PAYLOAD = ('<script>window.__injected="script"</script><img src=x onerror="window.__injected=\'img\';alert(1)">'
           '"quoted" & \'single\' <b>bold</b> &amp; </td></tr></table><svg onload=alert(2)>')


def markup_records(data):
    """Rebuilds packed event-log records (16-byte header with the record length in its first two
    bytes, then a zero-terminated text) with the payload as every text."""
    text = list(PAYLOAD.encode("utf-8"))
    out = []
    at = 0
    while at + 16 <= len(data):
        length = data[at] | (data[at + 1] << 8)
        if length < 16 or at + length > len(data):
            break
        total = 16 + len(text) + 1
        header = list(data[at:at + 16])
        header[0] = total & 0xFF
        header[1] = total >> 8
        out += header + text + [0]
        at += length
    return out


def markup_profile(profile):
    strings = 0
    for key, answer in profile.get("answers", {}).items():
        data = answer.get("DA")
        if isinstance(data, str):
            answer["DA"] = PAYLOAD
            strings += 1
        elif re.match(r"0x0B10\b", key, re.IGNORECASE) and isinstance(data, dict) and \
                isinstance(data.get("RAW"), list):
            records = markup_records(data["RAW"])
            if records:
                data["RAW"] = records
    if strings == 0:
        raise ValueError("the base profile has no string answers to replace")
    return profile


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as base:
        json.dump(markup_profile(json.load(base)), sys.stdout, indent=1, ensure_ascii=False)
    sys.stdout.write("\n")
