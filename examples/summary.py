#!/usr/bin/env python3
"""Prints a summary of a recording and plots its first group.

    python3 examples/summary.py RECORDING [PLOT.png]

With the bundled sample (written by `krf sample build/sample.krf`, which
scripts/run.sh does) and the module on the path:

    PYTHONPATH=build/python python3 examples/summary.py build/sample.krf sample.png

The plot needs matplotlib (Debian: python3-matplotlib); without it the
summary is printed all the same.
"""

import sys

import movalegacy


def summarize(rec):
    print(f"{rec.title}: {rec.comment!r}")
    print(f"  started {rec.start.isoformat()}, {rec.duration:g} s")
    for group in rec.groups:
        print(f"  group {group.index}: {group.rate:g} Hz, {len(group.normsets)} normset(s)")
        _, raw = group.read(scaled=False)
        for k, channel in enumerate(group.channels):
            column = raw[:, k]
            kind = "event" if channel.is_event else f"[{channel.unit}]"
            print(f"    {channel.name or '(events)'} {kind}: {len(column)} samples, "
                  f"raw {column.min()} .. {column.max()}")
    for label, items in (("markers", rec.markers), ("bookmarks", rec.bookmarks),
                         ("triggers", rec.triggers)):
        print(f"  {label}: " + ", ".join(f"{item.time:g} s" for item in items))


def plot(rec, target):
    try:
        import matplotlib
        matplotlib.use("Agg")
        import matplotlib.pyplot as plt
    except ImportError:
        print("matplotlib is not installed: no plot")
        return
    group = rec.groups[0]
    analog = [c for c in group.channels if not c.is_event]
    time, values = group.read(analog)
    figure, axes = plt.subplots(figsize=(8, 4))
    for k, channel in enumerate(analog):
        axes.plot(time, values[:, k], label=f"{channel.name} [{channel.unit}]")
    axes.set_xlabel("time [s]")
    axes.set_ylabel("value")
    axes.set_title(rec.title)
    axes.legend()
    figure.savefig(target, dpi=100)
    print(f"plot written to {target}")


def main(argv):
    if len(argv) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    with movalegacy.open(argv[1]) as rec:
        summarize(rec)
        if len(argv) == 3:
            plot(rec, argv[2])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
