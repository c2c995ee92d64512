"""Saving channels into a new recording file (SaveRecording)."""

import os as _os
import sys as _sys
import time as _time

from . import _core
from ._checks import channel_list, seconds
from ._dispatch import Dispatch
from ._errors import Error
from ._group import Channel

_SKIP_REDUCED, _SKIP_TIME_ALIGN, _TRIGGERED_SEGMENT, _USE_KSS = 0x1, 0x2, 0x4, 0x1000
_READY, _ERROR = 0x10000, 0x20000
_ABORT_WAIT = 30.0  # seconds an aborted save may take to delete its file


class _TextBar:
    """A one-line percentage on stderr, for progress=True without tqdm."""

    def __init__(self):
        self.n = 0

    def update(self, delta):
        self.n += delta
        print(f"\rsaving {self.n:3d}%", end="", file=_sys.stderr, flush=True)

    def close(self):
        print(file=_sys.stderr)


def _reporter(progress):
    """(report(completion), close()) for the progress argument."""
    if progress is None or progress is False:
        return (lambda completion: None), (lambda: None)
    if progress is True:
        try:
            from tqdm import tqdm
            progress = tqdm(total=100, unit="%", desc="saving")
        except ImportError:
            progress = _TextBar()
    if hasattr(progress, "update"):  # a tqdm-style bar
        bar = progress

        def report(completion):
            if completion > bar.n:
                bar.update(completion - bar.n)
        return report, getattr(bar, "close", lambda: None)
    if callable(progress):
        return progress, (lambda: None)
    raise TypeError("progress must be None, True, a callable or a tqdm-style bar")


def _wait(job, report, aborted):
    """Polls until the save has ended; returns its error code."""
    last = -1
    while True:
        status, completion = job.Status, job.Completion
        if completion != last and not aborted:
            report(completion)
            last = completion
        if status == _READY or (status == _ERROR and (completion == 100 or aborted)):
            return job.ErrorCode
        _time.sleep(0.05)


def save(target, channels, start=None, end=None, *, skip_reduced=False, skip_time_align=False,
         triggered_segment_only=False, use_kss=False, progress=None):
    """Saves ``channels`` (Channels of one or more open recordings) from
    ``start`` to ``end`` seconds (default: the first channel's recording,
    whole) into a new recording file ``target``, replacing a file of that
    name. Blocks until the save has ended and returns ``target``.

    Options: ``skip_reduced`` (no reduced stream), ``skip_time_align``
    (groups are not aligned on their absolute start), ``triggered_segment_only``
    (the triggered segment holding ``start``), ``use_kss`` (create the file
    through the KSS storage provider). ``progress``: a callable called with
    the completion in percent as it moves, a tqdm-style bar (anything with
    ``update(n)``; it counts to 100), or True for a bar of its own (tqdm when
    installed, else a line on stderr).

    Ctrl-C (KeyboardInterrupt) aborts the save: the saver stops and deletes
    the partial file, then the KeyboardInterrupt goes on. A failing save
    raises movalegacy.Error with its error code and leaves no file.
    """
    target = _os.fspath(target)
    if not isinstance(target, str):
        raise TypeError("target must be a string or a path-like object")
    selected = channel_list(channels, Channel)
    recording = selected[0].group.recording
    start = recording.start_time if start is None else seconds(start, "start")
    end = recording.end_time if end is None else seconds(end, "end")
    options = ((_SKIP_REDUCED if skip_reduced else 0) | (_SKIP_TIME_ALIGN if skip_time_align else 0)
               | (_TRIGGERED_SEGMENT if triggered_segment_only else 0) | (_USE_KSS if use_kss else 0))
    report, close = _reporter(progress)
    try:
        job = Dispatch(_core.save_recording(target, [c.com._object for c in selected], start, end,
                                            options))
        try:
            error = _wait(job, report, aborted=False)
        except KeyboardInterrupt:
            job.Abort()
            _wait(job, report, aborted=True)
            job._object.release()  # the save's thread closes and deletes the target now
            deadline = _time.monotonic() + _ABORT_WAIT
            while _os.path.exists(target) and _time.monotonic() < deadline:
                _time.sleep(0.05)
            raise
    finally:
        close()
    if error & 0x80000000:
        raise Error(error, _core.status_name(error), "the save failed", f"save {target}")
    return target
