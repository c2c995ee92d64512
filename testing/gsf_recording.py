"""Writing legacy recordings with an independent compound-file writer
(libgsf, through GObject introspection), for the interoperability tests:
the streams are encoded here byte for byte from the file layout, without
the project's own builder or storage engine.

    import sys; sys.path.insert(0, "<source>/testing")
    from gsf_recording import tagged, text, mux, reduce, write
    from gsf_recording import recording_streams, analog_and_event_group
"""
import struct

import gi

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402


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


def recording_streams(groups, title, year, day, seconds, extra=()):
    """The streams "Data/Intern01" (title, UTC start, `extra` tagged records,
    version 0x20000) and "Data/Config01" (the group numbers)."""
    intern = [(2, text(title)), (8, struct.pack("<I", year)), (9, struct.pack("<I", day)),
              (10, struct.pack("<d", seconds)), *extra, (20, struct.pack("<I", 0x20000))]
    return {"Data/Intern01": tagged(intern),
            "Data/Config01": struct.pack("<%dI" % (len(groups) + 1), *groups, 0xFFFFFFFF)}


def analog_and_event_group(number, segments, vnorms, name, unit, reduction=None, event_tags=()):
    """The streams of channel group `number`: channel 1 analog (`name`,
    `unit`, vertical normsets of (start, Y0, YStep)), channel 2 an event
    channel (its tagged records `event_tags` first); `segments` hold (start,
    step, analog samples, event words); with `reduction`, the stored reduced
    stream at that factor."""
    base = "Data/ChGroup%d/" % number
    frames = [[v for pair in zip(a, e) for v in pair] for _, _, a, e in segments]
    streams = {
        base + "Config01": struct.pack("<III", 1, 2, 0xFFFFFFFF)
                           + tagged([(0x4000, struct.pack("<I", reduction))] if reduction else []),
        base + "HNorms02": struct.pack("<I", len(segments)) + b"".join(
            struct.pack("<ddI", start, step, len(a)) for start, step, a, _ in segments),
        base + "MuxData02": mux(frames, 2),
        base + "Channel1/Intern01": tagged([(0, text(name)), (100, text(unit))]),
        base + "Channel1/VNorms01": struct.pack("<I", len(vnorms)) + b"".join(
            struct.pack("<ddd", *v) for v in vnorms),
        base + "Channel2/Intern01": tagged([*event_tags, (102, struct.pack("<I", 1))]),
    }
    if reduction:
        streams[base + "MuxData%d" % reduction] = mux(
            [reduce(f, 2, [False, True], reduction) for f in frames], 4)
    return streams


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
