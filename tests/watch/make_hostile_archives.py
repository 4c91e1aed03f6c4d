#!/usr/bin/env python3
"""Writes the hostile keyed archives of tests/watch/hostile/ (run once; the
files are kept in the source tree). Each must be refused with an error value,
never a crash, an abort or a hang."""
import os
import plistlib
import struct
import sys
from plistlib import UID

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "hostile")


def classed(name):
    return {"$classname": name, "$classes": [name, "NSObject"]}


def task_archive(**changes):
    objects = [
        "$null",
        {"id": 1, "patient": UID(2), "text": UID(4), "createdDate": UID(0), "delayed": False,
         "status": 0, "statusDescription": UID(0), "dueDate": UID(5), "type": 0, "$class": UID(7)},
        {"id": 2, "firstname": UID(4), "lastname": UID(0), "roomNumber": UID(0), "$class": UID(3)},
        classed("OrbelinData.WatchPatient"),
        "text",
        {"NS.time": 100.0, "$class": UID(6)},
        classed("NSDate"),
        classed("OrbelinData.WatchTask"),
    ]
    archive = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
               "$objects": objects}
    for path, value in changes.items():
        target = archive
        keys = path.split("__")
        for key in keys[:-1]:
            target = target[int(key)] if isinstance(target, list) else target[key]
        last = keys[-1]
        if value is DELETE:
            del target[last]
        elif isinstance(target, list):
            target[int(last)] = value
        else:
            target[last] = value
    return archive


DELETE = object()


def raw_binary(objects, top=0):
    """A binary plist from already encoded objects (2-byte refs, 4-byte offsets)."""
    body = b"bplist00"
    offsets = []
    for obj in objects:
        offsets.append(len(body))
        body += obj
    table = len(body)
    body += b"".join(struct.pack(">I", o) for o in offsets)
    body += bytes(6) + bytes([4, 2]) + struct.pack(">QQQ", len(objects), top, table)
    return body


def array_of(refs):
    assert len(refs) < 15
    return bytes([0xA0 | len(refs)]) + b"".join(struct.pack(">H", r) for r in refs)


def deep_binary(depth):
    return raw_binary([array_of([i + 1]) for i in range(depth)] + [b"\x08"])


def exponential_binary(levels):
    # Each array refers twice to the next: libplist would build 2^levels nodes.
    return raw_binary([array_of([i + 1, i + 1]) for i in range(levels)] + [b"\x09"])


def binary(archive):
    return plistlib.dumps(archive, fmt=plistlib.FMT_BINARY, sort_keys=False)


def xml(archive):
    """XML has no UID type; the platform spells one {"CF$UID": n}."""
    def spelled(value):
        if isinstance(value, UID):
            return {"CF$UID": value.data}
        if isinstance(value, dict):
            return {k: spelled(v) for k, v in value.items()}
        if isinstance(value, list):
            return [spelled(v) for v in value]
        return value
    return plistlib.dumps(spelled(archive), fmt=plistlib.FMT_XML, sort_keys=False)


def xml_task_with_id(text):
    # 777 stands in for the id's text, which plistlib would not write.
    data = xml(task_archive(**{"$objects__1__id": 777}))
    return data.replace(b"<integer>777</integer>", b"<integer>" + text + b"</integer>")


def binary_task_with_wide_id(value):
    # plistlib writes 2^64 - 1 as a 16-byte integer; put any 16 bytes there.
    data = binary(task_archive(**{"$objects__1__id": 2**64 - 1}))
    wide = b"\x14" + (2**64 - 1).to_bytes(16, "big", signed=True)
    assert data.count(wide) == 1
    return data.replace(wide, b"\x14" + value.to_bytes(16, "big", signed=True))


CASES = {
    "not-a-plist.bin": b"this is not a property list",
    "empty-dict.bin": binary({}),
    "no-top.bin": binary(task_archive(**{"$top": DELETE})),
    "top-not-uid.bin": binary(task_archive(**{"$top__root": 1})),
    "root-uid-out-of-range.bin": binary(task_archive(**{"$top__root": UID(99)})),
    "field-uid-out-of-range.bin": binary(task_archive(**{"$objects__1__text": UID(4000)})),
    "uid-cycle.bin": binary(task_archive(**{"$objects__2__firstname": UID(1)})),
    "self-cycle.bin": binary(task_archive(**{"$objects__2__lastname": UID(2)})),
    "class-is-self.bin": binary(task_archive(**{"$objects__1__$class": UID(1)})),
    "class-not-dict.bin": binary(task_archive(**{"$objects__1__$class": UID(4)})),
    "class-uid-out-of-range.bin": binary(task_archive(**{"$objects__1__$class": UID(77)})),
    "unknown-class.bin": binary(task_archive(**{"$objects__7": classed("Evil.Thing")})),
    "unknown-nested-class.bin": binary(task_archive(**{"$objects__3": classed("Evil.Thing")})),
    "root-is-text.bin": binary(task_archive(**{"$top__root": UID(4)})),
    "root-is-null.bin": binary(task_archive(**{"$top__root": UID(0)})),
    "root-is-date.bin": binary(task_archive(**{"$top__root": UID(5)})),
    "objects-not-array.bin": binary(task_archive(**{"$objects": {"a": 1}})),
    "no-null-first.bin": binary(task_archive(**{"$objects__0": "nothing"})),
    "missing-due-date.bin": binary(task_archive(**{"$objects__1__dueDate": DELETE})),
    "null-id.bin": binary(task_archive(**{"$objects__1__id": UID(0)})),
    "text-id.bin": binary(task_archive(**{"$objects__1__id": UID(4)})),
    "delayed-is-text.bin": binary(task_archive(**{"$objects__1__delayed": UID(4)})),
    "delayed-is-two.bin": binary(task_archive(**{"$objects__1__delayed": 2})),
    "due-date-nan.bin": binary(task_archive(**{"$objects__5__NS.time": float("nan")})),
    "due-date-huge.bin": binary(task_archive(**{"$objects__5__NS.time": 1e300})),
    "due-date-text.bin": binary(task_archive(**{"$objects__5__NS.time": "soon"})),
    "entry-is-uid.bin": binary(task_archive(**{"$objects__4": UID(1)})),
    "nul-in-string.bin": binary(task_archive(**{"$objects__4": "te\0xt"})),
    "nul-in-key.bin": binary(task_archive(**{"$objects__1__te\0xt": 1})),
    "nul-in-utf16-string.bin": binary(task_archive(**{"$objects__4": "\u00e9\0"})),
    "truncated.bin": binary(task_archive())[:60],
    "deep-arrays.bin": deep_binary(5000),
    "exponential-arrays.bin": exponential_binary(60),
    "ref-out-of-range.bin": raw_binary([array_of([7])]),
    "xml-deep-arrays.xml": b"<plist>" + b"<array>" * 3000 + b"</array>" * 3000 + b"</plist>",
    "xml-nul-reference.xml": b'<?xml version="1.0"?><plist><dict><key>a&#0;b</key>'
                             b"<string>x</string></dict></plist>",
    "xml-hex-nul-reference.xml": b"<plist><string>&#x000;</string></plist>",
    "xml-nul-byte.xml": b"<plist><string>a\0b</string></plist>",
    "xml-unclosed.xml": b"<plist><dict><key>$top</key><dict",
    # Integers beyond a signed 64-bit value, which libplist wraps or cuts.
    "id-2-pow-64-minus-1.bin": binary(task_archive(**{"$objects__1__id": 2**64 - 1})),
    "id-2-pow-63.bin": binary(task_archive(**{"$objects__1__id": 2**63})),
    "id-2-pow-64-plus-12.bin": binary_task_with_wide_id(2**64 + 12),
    "id-minus-2-pow-64.bin": binary_task_with_wide_id(-2**64),
    "xml-id-2-pow-64.xml": xml_task_with_id(b"18446744073709551616"),
    "xml-id-2-pow-64-minus-1.xml": xml_task_with_id(b"18446744073709551615"),
    "xml-id-below-int64.xml": xml_task_with_id(b"-9223372036854775809"),
    "xml-id-minus-2-pow-64-plus-1.xml": xml_task_with_id(b"-18446744073709551615"),
    "xml-id-octal-looking.xml": xml_task_with_id(b"010"),
    "xml-id-trailing-text.xml": xml_task_with_id(b"12abc"),
}


def main():
    os.makedirs(HERE, exist_ok=True)
    for name, data in CASES.items():
        with open(os.path.join(HERE, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    sys.exit(main())
