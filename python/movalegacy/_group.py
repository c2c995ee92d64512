"""Channel groups and channels: metadata and data as numpy arrays."""

import math as _math
import numbers as _numbers

import numpy as _np

from . import _core
from ._checks import seconds as _seconds
from ._dispatch import com_property as _com_property
from ._items import Frames, Normset, Scaling

# Times closer than this to a sample's time count as that sample's time.
_TIME_TOLERANCE = 1e-9


def first_named(channels, name):
    """The first of ``channels`` called ``name``; KeyError when none is."""
    for channel in channels:
        if channel.name == name:
            return channel
    raise KeyError(name)


class Channel:
    """A channel of a group. ``com`` reaches its IChannelInfo by member name."""

    def __init__(self, obj, group):
        self.com = obj
        self.group = group
        self.index = obj.Index
        self.name = obj.Name
        self.unit = obj.YUnits
        self.is_event = obj.EventChannel

    @property
    def bit_names(self):
        """Names of bits 1 to 16 (event channels)."""
        return [self.com.invoke("Name", bit) for bit in range(1, 17)]

    @property
    def scalings(self):
        return [Scaling(v.StartTime, v.Y0, v.YStep, v.EndTime) for v in self.com.VNorms]

    def value_at(self, time):
        """The scaled value at ``time`` (seconds), interpolated between the
        neighbouring samples; NaN where there is none (and for event
        channels)."""
        return self.group.value_at(self, time)

    def read(self, start=None, end=None, scaled=True):
        """This channel's samples: Frames with a one-column ``values``."""
        return self.group.read([self], start, end, scaled)

    def __repr__(self):
        kind = "event" if self.is_event else f"[{self.unit}]"
        return f"<movalegacy.Channel {self.group.index}.{self.index} {self.name!r} {kind}>"


class Group:
    """A channel group: channels sampled together at one rate."""

    def __init__(self, obj, recording):
        self.com = obj
        self.recording = recording
        self.index = obj.Index
        self._channels = None
        self._normsets = None

    @property
    def channels(self):
        if self._channels is None:
            self._channels = [Channel(c, self) for c in self.com.ChannelInfos]
        return list(self._channels)

    @property
    def normsets(self):
        """The horizontal normsets (segments), in time order."""
        if self._normsets is None:
            self._normsets = [Normset(h.StartTime, h.XStep, h.Length) for h in self.com.HNorms]
        return list(self._normsets)

    @property
    def rate(self):
        """Samples per second (of the first normset); None without data."""
        normsets = self.normsets
        return 1.0 / normsets[0].step if normsets and normsets[0].step > 0 else None

    start_time = _com_property("StartTime", "Time of the group's first sample, seconds.")
    end_time = _com_property("EndTime", "Time of the group's last sample, seconds.")
    duration = _com_property("Duration")

    def channel(self, name):
        """The first channel called ``name`` (KeyError when there is none)."""
        return first_named(self.channels, name)

    def __repr__(self):
        rate = self.rate
        return (f"<movalegacy.Group {self.index}: {len(self.channels)} channel(s), "
                f"{'no data' if rate is None else f'{rate:g} Hz'}, "
                f"{len(self.normsets)} normset(s)>")

    # Data --------------------------------------------------------------
    def _selection(self, channels):
        if channels is None:
            return self.channels
        if isinstance(channels, (Channel, str)):
            channels = [channels]
        selected = []
        for item in channels:
            if isinstance(item, str):
                item = self.channel(item)
            if not isinstance(item, Channel):
                raise TypeError(f"not a channel: {item!r}")
            if item.group is not self and item.group.com != self.com:
                raise ValueError(f"{item!r} belongs to another group")
            selected.append(item)
        if not selected:
            raise ValueError("no channels selected")
        return selected

    def _span(self, start, end):
        start = self.start_time if start is None else _seconds(start, "start")
        end = self.end_time if end is None else _seconds(end, "end")
        if start > end:
            raise ValueError(f"start ({start}) lies after end ({end})")
        return start, end

    def read(self, channels=None, start=None, end=None, scaled=True):
        """Reads the samples of ``channels`` (Channels of this group or their
        names; default all) from ``start`` to ``end`` seconds (inclusive;
        default the whole group), across normsets.

        Returns Frames(time, values): ``values`` has one row per sample time
        and one column per channel; float64 in technical units when
        ``scaled``, else int16 as stored (-32768 marks an absent sample).
        Event channels give their 16-bit masks: as uint16 when every selected
        channel is an event channel, else as the mask's value in their column.
        Within one normset the array is the library's own buffer (no copy);
        reading across normsets joins the pieces.
        """
        selected = self._selection(channels)
        start, end = self._span(start, end)
        events = [c.is_event for c in selected]
        masks_only = all(events)
        scaled = bool(scaled) and not masks_only
        objects = [c.com._object for c in selected]
        times, parts = [], []
        for number, normset in enumerate(self.normsets, start=1):
            if normset.length < 1 or normset.step <= 0:
                continue
            first = max(0, _math.ceil((start - normset.start) / normset.step - _TIME_TOLERANCE))
            last = min(normset.length - 1,
                       _math.floor((end - normset.start) / normset.step + _TIME_TOLERANCE))
            if first > last:
                continue
            part = _core.read_frames(self.com._object, objects, number, first + 1,
                                     last - first + 1, scaled, events)
            parts.append(part)
            times.append(_core.time_axis(normset.start, normset.step, first, len(part)))
        dtype = _np.float64 if scaled else _np.int16
        if not parts:
            values = _np.empty((0, len(selected)), dtype)
            time = _np.empty(0)
        elif len(parts) == 1:
            values, time = parts[0], times[0]
        else:
            values, time = _np.concatenate(parts), _np.concatenate(times)
        if masks_only:
            values = values.view(_np.uint16)
        return Frames(time, values)

    def display(self, channel, start=None, end=None, points=1000):
        """Display data of one channel: for each of ``points`` points evenly
        spread from ``start`` to ``end``, the (maximum, minimum) of the scaled
        values that fall into it. Returns Frames(time, values) with values of
        shape (points, 2), float32; points that received nothing hold NaN (the
        void number). The result is shorter when the data end early."""
        (channel,) = self._selection([channel])
        start, end = self._span(start, end)
        if isinstance(points, bool) or not isinstance(points, _numbers.Integral):
            raise TypeError("points must be an int")
        if points < 2:
            raise ValueError("points must be at least 2")
        values = _core.display_data(self.com._object, channel.com._object, start, end, int(points))
        width = (end - start) / (points - 1)
        values = values.reshape(-1, 2)
        return Frames(start + width * _np.arange(len(values)), values)

    def value_at(self, channel, time):
        """The scaled value of ``channel`` at ``time`` seconds (see
        Channel.value_at)."""
        (channel,) = self._selection([channel])
        return _core.value_at(channel.com._object, _seconds(time, "time"))

    def to_dataframe(self, channels=None, start=None, end=None, scaled=True):
        """read() as a pandas DataFrame indexed by time, one column per
        channel (needs pandas)."""
        try:
            import pandas
        except ImportError as error:
            raise ImportError("to_dataframe() needs pandas (Debian: python3-pandas)") from error
        selected = self._selection(channels)
        frames = self.read(selected, start, end, scaled)
        names = [c.name for c in selected]
        if len(set(names)) != len(names):
            names = [f"{c.name} ({c.index})" for c in selected]
        return pandas.DataFrame(frames.values, index=pandas.Index(frames.time, name="time"),
                                columns=names)
