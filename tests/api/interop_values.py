#!/usr/bin/python3
"""A recording written by an independent compound-file writer (libgsf) read
through `krf value`, `krf events` and `krf find`; the expected answers are
worked out here from the samples and normsets written.

usage: interop_values.py KRF WORKDIR
"""
import os
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "testing"))
from krf_cli import Krf  # noqa: E402
from gsf_recording import analog_and_event_group, recording_streams, text, write  # noqa: E402

KRF, WORK = sys.argv[1], sys.argv[2]
krf = Krf(KRF)
run, rows, same = krf.run, krf.rows, krf.same
ABSENT = -32768


# Group 2: "Volt" (analog) and an event channel; segments 0 .. 1 s at 1/8 s
# and 2 .. 3 s at 1/4 s; the scaling changes at 0.5 s to a negative step.
SEGMENTS = [(0.0, 0.125, [100, 201, ABSENT, 32767, -32767, 10, 0, -5, 7]),
            (2.0, 0.25, [1, 2, 3, 4, 5])]
EVENTS = [[1, 2, ABSENT, 4, 5, 6, 7, 8, 9], [1, 2, 3, 4, 5]]
VNORMS = [(0.0, 1.5, 0.25), (0.5, -3.0, -0.125)]  # start, Y0, YStep


def scaled(raw, t):
    _, y0, step = [v for v in VNORMS if v[0] <= t][-1]
    return None if raw == ABSENT else raw * step + y0


def expected(t, event=False):
    """(sample, value) at t: the sample at or before t and the next one,
    interpolated; (-32768, None) outside the data or next to an absent sample."""
    for (start, step, values), words in zip(SEGMENTS, EVENTS):
        if not start <= t <= start + (len(values) - 1) * step:
            continue
        q = (t - start) / step
        i = int(q)
        raw = words if event else values
        if event:
            return raw[i], None
        ta = start + i * step
        if q == i:
            return raw[i], scaled(raw[i], ta)
        tb = ta + step
        a, b = raw[i], raw[i + 1]
        if ABSENT in (a, b):
            return ABSENT, None
        v = a + (b - a) * (t - ta) / (tb - ta)
        sample = 32767 if v > 32767 else -32767 if v < -32767 else int(v)
        sa, sb = scaled(a, ta), scaled(b, tb)
        return sample, sa + (sb - sa) * (t - ta) / (tb - ta)
    return ABSENT, None


def trigger(source, time, name):
    return struct.pack("<IIdiI", 24 + len(text(name)), source, time, 0, 0) + text(name)


streams = {
    **recording_streams([2], "values", 2010, 3, 60.0),
    **analog_and_event_group(2, [(*s, e) for s, e in zip(SEGMENTS, EVENTS)], VNORMS, "Volt", "V"),
    "Data/Markers01": struct.pack("<I", 3) + b"".join(
        struct.pack("<dI", t, 1) for t in (0.25, 0.5, 2.5)),
    "Data/Bookmarks01": struct.pack("<I", 2) + struct.pack("<d", 0.75) + text("x")
                        + struct.pack("<d", 2.25) + text("y"),
    "Data/Triggers01": struct.pack("<I", 2) + trigger(2, 0.125, "a") + trigger(1, 2.75, "b"),
    "Data/Voicemarks/Intern01": struct.pack("<I", 1) + struct.pack("<IIIIIId", 0, 1, 8000, 8, 1,
                                                                   4, 0.875),
    "Data/Voicemarks/Voicemark1": bytes([128, 130, 126, 128]),
}
path = os.path.join(WORK, "values.krf")
write(path, streams)

# --- krf value: every case of the interpolation, both channels.
TIMES = [0.0, 0.0625, 0.25, 0.3125, 0.4375, 0.5625, 0.6, 1.0, 1.0625, 2.125, 3.0, 3.5, -1.0]
args = ["value", path, "--group", "1", "--channel", "1"]
for t in TIMES:
    args += ["--time", repr(t)]
table = rows(*args)
if table:
    same("value header", table[0], ["Time", "Sample", "Value"])
    got = [(float(r[0]), int(r[1]), float(r[2]) if r[2] else None) for r in table[1:]]
    same("values", got, [(t, *expected(t)) for t in TIMES])
table = rows("value", path, "--group", "1", "--channel", "2", "--time", "0.3", "--time", "2.9")
same("event words", [(r[1], r[2]) for r in table[1:]],
     [(str(expected(t, True)[0]), "") for t in (0.3, 2.9)])
r = run("value", path, "--group", "1", "--channel", "3", "--time", "0")
same("missing channel", (r.returncode != 0, "0x80070057 E_INVALIDARG" in r.stderr), (True, True))
r = run("value", path, "--group", "1", "--channel", "1", "--time", "1.5")
same("gap note", (r.returncode, "Specfied time out of range" in r.stderr), (0, True))

# --- krf events and krf find.
for name, times in (("markers", [0.25, 0.5, 2.5]), ("bookmarks", [0.75, 2.25]),
                    ("triggers", [0.125, 2.75]), ("voicemarks", [0.875])):
    table = rows("events", path, "--collection", name)
    same(f"{name} times", [float(r[0]) for r in table[1:]], times)
table = rows("events", path, "--collection", "markers", "--start", "0.3", "--end", "2.6",
             "--count", "1")
same("limited markers", table, [["Time"], ["0.5"]])
same("no markers", rows("events", path, "--collection", "markers", "--start", "1", "--end", "2"),
     [["Time"]])
for collection, t, direction, want in (("markers", "0.5", "0", ["2", "0.5"]),
                                       ("markers", "0.6", "-1", ["2", "0.5"]),
                                       ("markers", "0.6", "1", ["3", "2.5"]),
                                       ("markers", "2.6", "1", None),
                                       ("bookmarks", "1", "1", ["2", "2.25"]),
                                       ("triggers", "0.125", "0", ["1", "0.125"]),
                                       ("voicemarks", "0.875", "0", ["1", "0.875"])):
    table = rows("find", path, "--collection", collection, "--time", t, "--direction", direction)
    same(f"find {collection} {t} {direction}", table,
         [["Index", "Time"]] + ([want] if want else []))
r = run("events", path, "--collection", "notes")
same("unknown collection", r.returncode != 0, True)

krf.finish()
