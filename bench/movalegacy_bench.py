#!/usr/bin/env python3
"""movalegacy read(scaled=True) against GetScaledMuxData called from C++.

    PYTHONPATH=build/python /usr/bin/python3 bench/movalegacy_bench.py [--gib 1] [--repeat 3]

Writes a recording of one group (8 channels, one normset; --gib GiB of
samples) in a temporary folder, then, on that file, times the whole group
read by GetScaledMuxData from C++ (the build's _movalegacy_testing module)
and by Group.read(scaled=True), best of --repeat, and reports both speeds,
their ratio and the memory the Python read holds (resident-set growth
against the size of the result). The result of a scaled read is 4 times
the samples' size (float64 for int16): 4 GiB at the default size.
Run on purpose; nothing here is a test.
"""

import argparse
import gc
import os
import pathlib
import tempfile
import time

import _movalegacy_testing as builder
import movalegacy

CHANNELS = 8


def resident_bytes():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--gib", type=float, default=1.0, help="GiB of samples in the group")
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()
    frames = int(args.gib * (1 << 30)) // (2 * CHANNELS)
    sample_bytes = frames * CHANNELS * 2
    with tempfile.TemporaryDirectory(prefix="movalegacy_bench_") as folder:
        path = str(pathlib.Path(folder) / "large.krf")
        started = time.perf_counter()
        builder.write_large(path, CHANNELS, frames)
        print(f"recording: {frames} frames x {CHANNELS} channels = {sample_bytes / 2**30:.2f} GiB "
              f"of samples, written in {time.perf_counter() - started:.1f} s")

        cpp = min(builder.time_scaled_read(path, args.repeat))
        python, growth = [], 0
        with movalegacy.open(path) as rec:
            group = rec.groups[0]
            for _ in range(args.repeat):
                gc.collect()
                before = resident_bytes()
                started = time.perf_counter()
                frames_read = group.read(scaled=True)
                python.append(time.perf_counter() - started)
                growth = max(growth, resident_bytes() - before)
                result_bytes = frames_read.values.nbytes
                time_bytes = frames_read.time.nbytes
                assert frames_read.values.shape == (frames, CHANNELS)
                del frames_read
        best = min(python)
        print(f"C++ GetScaledMuxData : {cpp:7.3f} s  {sample_bytes / cpp / 2**20:8.1f} MiB/s of samples")
        print(f"Python read(scaled)  : {best:7.3f} s  {sample_bytes / best / 2**20:8.1f} MiB/s of samples")
        print(f"speed ratio Python / C++: {cpp / best:.3f}")
        print(f"memory: result {result_bytes / 2**20:.0f} MiB + time axis {time_bytes / 2**20:.0f} MiB,"
              f" resident growth during the read {growth / 2**20:.0f} MiB"
              f" ({growth / (result_bytes + time_bytes):.2f} x result)")


if __name__ == "__main__":
    main()
