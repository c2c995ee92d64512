#!/usr/bin/python3
"""Interoperability of the compound-file engine with independent readers and
writers from Debian: python3-olefile and libgsf (the gsf tool, and its writer
through python3-gi).

One run, for one major version:
  1. interop_tool writes a file (nested storages, more than 1000 entries,
     streams around the mini-stream cutoff, a stream that needs DIFAT sectors,
     summary information in code page 1252); olefile and gsf must see exactly
     the elements, sizes and bytes the engine reports, and olefile's metadata
     must hold the comment and application name.
  2. interop_tool changes it in place (rewrite, append, replace with
     STGM_CREATE, destroy, rename); the readers are asked again, and the
     changed streams are compared with the bytes they must now hold.
  3. libgsf writes a file of its own; the engine (interop_tool manifest,
     krf tree, krf cat) must read exactly what was written.
"""
import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import zlib

import olefile
import gi

gi.require_version("Gsf", "1")
from gi.repository import Gsf  # noqa: E402

COMMENT = "Messung Pr\u00fcfstand 3 \u2013 \u00e9t\u00e9 \u20ac"
APPNAME = "Kalvern Recorder \u00a9"


def fail(message):
    print("FAIL:", message)
    sys.exit(1)


def run(cmd):
    result = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if result.returncode != 0:
        fail("%s exited with %d: %s" % (" ".join(cmd), result.returncode, result.stderr.decode(errors="replace")))
    return result.stdout


def pattern(size, seed, at=0):
    """The bytes interop_tool writes: byte at position p is seed*31 + p*7 + p/256."""
    return bytes(((seed * 31 + p * 7 + (p >> 8)) & 0xFF) for p in range(at, at + size))


def manifest(tool, path):
    """{path: (kind, size, crc)} as the engine reads the file."""
    out = {}
    for line in run([tool, "manifest", path]).decode().splitlines():
        kind, size, crc, name = line.split(" ", 3)
        out[name] = (kind, int(size), int(crc, 16))
    return out


def check_olefile(path, expected, version):
    ole = olefile.OleFileIO(path, raise_defects=olefile.DEFECT_INCORRECT)
    if ole.dll_version != version:
        fail("olefile sees major version %d, not %d" % (ole.dll_version, version))
    seen = {}
    for parts in ole.listdir(streams=True, storages=True):
        name = "/".join(parts)
        seen[name] = "d" if ole.get_type(parts) == olefile.STGTY_STORAGE else "f"
    if set(seen) != set(expected):
        fail("olefile lists other elements: missing %s, extra %s"
             % (sorted(set(expected) - set(seen))[:5], sorted(set(seen) - set(expected))[:5]))
    for name, (kind, size, crc) in expected.items():
        if seen[name] != kind:
            fail("olefile: %s is %s, not %s" % (name, seen[name], kind))
        if kind != "f":
            continue
        if ole.get_size(name) != size:
            fail("olefile: %s has %d bytes, not %d" % (name, ole.get_size(name), size))
        data = ole.openstream(name).read()
        if len(data) != size or zlib.crc32(data) != crc:
            fail("olefile: %s reads other bytes" % name)
    ole.close()
    print("olefile reads %d elements exactly" % len(expected))


def check_metadata(path):
    ole = olefile.OleFileIO(path)
    meta = ole.get_metadata()
    if meta.codepage != 1252:
        fail("olefile: code page %r" % meta.codepage)
    if meta.comments != COMMENT.encode("cp1252"):
        fail("olefile: comments %r" % meta.comments)
    if meta.creating_application != APPNAME.encode("cp1252"):
        fail("olefile: creating application %r" % meta.creating_application)
    ole.close()
    print("olefile reads the summary information")


GSF_LINE = re.compile(r"^([df])\s+(?:\S+ \S+\s+)?(\d+) (.*)$")


def gsf_crc(path, name):
    proc = subprocess.Popen(["gsf", "cat", path, name], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    crc, size = 0, 0
    while True:
        chunk = proc.stdout.read(1 << 20)
        if not chunk:
            break
        crc = zlib.crc32(chunk, crc)
        size += len(chunk)
    err = proc.stderr.read()
    if proc.wait() != 0:
        fail("gsf cat %s %s: %s" % (path, name, err.decode(errors="replace")))
    return size, crc


def check_gsf(path, expected):
    seen = {}
    for line in run(["gsf", "list", path]).decode("utf-8", "replace").splitlines()[1:]:
        m = GSF_LINE.match(line)
        if not m:
            fail("gsf list: unexpected line %r" % line)
        if m.group(3) == "*root*":
            continue
        seen[m.group(3)] = (m.group(1), int(m.group(2)))
    want = {name: (kind, size) for name, (kind, size, _) in expected.items()}
    if seen != want:
        diff = sorted(set(seen.items()) ^ set(want.items()))[:6]
        fail("gsf list differs: %s" % diff)
    streams = sorted(n for n, (k, _, _) in expected.items() if k == "f")
    sample = [n for i, n in enumerate(streams) if "/Many/" not in n or i % 53 == 0]
    for name in sample:
        if "\x05" in name:
            continue  # gsf cat takes names from the command line
        if gsf_crc(path, name) != expected[name][1:]:
            fail("gsf cat %s reads other bytes" % name)
    print("gsf lists %d elements and reads %d streams exactly" % (len(seen), len(sample)))


def crc_of(data):
    return zlib.crc32(data)


def check_changes(before, after):
    changed = {
        "Data/Intern01": pattern(300, 5),
        "Data/ChGroup2/Cut4095": pattern(4095, 2) + pattern(3000, 6, 4095),
        "Data/ChGroup2/Cut4097": pattern(4097, 22) + pattern(100000, 7, 4097),
        "Data/ChGroup2/HNorms02": pattern(50, 8),
        "Data/Config01": pattern(20000, 9),
        "Data/ChGroup2/Renamed4096": pattern(4096, 12),
    }
    for name, data in changed.items():
        if after.get(name) != ("f", len(data), crc_of(data)):
            fail("after the change %s is %r, expected %d bytes" % (name, after.get(name), len(data)))
    gone = [n for n in before if n.startswith("Data/ChGroup2/Channel3") or n == "Data/ChGroup2/Cut4096"]
    for name in gone:
        if name in after:
            fail("%s is still there" % name)
    for name, entry in before.items():
        if name in changed or name in gone:
            continue
        if after.get(name) != entry:
            fail("%s changed although it was not touched" % name)
    print("the changes hold exactly what was written, nothing else moved")


def gsf_write(path, sector_size):
    """A file written by libgsf, and {path: bytes or None for a storage}."""
    rng = random.Random(sector_size)
    expected = {}
    sink = Gsf.OutputStdio.new(path)
    root = Gsf.OutfileMSOle.new_full(sink, sector_size, 64)

    def stream(parent, prefix, name, size):
        data = rng.randbytes(size)
        child = parent.new_child(name, False)
        for at in range(0, size, 1 << 20):
            child.write(data[at:at + (1 << 20)])
        child.close()
        expected[prefix + name] = data

    def storage(parent, prefix, name):
        expected[prefix + name] = None
        return parent.new_child(name, True)

    data = storage(root, "", "Data")
    for size in (0, 1, 63, 64, 4095, 4096, 4097, 100000):
        stream(data, "Data/", "S%d" % size, size)
    for g in range(1, 3):
        group = storage(data, "Data/", "ChGroup%d" % g)
        stream(group, "Data/ChGroup%d/" % g, "MuxData02", 3 << 20)
        for c in range(1, 4):
            channel = storage(group, "Data/ChGroup%d/" % g, "Channel%d" % c)
            stream(channel, "Data/ChGroup%d/Channel%d/" % (g, c), "Intern01", 50 * c)
            channel.close()
        group.close()
    many = storage(data, "Data/", "Many")
    for i in range(300):
        stream(many, "Data/Many/", "E%d" % i, (i * 37) % 6000)
    many.close()
    stream(data, "Data/", "Big", 9 << 20)
    data.close()
    root.close()
    return expected


def check_engine(tool, krf, path, expected):
    got = manifest(tool, path)
    want = {}
    for name, data in expected.items():
        want[name] = ("d", 0, 0) if data is None else ("f", len(data), crc_of(data))
    if got != want:
        diff = sorted(set(got.items()) ^ set(want.items()))[:6]
        fail("the engine reads the libgsf file differently: %s" % diff)
    tree = run([krf, "tree", path]).decode().splitlines()
    listed = {}
    for line in tree:
        kind, size, name = line.split(" ", 2)
        listed[name] = (kind, int(size))
    if listed != {n: (k, s) for n, (k, s, _) in want.items()}:
        fail("krf tree differs from what libgsf wrote")
    for name in ("Data/S4095", "Data/S4097", "Data/ChGroup2/MuxData02", "Data/Big", "Data/S0"):
        if run([krf, "cat", path, name]) != expected[name]:
            fail("krf cat %s differs" % name)
    print("the engine reads the libgsf file exactly (%d elements)" % len(want))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--krf", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--version", type=int, required=True)
    args = parser.parse_args()
    shutil.rmtree(args.work, ignore_errors=True)
    os.makedirs(args.work)
    ours = os.path.join(args.work, "engine.cfb")

    run([args.tool, "write", ours, str(args.version)])
    before = manifest(args.tool, ours)
    if sum(1 for n in before if n.startswith("Data/Many/")) < 1000:
        fail("too few entries written")
    check_olefile(ours, before, args.version)
    check_metadata(ours)
    check_gsf(ours, before)

    run([args.tool, "modify", ours])
    after = manifest(args.tool, ours)
    check_changes(before, after)
    check_olefile(ours, after, args.version)
    check_metadata(ours)
    check_gsf(ours, after)

    theirs = os.path.join(args.work, "libgsf.cfb")
    expected = gsf_write(theirs, 4096 if args.version == 4 else 512)
    check_engine(args.tool, args.krf, theirs, expected)
    shutil.rmtree(args.work, ignore_errors=True)
    print("PASS")


if __name__ == "__main__":
    main()
