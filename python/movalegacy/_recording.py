"""Recordings: opening, metadata and collections."""

import datetime as _datetime
import errno as _errno
import os as _os

from . import _core
from ._dispatch import Dispatch, com_property as _com_property
from ._group import Group, first_named as _first_named
from ._items import Bookmark, Marker, PhysicalChannel, Trigger, VoiceMark

_MARKERS, _BOOKMARKS, _VOICEMARKS, _TRIGGERS = 2, 3, 4, 5
_PHYSICAL_CHANNELS = -2147483647


def open(path, mode="r"):  # noqa: A001 - the reader's open, like gzip.open
    """Opens the recording file ``path`` and returns a Recording.

    ``mode="r"`` (the default) opens it read-only: nothing is ever written to
    the file. ``mode="r+"`` opens it as the library's loader does (read-write,
    falling back to read-only when access is denied; an old file is upgraded
    in place). Use the recording as a context manager, or call ``close()``.
    """
    if mode not in ("r", "r+"):
        raise ValueError(f"mode must be 'r' or 'r+', not {mode!r}")
    path = _os.fspath(path)
    if isinstance(path, bytes):
        path = _os.fsdecode(path)
    if not isinstance(path, str):
        raise TypeError("path must be a string or a path-like object")
    if not _os.path.exists(path):
        raise FileNotFoundError(_errno.ENOENT, _os.strerror(_errno.ENOENT), path)
    return Recording(_core.open_recording(path, mode == "r+"), path, mode)


class Recording:
    """An open recording. ``com`` reaches its IRecording by member name."""

    def __init__(self, obj, path, mode):
        self.com = Dispatch(obj)
        self.path = path
        self.mode = mode
        self._groups = None

    # Life cycle --------------------------------------------------------
    def close(self):
        """Releases the recording and every object reached from it; using them
        afterwards raises ValueError. Arrays already read stay valid."""
        self.com._object.session.close()

    @property
    def closed(self):
        return self.com._object.session.closed

    def _check(self):
        if self.closed:
            raise ValueError("the recording is closed")

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        if self.closed:
            return f"<movalegacy.Recording {self.path!r} closed>"
        return (f"<movalegacy.Recording {self.title!r}: {len(self.groups)} group(s), "
                f"{self.duration:g} s from {self.start.isoformat()}>")

    # Metadata ----------------------------------------------------------
    title = _com_property("Title")
    comment = _com_property("Comment")

    @property
    def start(self):
        """The start of the recording, a timezone-aware UTC datetime."""
        com = self.com
        day0 = _datetime.datetime(com.UTCYear, 1, 1, tzinfo=_datetime.timezone.utc)
        return day0 + _datetime.timedelta(days=com.UTCYearDay - 1, seconds=com.UTCTimeOfDay)

    start_time = _com_property("StartTime", "Time of the first sample, seconds since the start.")
    end_time = _com_property("EndTime", "Time of the last sample, seconds since the start.")
    duration = _com_property("Duration")

    @property
    def groups(self):
        """The channel groups, in file order."""
        self._check()
        if self._groups is None:
            self._groups = [Group(g, self) for g in self.com.ChannelGroups]
        return list(self._groups)

    @property
    def channels(self):
        """Every channel of every group."""
        return [c for g in self.groups for c in g.channels]

    def group(self, index):
        """Group ``index`` (1-based, as the library counts); IndexError when
        there is none."""
        if isinstance(index, bool) or not isinstance(index, int):
            raise TypeError("a group index is an int")
        groups = self.groups
        if not 1 <= index <= len(groups):
            raise IndexError(f"group {index} out of range 1..{len(groups)}")
        return groups[index - 1]

    def channel(self, name):
        """The first channel called ``name`` (KeyError when there is none)."""
        return _first_named(self.channels, name)

    def _channel_of(self, info):
        """The Channel for a late-bound IChannelInfo (or None)."""
        if info is None:
            return None
        group = self.groups[info.ChannelGroup.Index - 1]
        return group.channels[info.Index - 1]

    # Collections -------------------------------------------------------
    def _collection(self, kind):
        self._check()
        collection = self.com.Collection(kind)
        return [] if collection is None else list(collection)

    @property
    def markers(self):
        return [Marker(m.Time) for m in self._collection(_MARKERS)]

    @property
    def bookmarks(self):
        return [Bookmark(b.Time, b.Name) for b in self._collection(_BOOKMARKS)]

    @property
    def triggers(self):
        return [Trigger(t.Time, t.Source, t.Name, self._channel_of(t.ChannelInfo))
                for t in self._collection(_TRIGGERS)]

    @property
    def voice_marks(self):
        return [VoiceMark(v.Time, v.Length, v.Channels, v.SamplesPerSec, v.BitsPerSample)
                for v in self._collection(_VOICEMARKS)]

    @property
    def physical_channels(self):
        return [PhysicalChannel(p.Board, p.Channel, p.Name, p.StorageEnabled,
                                self._channel_of(p.ChannelInfo))
                for p in self._collection(_PHYSICAL_CHANNELS)]
