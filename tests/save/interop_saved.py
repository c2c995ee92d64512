#!/usr/bin/python3
"""Recordings written by the saver read by two independent compound-file
readers, olefile and libgsf: they agree on every stream, and each group's
"MuxData500" is the (max, min) / (OR, AND) of every 500 frames of its
"MuxData02", recomputed here from the raw streams.

Two files: the round trip of test_save (written by the channel-group and
collections writers directly) and the bundled sample saved with `krf save`.

usage: interop_saved.py WRITERS_FILE KRF WORKDIR
"""
import os
import struct
import sys

import gi

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402

import olefile  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "testing"))
from krf_cli import Krf  # noqa: E402

WRITERS_FILE, WORK = sys.argv[1], sys.argv[3]
krf = Krf(sys.argv[2])
check = krf.same


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


def tagged(data):
    """The (tag, payload) records of a tagged-record stream."""
    at, out = 0, []
    while at + 2 <= len(data):
        (tag,) = struct.unpack_from("<H", data, at)
        if tag == 0xFFFF:
            break
        (length,) = struct.unpack_from("<I", data, at + 2)
        out.append((tag, data[at + 6:at + 6 + length]))
        at += 6 + length
    return out


def event_channels(streams, group):
    """Positions of the event channels of a group, from its Config01 and each
    channel's Intern01 (tag 102 not 0, or a bit name)."""
    config = streams[f"Data/ChGroup{group}/Config01"]
    numbers = []
    for at in range(0, len(config) - 3, 4):
        (n,) = struct.unpack_from("<I", config, at)
        if n == 0xFFFFFFFF:
            break
        numbers.append(n)
    events = set()
    for position, number in enumerate(numbers):
        records = tagged(streams[f"Data/ChGroup{group}/Channel{number}/Intern01"])
        if any(t == 102 and struct.unpack("<I", p)[0] for t, p in records) or \
                any(1 <= t <= 16 for t, _ in records):
            events.add(position)
    return len(numbers), events


def check_file(label, path, comment):
    ole = olefile.OleFileIO(path)
    streams = {"/".join(p): ole.openstream(p).read()
               for p in ole.listdir(streams=True, storages=False)}
    gsf = gsf_streams(path)
    check(f"{label}: stream names", sorted(n for n in gsf if not n.startswith("\x05")),
          sorted(n for n in streams if not n.startswith("\x05")))
    for name, data in streams.items():
        if not name.startswith("\x05"):  # the summary information, read below
            check(f"{label}: libgsf {name}", gsf.get(name), data)
    meta = ole.get_metadata()
    check(f"{label}: application name", meta.creating_application, b"movaLegacyRecording")
    check(f"{label}: comment", meta.comments, comment)

    groups = sorted({int(n.split("/")[1][7:]) for n in streams if n.startswith("Data/ChGroup")})
    for group in groups:
        channels, events = event_channels(streams, group)
        full = streams[f"Data/ChGroup{group}/MuxData02"]
        reduced = streams[f"Data/ChGroup{group}/MuxData500"]
        (count,) = struct.unpack_from("<I", full, 0)
        check(f"{label}: group {group} reduced segments", struct.unpack_from("<I", reduced, 0)[0], count)
        for seg in range(count):
            offset, frames = struct.unpack_from("<ii", full, 4 + 8 * seg)
            roffset, rframes = struct.unpack_from("<ii", reduced, 4 + 8 * seg)
            check(f"{label}: group {group} segment {seg} reduced frames", rframes, (frames - 1) // 500 + 1)
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
            check(f"{label}: group {group} segment {seg} reduced data", list(got), want)
    return len(streams)


os.makedirs(WORK, exist_ok=True)
sample, saved = os.path.join(WORK, "sample.krf"), os.path.join(WORK, "sample-saved.krf")
krf.out("sample", sample)
krf.out("save", saved, sample)

counts = [check_file("writers", WRITERS_FILE, b"two groups")]
if os.path.exists(saved):
    # The comment is the source's (the bundled sample's).
    source_comment = olefile.OleFileIO(sample).get_metadata().comments
    counts.append(check_file("krf save", saved, source_comment))
krf.finish(f"olefile and libgsf read {counts} streams alike; reduced streams match")
