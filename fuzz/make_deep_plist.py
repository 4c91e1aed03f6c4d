#!/usr/bin/env python3
"""Writes a binary property list of arrays nested DEPTH deep (default 100000).

The committed corpus holds a shallower one to stay small; this makes the full
reproducer for a manual run: fuzz_replay_info_plist /tmp/deep.bplist
"""
import struct
import sys


def deep_bplist(depth):
    # Object i is an array holding object i + 1; the last one is empty.
    objects = [b"\xa1" + (i + 1).to_bytes(3, "big") for i in range(depth)] + [b"\xa0"]
    body = b"bplist00"
    offsets = []
    for item in objects:
        offsets.append(len(body))
        body += item
    table = len(body)
    for offset in offsets:
        body += offset.to_bytes(3, "big")
    return body + b"\0" * 6 + bytes([3, 3]) + struct.pack(">QQQ", len(objects), 0, table)


if __name__ == "__main__":
    path = sys.argv[1]
    depth = int(sys.argv[2]) if len(sys.argv) > 2 else 100000
    with open(path, "wb") as out:
        out.write(deep_bplist(depth))
