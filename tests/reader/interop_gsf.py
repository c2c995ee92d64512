#!/usr/bin/python3
"""Recordings written by an independent compound-file writer (libgsf) read
back through `krf info --json` and `krf data`; a file changed by
`krf upgrade` read back by olefile.

usage: interop_gsf.py KRF WORKDIR
"""
import csv
import io
import json
import math
import os
import struct
import subprocess
import sys

import gi

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402

import olefile  # noqa: E402

KRF, WORK = sys.argv[1], sys.argv[2]
failures = []


def check(what, got, want):
    if got != want:
        failures.append(f"{what}: got {got!r}, want {want!r}")


def tagged(records):
    out = b""
    for tag, payload in records:
        out += struct.pack("<HI", tag, len(payload)) + payload
    return out + struct.pack("<H", 0xFFFF)


def text(s):
    return (s + "\0").encode("utf-16-le")


def mux(segments, values_per_frame):
    header = 4 + 8 * len(segments)
    out = struct.pack("<I", len(segments))
    offset = header
    for seg in segments:
        out += struct.pack("<ii", offset, len(seg) // values_per_frame)
        offset += 2 * len(seg)
    for seg in segments:
        out += struct.pack("<%dh" % len(seg), *seg)
    return out


def reduce(frames, channels, events, factor):
    out = []
    n = len(frames) // channels
    for start in range(0, n, factor):
        end = min(n, start + factor)
        for c in range(channels):
            vals = [frames[f * channels + c] for f in range(start, end)]
            if events[c]:
                hi = lo = vals[0]
                for v in vals[1:]:
                    hi, lo = hi | v, lo & v
                hi = struct.unpack("<h", struct.pack("<H", hi & 0xFFFF))[0]
                lo = struct.unpack("<h", struct.pack("<H", lo & 0xFFFF))[0]
            else:
                hi, lo = max(vals), min(vals)
            out += [hi, lo]
    return out


def summary_information(app_name, comment):
    """A Summary Information property set (code page 1252, VT_LPSTR values)."""
    props = [(1, struct.pack("<HHhH", 2, 0, 1252, 0))]
    for pid, value in ((18, app_name), (6, comment)):
        if value:
            raw = value.encode("cp1252") + b"\0"
            raw += b"\0" * (-len(raw) % 4)
            props.append((pid, struct.pack("<II", 0x1E, len(value) + 1) + raw))
    body = b""
    table = b""
    offset = 8 + 8 * len(props)
    for pid, data in props:
        table += struct.pack("<II", pid, offset + len(body))
        body += data
    section = struct.pack("<II", 8 + len(table) + len(body), len(props)) + table + body
    fmtid = bytes.fromhex("E0859FF2F94F6810AB9108002B27B3D9")
    header = struct.pack("<HHI", 0xFFFE, 0, 0x00020005) + b"\0" * 16 + struct.pack("<I", 1)
    return header + fmtid + struct.pack("<I", 48) + section


def write(path, streams, app_name=None, comment=None):
    sink = Gsf.OutputStdio.new(path)
    root = Gsf.OutfileMSOle.new(sink)
    dirs = {"": root}
    for name in sorted({p.rsplit("/", 1)[0] for p in streams if "/" in p}, key=len):
        parent, _, leaf = name.rpartition("/")
        dirs[name] = dirs[parent].new_child(leaf, True)
    for p, data in streams.items():
        parent, _, leaf = p.rpartition("/")
        child = dirs[parent].new_child(leaf, False)
        child.write(data)
        child.close()
    if app_name or comment:
        child = root.new_child("\x05SummaryInformation", False)
        child.write(summary_information(app_name, comment))
        child.close()
    for name in sorted(dirs, key=len, reverse=True):
        if name:
            dirs[name].close()
    root.close()  # closes the sink too


def krf(*args, ok=True):
    r = subprocess.run([KRF, *args], capture_output=True, text=True)
    if ok and r.returncode != 0:
        failures.append(f"krf {' '.join(args)} failed: {r.stderr.strip()}")
    return r


# --- A recording with one group (number 4): an analog and an event channel,
# two segments, a reduced stream at factor 4, every event list.
A = [((i * 37) % 2001) - 1000 for i in range(30)]
E = [(i // 5) & 0x5 for i in range(30)]
seg1 = [v for pair in zip(A[:18], E[:18]) for v in pair]
seg2 = [v for pair in zip(A[18:], E[18:]) for v in pair]
streams = {
    "Data/Intern01": tagged([(2, text("s")), (8, struct.pack("<I", 2006)),
                             (9, struct.pack("<I", 77)), (10, struct.pack("<d", 1234.25)),
                             (7, struct.pack("<d", 0.2)), (20, struct.pack("<I", 0x20000))]),
    "Data/Config01": struct.pack("<II", 4, 0xFFFFFFFF),
    "Data/ChGroup4/Config01": struct.pack("<III", 1, 2, 0xFFFFFFFF)
                              + tagged([(0x4000, struct.pack("<I", 4))]),
    "Data/ChGroup4/HNorms02": struct.pack("<I", 2) + struct.pack("<ddI", 0.0, 0.1, 18)
                              + struct.pack("<ddI", 5.0, 0.1, 12),
    "Data/ChGroup4/MuxData02": mux([seg1, seg2], 2),
    "Data/ChGroup4/MuxData4": mux([reduce(seg1, 2, [False, True], 4),
                                   reduce(seg2, 2, [False, True], 4)], 4),
    "Data/ChGroup4/Channel1/Intern01": tagged([(0, text("Alpha")), (100, text("mV"))]),
    "Data/ChGroup4/Channel1/VNorms01": struct.pack("<I", 1) + struct.pack("<ddd", 0.0, 0.5, 0.001),
    "Data/ChGroup4/Channel2/Intern01": tagged([(2, text("Door")), (102, struct.pack("<I", 1))]),
    "Data/Markers01": struct.pack("<I", 2) + struct.pack("<dI", 0.3, 1) + struct.pack("<dI", 0.7, 1),
    "Data/Bookmarks01": struct.pack("<I", 1) + struct.pack("<d", 1.1) + text("Note"),
    "Data/Triggers01": struct.pack("<I", 1) + struct.pack("<IIdiI", 24 + 8, 3, 0.9, 1, 1) + text("Lvl"),
}
path = os.path.join(WORK, "gsf.krf")
write(path, streams, comment="written by libgsf")
r = krf("info", "--json", path)
if r.returncode == 0:
    d = json.loads(r.stdout)
    check("Title", d["Title"], "gsf")
    check("Extension", d["Extension"], "krf")
    check("Comment", d["Comment"], "written by libgsf")
    check("XUnits", d["XUnits"], "s")
    check("TimePerDivisionHint", d["TimePerDivisionHint"], 0.2)
    check("UTCYear", (d["UTCYear"], d["UTCYearDay"], d["UTCTimeOfDay"]), (2006, 77, 1234.25))
    g = d["ChannelGroups"][0]
    check("HNorms", [(h["StartTime"], h["XStep"], h["Length"]) for h in g["HNorms"]],
          [(0.0, 0.1, 18), (5.0, 0.1, 12)])
    ch = g["ChannelInfos"]
    check("names", [c["Name"] for c in ch], ["Alpha", ""])
    check("units", ch[0]["YUnits"], "mV")
    check("event", [c["EventChannel"] for c in ch], [False, True])
    check("bits", ch[1]["BitNames"][:3], ["", "Door", ""])
    check("vnorms", [(v["StartTime"], v["Y0"], v["YStep"]) for v in ch[0]["VNorms"]],
          [(0.0, 0.5, 0.001)])
    check("markers", [m["Time"] for m in d["Markers"]], [0.3, 0.7])
    check("bookmarks", [(b["Time"], b["Name"]) for b in d["Bookmarks"]], [(1.1, "Note")])
    check("triggers", [(t["Time"], t["Source"], t["Name"], t["ChannelGroup"], t["ChannelInfo"])
                       for t in d["Triggers"]], [(0.9, 3, "Lvl", 1, 1)])

r = krf("data", path, "--group", "1", "--hnorm", "2", "--first", "3")
if r.returncode == 0:
    rows = list(csv.reader(io.StringIO(r.stdout)))
    check("data header", rows[0], ["Time", "Alpha", "Channel 2"])
    check("data rows", [[float(x[0])] + [int(v) for v in x[1:]] for x in rows[1:]],
          [[5.0 + (2 + i) * 0.1, A[18 + 2 + i], E[18 + 2 + i]] for i in range(10)])
r = krf("data", path, "--group", "1", "--reduction", "4", "--channel", "2")
if r.returncode == 0:
    rows = list(csv.reader(io.StringIO(r.stdout)))
    check("reduced header", rows[0], ["Time", "Channel 2 max", "Channel 2 min"])
    red = reduce(seg1, 2, [False, True], 4)
    check("reduced rows", [[int(v) for v in x[1:]] for x in rows[1:]],
          [[red[k * 4 + 2], red[k * 4 + 3]] for k in range(5)])
r = krf("data", path, "--group", "2", ok=False)
check("missing group exit", r.returncode != 0, True)
check("missing group message", "0x80070057 E_INVALIDARG" in r.stderr, True)

# --- An old file of an eligible application: krf upgrade changes it, and
# olefile still reads it.
A2 = [-32768, -32768] + list(range(1, 9))
old = {
    "Data/Intern01": tagged([(8, struct.pack("<I", 2002)), (9, struct.pack("<I", 5)),
                             (10, struct.pack("<d", 60.0))]),
    "Data/Config01": struct.pack("<II", 1, 0xFFFFFFFF),
    "Data/ChGroup1/Config01": struct.pack("<II", 1, 0xFFFFFFFF) + tagged([]),
    "Data/ChGroup1/HNorms02": struct.pack("<I", 1) + struct.pack("<ddI", 0.0, 0.5, 10),
    "Data/ChGroup1/MuxData02": mux([A2], 1),
    "Data/ChGroup1/Channel1/Intern01": tagged([(0, text("V1")), (100, text("V"))]),
    "Data/ChGroup1/Channel1/VNorms01": struct.pack("<I", 1) + struct.pack("<ddd", 0.0, 0.0, 1.0),
}
old_path = os.path.join(WORK, "old.krf")
write(old_path, old, app_name="Kalvern Recorder")
krf("upgrade", old_path)
ole = olefile.OleFileIO(old_path)
intern = ole.openstream("Data/Intern01").read()
check("stamp", intern[-12:], struct.pack("<HIIH", 20, 4, 0x20000, 0xFFFF))
vn = ole.openstream("Data/ChGroup1/Channel1/VNorms01").read()
count = struct.unpack_from("<I", vn)[0]
rows = [struct.unpack_from("<ddd", vn, 4 + 24 * i) for i in range(count)]
check("void rows", [(r[0], r[1]) for r in rows], [(0.0, 0.0), (1.0, 0.0)])
check("void step", math.isnan(rows[0][2]) and struct.pack("<d", rows[0][2]) == b"\xff" * 7 + b"\x7f",
      True)
check("app name", ole.get_metadata().creating_application, b"Kalvern Recorder")
ole.close()
r = krf("info", "--json", old_path)
if r.returncode == 0:
    vn = json.loads(r.stdout)["ChannelGroups"][0]["ChannelInfos"][0]["VNorms"]
    check("void number as null", [(v["StartTime"], v["YStep"]) for v in vn], [(0.0, None), (1.0, 1.0)])

if failures:
    print("\n".join(failures))
    sys.exit(1)
print("interop ok")
