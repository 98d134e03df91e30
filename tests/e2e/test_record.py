"""The tests' own table of the records against the message reference, which is generated from the daemon's."""
import os
import re

from trelvik import record
from trelvik.files import read
from trelvik.places import REPO

REFERENCE = os.path.join(REPO, "docs", "messages.md")


def cells(line):
    return [cell.strip().strip("`") for cell in line.strip("|").split("|")]


def sections():
    """{heading: rows of the first table under it, without its head}"""
    found = {}
    for part in re.split(r"^## ", read(REFERENCE), flags=re.MULTILINE)[1:]:
        heading, *lines = part.splitlines()
        found[heading] = [cells(line) for line in lines if line.startswith("|")][2:]
    return found


def fields(rows):
    return {name: (int(offset), int(size), kind) for offset, size, name, kind, *_ in rows}


def test_fields_stand_where_the_reference_says():
    told = {heading: fields(rows) for heading, rows in sections().items() if heading != "Kinds"}
    assert told.pop("Trailer of an answer") == record.TRAILER
    assert told.pop("Filter entry") == record.ENTRY
    own = {msg_type: record.FIELDS[msg_type] for msg_type in record.FIELDS}
    assert {int(re.search(r"\((\d+)\)", heading)[1]): rows for heading, rows in told.items()} == own


def test_types_have_the_numbers_of_the_reference():
    rows = re.findall(r"^\| (\d+) \| \[?`(\w+)`", read(REFERENCE), re.MULTILINE)
    assert len(rows) == record.TYPES
    for number, name in rows:
        assert getattr(record, name) == int(number), name


def test_fields_are_read_as_they_are_written():
    fits = {"number": 7, "label": 8, "ipAddress": 9, "redundancyState": -1, "bigEndianNumber": 0x01020304,
            "text": "a b", "mac": "00:1a:2b:3c:4d:5e", "values": b"\1\2\3\4", "bytes": "0102", "portList": "a0000000",
            "filterEntries": [(1, "01", "ff"), (0, "", ""), (12, "0203", "ffff")]}
    for msg_type, described in record.FIELDS.items():
        values = {name: fits[kind] for name, (_, _, kind) in described.items() if kind != "vlanList"}
        raw = record.make(msg_type, **values)
        assert len(raw) == record.SIZE
        assert {name: record.field(raw, name) for name in values} == values
