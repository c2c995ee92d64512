#!/usr/bin/python3
"""A recording written by an independent compound-file writer (libgsf) read
through `krf data --scaled`, `--one-of`, `--merge` and `krf display`; the
expected values are worked out here from the samples and normsets written.

usage: interop_data.py KRF WORKDIR
"""
import math
import os
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "testing"))
from krf_cli import Krf  # noqa: E402
from gsf_recording import analog_and_event_group, recording_streams, write  # noqa: E402

KRF, WORK = sys.argv[1], sys.argv[2]
krf = Krf(KRF)
run, rows, same = krf.run, krf.rows, krf.same


def f32(x):
    return struct.unpack("<f", struct.pack("<f", x))[0]


# Group 1: "Volt" (analog) and an event channel; 12 frames at 1/8 s from 0 s
# and 6 frames at 1/4 s from 3 s; the scaling changes at 0.5 s to a negative
# step; a stored reduction at factor 2.
VOLT = [[100, 201, -32768, 32767, -32767, 10, 0, -5, 7, 900, -900, 3], [1, 2, 3, 40, 5, -6]]
EVENT = [[1, 2, 0x8004, 4, 5, 6, 7, 8, 9, 0x10, 0x11, 0x12], [1, 2, 3, 4, 5, 7]]
STARTS = [(0.0, 0.125), (3.0, 0.25)]
VNORMS = [(0.0, 1.5, 0.25), (0.5, -3.0, -0.125)]  # start, Y0, YStep
EVENTS_SIGNED = [[v - 0x10000 if v > 0x7FFF else v for v in seg] for seg in EVENT]


def scaled(raw, t):
    _, y0, step = [v for v in VNORMS if v[0] <= t][-1]
    return raw * step + y0


streams = {
    **recording_streams([1], "s", 2011, 5, 0.0),
    **analog_and_event_group(1, [(*STARTS[i], VOLT[i], EVENTS_SIGNED[i]) for i in range(2)],
                             VNORMS, "Volt", "V", reduction=2),
}
path = os.path.join(WORK, "data.krf")
write(path, streams)
G = ["--group", "1"]

# --- krf data --scaled: every sample with the normset valid at its time.
table = rows("data", path, *G, "--scaled")
same("scaled header", table[:1], [["Time", "Volt", "Channel 2"]])
want = [[0.125 * i, scaled(v, 0.125 * i), e & 0xFFFF] for i, (v, e) in enumerate(zip(VOLT[0], EVENT[0]))]
same("scaled", [[float(r[0]), float(r[1]), int(r[2])] for r in table[1:]], want)

# Stored pairs, scaled at the pair's first sample; the negative step swaps them.
table = rows("data", path, *G, "--hnorm", "1", "--first", "3", "--scaled", "--reduction", "2")
same("pairs header", table[:1], [["Time", "Volt max", "Volt min", "Channel 2 max", "Channel 2 min"]])
want = []
for k in range(1, 6):  # stored pairs from frame (3 - 1) / 2 = 1 on
    t = 0.125 * (2 + 2 * (k - 1))
    a, b = (scaled(x, t) for x in (max(VOLT[0][2 * k:2 * k + 2]), min(VOLT[0][2 * k:2 * k + 2])))
    want.append([t, max(a, b), min(a, b), 0, 0])
same("scaled pairs", [[float(r[0]), float(r[1]), float(r[2]), int(r[3]), int(r[4])]
                      for r in table[1:]], want)

# --- krf data --one-of: samples 1, 1 + N, ... whatever --first says.
table = rows("data", path, *G, "--hnorm", "2", "--first", "5", "--one-of", "3", "--channel", "1")
same("one of 3", table, [["Time", "Volt"], ["3", "1"], ["3.75", "40"]])

# --- krf data --merge: 2 stored pairs of 2 frames per row, from sample 2.
table = rows("data", path, *G, "--first", "2", "--count", "10", "--merge", "2", "--request", "2")
want = []
for i in range(3):
    span = slice(4 * i, 4 * i + 4)
    ev = EVENTS_SIGNED[0][span]
    orr, andd = 0, -1
    for v in ev:
        orr, andd = orr | v, andd & v
    want.append([0.125 * (1 + 4 * i), str(max(VOLT[0][span])), str(min(VOLT[0][span])),
                 str(struct.unpack("<h", struct.pack("<H", orr & 0xFFFF))[0]), str(andd)])
same("merged", [[float(r[0])] + r[1:] for r in table[1:]], want)

# --- krf display: one sample a point, then stored pairs across the gap.
table = rows("display", path, *G, "--channel", "1", "--start", "0", "--end", "1.375",
             "--count", "12")
same("display header", table[:1], [["Time", "Max", "Min"]])
want = [[0.125 * i] + [f32(scaled(v, 0.125 * i))] * 2 for i, v in enumerate(VOLT[0])]
same("display samples", [[float(r[0]), f32(float(r[1])), f32(float(r[2]))] for r in table[1:]],
     want)

table = rows("display", path, *G, "--channel", "1", "--start", "0", "--end", "4.25",
             "--count", "5")
points = [[-math.inf, math.inf] for _ in range(5)]
for seg, span in ((0, 4), (1, 2)):  # R = 4 on 1/8 s, 2 on 1/4 s
    start, step = STARTS[seg]
    for f in range(0, len(VOLT[seg]), span):
        t = start + f * step
        a, b = (scaled(x, t) for x in (max(VOLT[seg][f:f + span]), min(VOLT[seg][f:f + span])))
        p = points[max(0, math.ceil(t / 1.0625))]
        p[0], p[1] = max(p[0], a, b), min(p[1], a, b)
got = [[r[1], r[2]] if r[1] == "" else [f32(float(r[1])), f32(float(r[2]))] for r in table[1:]]
same("display across the gap", got,
     [["", ""] if p[0] == -math.inf else [f32(p[0]), f32(p[1])] for p in points])

# --- Errors: the function's own status, one line, non-zero exit.
r = run("data", path, *G, "--hnorm", "3", "--scaled")
same("bad normset", (r.returncode != 0, "0x800427DA" in r.stderr), (True, True))
r = run("display", path, *G, "--channel", "1", "--start", "2", "--end", "1", "--count", "5")
same("start after end", (r.returncode != 0, "0x80070057 E_INVALIDARG" in r.stderr), (True, True))
r = run("data", path, *G, "--merge", "1")
same("merge of 1", (r.returncode != 0, "0x80070057" in r.stderr), (True, True))

# --- krf plot writes a picture with one band per run of points (points as
# wide as above leave the gap void; narrower ones are interpolated across it).
svg = os.path.join(WORK, "data.svg")
r = run("plot", path, *G, "--channel", "1", "--width", "5", "--out", svg)
same("plot", r.returncode, 0)
if r.returncode == 0:
    import xml.etree.ElementTree as ET
    paths = ET.parse(svg).getroot().findall(".//{http://www.w3.org/2000/svg}path")
    same("plot bands (two normsets, a gap)", len(paths), 2)

krf.finish()
