#!/usr/bin/env python3
"""An independent reader and writer of keyed archives, on plistlib only.

  keyed_archive_tool.py dump FILE        print the archive as JSON (UIDs as {"UID": n})
  keyed_archive_tool.py write NAME FILE  write one of the archives below
"""
import datetime
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
        if isinstance(value, dict) and list(value.keys()) == ["CF$UID"]:
            return {"UID": value["CF$UID"]}  # a UID as XML spells it
        if isinstance(value, dict):
            return {"keys": list(value.keys()), "values": {k: plain(v) for k, v in value.items()}}
        if isinstance(value, list):
            return [plain(v) for v in value]
        if isinstance(value, bool):
            return {"bool": value}
        if isinstance(value, float):
            return {"real": value}
        if isinstance(value, datetime.datetime):
            return {"date": value.isoformat()}
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


# What the platform's NSKeyedArchiver writes for the encodeObject(_:forKey:)
# calls of the watch objects, written down by hand from the format's rules:
# the root object is entry 1; each value gets the next entry when it is first
# written, a nested object's own values follow it, and an object's class entry
# comes after all of its values; NSNumber values are integer, real or boolean
# entries, not inline values; nil is UID 0. Equal numbers of one kind, equal
# truth values and equal texts share an entry, as the platform's unique boxed
# values do. The values are those of the tests' records.
def ns_time(iso):
    moment = datetime.datetime.fromisoformat(iso.replace("Z", "+00:00"))
    return (moment - datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)).total_seconds()


CREATED = ns_time("2026-06-14T08:00:00Z")
DUE = ns_time("2026-06-14T17:30:00Z")


def keyed(objects):
    return {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
            "$objects": objects}


def expected_task_with_patient():
    # id 7, status 1 and type 1 (one shared entry), not delayed, patient 42.
    return keyed([
        "$null",
        {"id": UID(2), "patient": UID(3), "text": UID(9), "createdDate": UID(10),
         "delayed": UID(12), "status": UID(13), "statusDescription": UID(14),
         "dueDate": UID(15), "type": UID(13), "$class": UID(16)},
        7,
        {"id": UID(4), "firstname": UID(5), "lastname": UID(6), "roomNumber": UID(7),
         "$class": UID(8)},
        42,
        "Ada",
        "Lovelace",
        "12B",
        classed("OrbelinData.WatchPatient"),
        "Check drain",
        {"NS.time": CREATED, "$class": UID(11)},
        classed("NSDate"),
        False,
        1,
        "Waiting",
        {"NS.time": DUE, "$class": UID(11)},
        classed("OrbelinData.WatchTask"),
    ])


def expected_task_without_patient():
    # id 31, overdue (3), discharge (1), delayed; no patient, text or
    # status description: those three keys hold UID 0.
    return keyed([
        "$null",
        {"id": UID(2), "patient": UID(0), "text": UID(0), "createdDate": UID(3),
         "delayed": UID(5), "status": UID(6), "statusDescription": UID(0),
         "dueDate": UID(7), "type": UID(8), "$class": UID(9)},
        31,
        {"NS.time": CREATED, "$class": UID(4)},
        classed("NSDate"),
        True,
        3,
        {"NS.time": DUE, "$class": UID(4)},
        1,
        classed("OrbelinData.WatchTask"),
    ])


def expected_staff():
    # No image: UID 0.
    return keyed([
        "$null",
        {"firstname": UID(2), "lastname": UID(3), "phoneNumber": UID(4), "image": UID(0),
         "role": UID(5), "$class": UID(6)},
        "Grace",
        "Hopper",
        "555-0100",
        "Charge Nurse",
        classed("OrbelinData.WatchStaffMember"),
    ])


# expected_task_with_patient as our older archives laid it out: numbers and
# truth values inline under their keys.
def inline_task_with_patient():
    return keyed([
        "$null",
        {"id": 7, "patient": UID(2), "text": UID(8), "createdDate": UID(9), "delayed": False,
         "status": 1, "statusDescription": UID(11), "dueDate": UID(12), "type": 1,
         "$class": UID(13)},
        {"id": 42, "firstname": UID(3), "lastname": UID(4), "roomNumber": UID(5),
         "$class": UID(6)},
        "Ada",
        "Lovelace",
        "12B",
        classed("OrbelinData.WatchPatient"),
        "unused",
        "Check drain",
        {"NS.time": CREATED, "$class": UID(10)},
        classed("NSDate"),
        "Waiting",
        {"NS.time": DUE, "$class": UID(10)},
        classed("OrbelinData.WatchTask"),
    ])


# A task as in expected_task_without_patient (but status 2), whose "patient"
# holds something that is not a WatchPatient.
def task_with_patient_value(patient, *extra):
    return keyed([
        "$null",
        {"id": 31, "patient": patient, "text": UID(0), "createdDate": UID(0), "delayed": False,
         "status": 2, "statusDescription": UID(0), "dueDate": UID(2), "type": 1,
         "$class": UID(4)},
        {"NS.time": DUE, "$class": UID(3)},
        classed("NSDate"),
        classed("OrbelinData.WatchTask"),
        *extra,
    ])


PATIENT_VALUES = {
    "patient-inline-array": lambda: task_with_patient_value([UID(2), 1]),
    "patient-inline-dictionary": lambda: task_with_patient_value({"id": 42}),
    "patient-plain-array": lambda: task_with_patient_value(UID(5), [1, 2]),
    "patient-plain-dictionary": lambda: task_with_patient_value(UID(5), {"id": 42}),
    "patient-nsarray": lambda: task_with_patient_value(
        UID(5), {"NS.objects": [UID(6)], "$class": UID(7)}, 42, classed("NSArray")),
    "patient-nsdictionary": lambda: task_with_patient_value(
        UID(5), {"NS.keys": [UID(6)], "NS.objects": [UID(7)], "$class": UID(8)}, "id", 42,
        {"$classname": "NSMutableDictionary",
         "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]}),
}


# Another archiver's dates: the property list's own date kind, inline and as
# an entry, far beyond 32-bit seconds from 2001 and half a second before it.
def task_with_plist_dates():
    return keyed([
        "$null",
        {"id": UID(2), "patient": UID(0), "text": UID(0), "createdDate": UID(3),
         "delayed": UID(4), "status": UID(5), "statusDescription": UID(0),
         "dueDate": datetime.datetime(2100, 1, 1, 12, 0, 0, 250000), "type": UID(5),
         "$class": UID(6)},
        8,
        datetime.datetime(2000, 12, 31, 23, 59, 59, 500000),
        False,
        0,
        classed("OrbelinData.WatchTask"),
    ])


def task_with_id(value):
    archive = expected_task_without_patient()
    archive["$objects"][2] = value
    return archive


ARCHIVES = {
    "expected-task-with-patient": (expected_task_with_patient, plistlib.FMT_BINARY),
    "expected-task-without-patient": (expected_task_without_patient, plistlib.FMT_BINARY),
    "expected-staff": (expected_staff, plistlib.FMT_BINARY),
    "inline-task-with-patient": (inline_task_with_patient, plistlib.FMT_BINARY),
    "plist-dates": (task_with_plist_dates, plistlib.FMT_BINARY),
    "plist-dates-xml": (task_with_plist_dates, plistlib.FMT_XML),
    "id-max": (lambda: task_with_id(2**63 - 1), plistlib.FMT_BINARY),
    "id-min": (lambda: task_with_id(-2**63), plistlib.FMT_BINARY),
    **{name: (build, plistlib.FMT_BINARY) for name, build in PATIENT_VALUES.items()},
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
