#!/usr/bin/python3
"""A recording written by the saver read by two independent compound-file
readers: olefile and libgsf agree on every stream, the group streams have
the recorded layout, and "MuxData500" is the (max, min) / (OR, AND) of every
500 frames of "MuxData02", recomputed here.

The file is the round trip of test_save: group 1 has three channels, the
third an event channel, and two segments; group 2 has twelve channels.

usage: interop_saved.py FILE
"""
import struct
import sys

import gi

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402

import olefile  # noqa: E402

PATH = sys.argv[1]
failures = []


def check(what, got, want):
    if got != want:
        failures.append(f"{what}: got {got!r}, want {want!r}")


def gsf_streams(path):
    """Every stream of the file read with libgsf, by '/'-joined path."""
    out = {}

    def walk(node, prefix):
        for i in range(node.num_children()):
            child = node.child_by_index(i)
            name = prefix + [node.name_by_index(i)]
            if child.num_children() >= 0:
                walk(child, name)
            else:
                out["/".join(name)] = bytes(child.read(child.size)) if child.size else b""

    walk(Gsf.InfileMSOle.new(Gsf.InputStdio.new(path)), [])
    return out


ole = olefile.OleFileIO(PATH)
ole_streams = {"/".join(p): ole.openstream(p).read() for p in ole.listdir(streams=True, storages=False)}
gsf = gsf_streams(PATH)
check("stream names", sorted(n for n in gsf if not n.startswith("\x05")),
      sorted(n for n in ole_streams if not n.startswith("\x05")))
for name, data in ole_streams.items():
    if name.startswith("\x05"):
        continue  # the summary information, read below
    check(f"libgsf {name}", gsf.get(name), data)

meta = ole.get_metadata()
check("application name", meta.creating_application, b"movaLegacyRecording")
check("comment", meta.comments, b"two groups")

for group, channels, events in ((1, 3, {2}), (2, 12, set())):
    base = f"Data/ChGroup{group}/"
    full = ole_streams[base + "MuxData02"]
    reduced = ole_streams[base + "MuxData500"]
    (count,) = struct.unpack_from("<I", full, 0)
    check(f"group {group} reduced segment count", struct.unpack_from("<I", reduced, 0)[0], count)
    for seg in range(count):
        offset, frames = struct.unpack_from("<ii", full, 4 + 8 * seg)
        roffset, rframes = struct.unpack_from("<ii", reduced, 4 + 8 * seg)
        check(f"group {group} segment {seg} reduced frames", rframes, (frames - 1) // 500 + 1)
        samples = struct.unpack_from(f"<{frames * channels}h", full, offset)
        got = struct.unpack_from(f"<{rframes * channels * 2}h", reduced, roffset)
        want = []
        for start in range(0, frames, 500):
            run = range(start, min(start + 500, frames))
            for c in range(channels):
                values = [samples[f * channels + c] for f in run]
                if c in events:
                    hi = lo = values[0]
                    for v in values[1:]:
                        hi |= v
                        lo &= v
                    want += [hi, lo]
                else:
                    want += [max(values), min(values)]
        check(f"group {group} segment {seg} reduced data", list(got), want)

if failures:
    print("\n".join(failures))
    sys.exit(1)
print(f"olefile and libgsf read {len(ole_streams)} streams alike; reduced streams match")
