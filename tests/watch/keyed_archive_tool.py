#!/usr/bin/env python3
"""An independent reader and writer of keyed archives, on plistlib only.

  keyed_archive_tool.py dump FILE        print the archive as JSON (UIDs as {"UID": n})
  keyed_archive_tool.py write NAME FILE  write one of the archives below
"""
import json
import plistlib
import sys
from plistlib import UID


def dump(path):
    with open(path, "rb") as f:
        data = f.read()
    archive = plistlib.loads(data)

    def plain(value):
        if isinstance(value, UID):
            return {"UID": value.data}
        if isinstance(value, dict):
            return {"keys": list(value.keys()), "values": {k: plain(v) for k, v in value.items()}}
        if isinstance(value, list):
            return [plain(v) for v in value]
        if isinstance(value, bool):
            return {"bool": value}
        if isinstance(value, float):
            return {"real": value}
        return value

    print(json.dumps({
        "binary": data.startswith(b"bplist00"),
        "topKeys": sorted(archive.keys()),
        "archive": plain(archive),
    }))


def classed(name):
    return {"$classname": name, "$classes": [name, "NSObject"]}


# Archives laid out the way the platform's archiver lays them out, with
# variations it may produce: "$class" first, shared text entries, extra keys,
# strings as NSString dictionaries, XML output.
def task_with_shared_entries():
    return {
        "$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
        "$objects": [
            "$null",
            {"$class": UID(6), "id": 5.0, "patient": UID(2), "text": UID(4),
             "createdDate": UID(0), "delayed": True, "status": 2,
             "statusDescription": UID(4), "dueDate": UID(7), "type": 1,
             "watchOnlyExtra": UID(4), "priority": 9},
            {"$class": UID(5), "id": -12, "firstname": UID(3), "lastname": UID(3),
             "roomNumber": UID(4), "ward": "east"},
            "Ada",
            "Same",
            classed("OrbelinData.WatchPatient"),
            classed("OrbelinData.WatchTask"),
            {"NS.time": 800000000.5, "$class": UID(8)},
            {"$classname": "NSDate", "$classes": ["NSDate", "NSObject"]},
        ],
    }


def staff_with_nsstring():
    return {
        "$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
        "$objects": [
            "$null",
            {"$class": UID(4), "firstname": UID(2), "lastname": UID(3), "phoneNumber": UID(5),
             "image": 42, "role": UID(2), "firstName": "ignored"},
            "Grace",
            {"NS.string": "Hopper", "$class": UID(6)},
            classed("OrbelinData.WatchStaffMember"),
            "555-0100",
            {"$classname": "NSMutableString", "$classes": ["NSMutableString", "NSString", "NSObject"]},
        ],
    }


def patient_mangled_name():
    return {
        "$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
        "$objects": [
            "$null",
            {"$class": UID(2), "id": 9007199254740993, "firstname": UID(0), "roomNumber": 12},
            classed("_TtC11OrbelinData12WatchPatient"),
        ],
    }


ARCHIVES = {
    "task-shared": (task_with_shared_entries, plistlib.FMT_BINARY),
    "task-shared-xml": (task_with_shared_entries, plistlib.FMT_XML),
    "staff-nsstring": (staff_with_nsstring, plistlib.FMT_BINARY),
    "patient-mangled": (patient_mangled_name, plistlib.FMT_BINARY),
}


def xml_uids(value):
    """XML has no UID type; the platform spells one {"CF$UID": n}."""
    if isinstance(value, UID):
        return {"CF$UID": value.data}
    if isinstance(value, dict):
        return {k: xml_uids(v) for k, v in value.items()}
    if isinstance(value, list):
        return [xml_uids(v) for v in value]
    return value


def write(name, path):
    build, fmt = ARCHIVES[name]
    archive = build()
    if fmt == plistlib.FMT_XML:
        archive = xml_uids(archive)
    with open(path, "wb") as f:
        plistlib.dump(archive, f, fmt=fmt, sort_keys=False)


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "dump":
        dump(sys.argv[2])
    elif len(sys.argv) == 4 and sys.argv[1] == "write":
        write(sys.argv[2], sys.argv[3])
    else:
        sys.exit(__doc__)
