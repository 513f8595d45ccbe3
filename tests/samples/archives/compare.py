#!/usr/bin/env python3
"""Reads every N.archive in a folder with plistlib and compares it with N.json."""
import json
import pathlib
import plistlib
import sys


def unfold(objects, uid):
    entry = objects[uid.data]
    if not isinstance(entry, dict):
        return entry
    name = objects[entry["$class"].data]["$classname"]
    if name == "NSNull":
        return None
    assert name == "NSDictionary", name
    keys, values = ([unfold(objects, u) for u in entry[k]] for k in ("NS.keys", "NS.objects"))
    assert len(keys) == len(values)
    return dict(zip(keys, values))


def typed(value):
    """Keeps 1, True and 1.0 apart, which are equal in Python."""
    if isinstance(value, dict):
        return {key: typed(content) for key, content in value.items()}
    return (type(value).__name__, repr(value))


compared = list(pathlib.Path(sys.argv[1]).glob("*.json"))
assert len(compared) >= 25
for expected in compared:
    archive = plistlib.loads(expected.with_suffix(".archive").read_bytes())
    assert archive["$version"] == 100000 and archive["$archiver"] == "NSKeyedArchiver"
    value = unfold(archive["$objects"], archive["$top"]["root"])
    wanted = json.loads(expected.read_text(encoding="utf-8"))
    assert typed(value) == typed(wanted), f"{value} is not {wanted}"
