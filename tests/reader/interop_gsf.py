#!/usr/bin/python3
"""Recordings written by an independent compound-file writer (libgsf) read
back through `krf info --json`, `krf data` and `krf resample`; a file changed by
`krf upgrade` read back by olefile.

usage: interop_gsf.py KRF WORKDIR
"""
import json
import math
import os
import struct
import sys

import olefile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "testing"))
from krf_cli import Krf  # noqa: E402
from gsf_recording import analog_and_event_group, recording_streams  # noqa: E402
from gsf_recording import reduce, tagged, text, mux, write  # noqa: E402

KRF, WORK = sys.argv[1], sys.argv[2]
krf = Krf(KRF)
run, rows, check = krf.run, krf.rows, krf.same


# --- A recording with one group (number 4): an analog and an event channel,
# two segments, a reduced stream at factor 4, every event list.
A = [((i * 37) % 2001) - 1000 for i in range(30)]
E = [(i // 5) & 0x5 for i in range(30)]
seg1 = [v for pair in zip(A[:18], E[:18]) for v in pair]
streams = {
    **recording_streams([4], "s", 2006, 77, 1234.25, extra=[(7, struct.pack("<d", 0.2))]),
    **analog_and_event_group(4, [(0.0, 0.1, A[:18], E[:18]), (5.0, 0.1, A[18:], E[18:])],
                             [(0.0, 0.5, 0.001)], "Alpha", "mV", reduction=4,
                             event_tags=[(2, text("Door"))]),
    "Data/Markers01": struct.pack("<I", 2) + struct.pack("<dI", 0.3, 1) + struct.pack("<dI", 0.7, 1),
    "Data/Bookmarks01": struct.pack("<I", 1) + struct.pack("<d", 1.1) + text("Note"),
    "Data/Triggers01": struct.pack("<I", 1) + struct.pack("<IIdiI", 24 + 8, 3, 0.9, 1, 1) + text("Lvl"),
}
path = os.path.join(WORK, "gsf.krf")
write(path, streams, comment="written by libgsf")
info = krf.out("info", "--json", path)
if info:
    d = json.loads(info)
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

table = rows("data", path, "--group", "1", "--hnorm", "2", "--first", "3")
check("data header", table[:1], [["Time", "Alpha", "Channel 2"]])
check("data rows", [[float(x[0])] + [int(v) for v in x[1:]] for x in table[1:]],
      [[5.0 + (2 + i) * 0.1, A[18 + 2 + i], E[18 + 2 + i]] for i in range(10)])
table = rows("data", path, "--group", "1", "--reduction", "4", "--channel", "2")
check("reduced header", table[:1], [["Time", "Channel 2 max", "Channel 2 min"]])
red = reduce(seg1, 2, [False, True], 4)
check("reduced rows", [[int(v) for v in x[1:]] for x in table[1:]],
      [[red[k * 4 + 2], red[k * 4 + 3]] for k in range(5)])
# krf resample over both segments and the gap between them, every 50 ms:
# the items computed here from the frames (on a frame: its values; between
# two: linear for the analog channel, the next word for the event channel).
frames = [(0.0 + i * 0.1, i) for i in range(18)] + [(5.0 + i * 0.1, 18 + i) for i in range(12)]
want = []
for k in range(123):
    t = 0.0 + k * 0.05
    n = next(j for j, (ft, _) in enumerate(frames) if ft - t >= -1e-9)
    ft, i = frames[n]
    v = A[i] * 0.001 + 0.5
    if abs(ft - t) > 1e-9 and n > 0:
        pt, pi = frames[n - 1]
        v = v - ((ft - t) / (ft - pt)) * (v - (A[pi] * 0.001 + 0.5))
    want.append((t, struct.unpack("<f", struct.pack("<f", v))[0], E[i]))
table = rows("resample", path, "--start", "0", "--end", "6.1", "--step", "0.05")
check("resample header", table[:1], [["Time", "Alpha", "Channel 1:2"]])  # Door has no name
got = [(float(a), struct.unpack("<f", struct.pack("<f", float(b)))[0], int(c))
       for a, b, c in table[1:]]
check("resample items", got, want)
check("resample exact floats", all(struct.pack("<f", float(b)) == struct.pack("<f", w[1])
                                   for (_, b, _), w in zip(table[1:], want)), True)
r = run("resample", path, "--start", "1", "--end", "0.5", "--step", "0.1")
check("resample end before start", (r.returncode != 0, "before the start" in r.stderr),
      (True, True))
r = run("resample", path, "--start", "0", "--end", "1", "--step", "0.1", "--channel", "4:3")
check("resample unknown channel", (r.returncode != 0, "no channel group 4" in r.stderr),
      (True, True))

r = run("data", path, "--group", "2")
check("missing group", (r.returncode != 0, "0x80070057 E_INVALIDARG" in r.stderr), (True, True))

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
krf.out("upgrade", old_path)
ole = olefile.OleFileIO(old_path)
intern = ole.openstream("Data/Intern01").read()
check("stamp", intern[-12:], struct.pack("<HIIH", 20, 4, 0x20000, 0xFFFF))
vn = ole.openstream("Data/ChGroup1/Channel1/VNorms01").read()
count = struct.unpack_from("<I", vn)[0]
stored = [struct.unpack_from("<ddd", vn, 4 + 24 * i) for i in range(count)]
check("void rows", [(v[0], v[1]) for v in stored], [(0.0, 0.0), (1.0, 0.0)])
check("void step", math.isnan(stored[0][2]) and struct.pack("<d", stored[0][2]) == b"\xff" * 7 + b"\x7f",
      True)
check("app name", ole.get_metadata().creating_application, b"Kalvern Recorder")
ole.close()
info = krf.out("info", "--json", old_path)
if info:
    vn = json.loads(info)["ChannelGroups"][0]["ChannelInfos"][0]["VNorms"]
    check("void number as null", [(v["StartTime"], v["YStep"]) for v in vn], [(0.0, None), (1.0, 1.0)])

krf.finish()
