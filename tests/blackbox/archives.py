"""Keyed archives by plistlib, so that what the programs share is not what is tested."""

import plistlib
import struct


def archive(record):
    """The keyed archive of a container; `record["body"]` holds texts, numbers and booleans."""
    objects = ["$null"]

    def add(value):
        objects.append(value)
        return plistlib.UID(len(objects) - 1)

    def instance(name, fields):
        return add(fields | {"$class": add({"$classname": name, "$classes": [name, "NSObject"]})})

    def encoded(value):
        if value is None:
            return instance("NSNull", {})
        if isinstance(value, tuple):  # a class and its fields, of which integers stand in place
            return instance(value[0], {key: field if isinstance(field, int) else encoded(field)
                                       for key, field in value[1].items()})
        if not isinstance(value, dict):
            return add(value)
        return instance("NSDictionary", {"NS.keys": [add(key) for key in value],
                                         "NS.objects": [encoded(one) for one in value.values()]})

    top = {"root": encoded(record)}
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top,
                           "$objects": objects}, fmt=plistlib.FMT_BINARY)


def unarchived(data):
    """Dictionaries as such, other objects as their fields."""
    content = plistlib.loads(data)
    assert content["$version"] == 100000 and content["$archiver"] == "NSKeyedArchiver"
    objects = content["$objects"]

    def value(uid):
        item = objects[uid.data]
        if not isinstance(item, dict):
            return None if item == "$null" else item
        if "NS.keys" in item:
            return dict(zip(map(value, item["NS.keys"]), map(value, item["NS.objects"])))
        fields = {key: value(field) if isinstance(field, plistlib.UID) else field
                  for key, field in item.items() if key != "$class"}
        return fields or None  # NSNull has none

    return value(content["$top"]["root"])


def framed(data):
    return data + struct.pack("<I", len(data))
