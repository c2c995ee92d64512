"""Small value types of the Pythonic layer: normsets and collection items."""

from typing import NamedTuple, Optional, Any


class Normset(NamedTuple):
    """A horizontal normset (segment) of a group: samples at
    ``start + k * step`` seconds, ``k = 0 .. length - 1``."""

    start: float
    step: float
    length: int

    @property
    def end(self):
        return self.start + (self.length - 1) * self.step


class Scaling(NamedTuple):
    """A vertical normset of a channel: value = raw * ``factor`` + ``offset``
    from ``start`` on (until ``end``)."""

    start: float
    offset: float
    factor: float
    end: float


class Marker(NamedTuple):
    time: float


class Bookmark(NamedTuple):
    time: float
    name: str


class Trigger(NamedTuple):
    time: float
    source: int  # kalTriggerSource: 0 unknown, 1 external, 2 manual, 3 channel
    name: str
    channel: Optional[Any]  # the triggering Channel, if any


class VoiceMark(NamedTuple):
    time: float
    length: int  # sample frames
    channels: int
    samples_per_sec: int
    bits_per_sample: int


class PhysicalChannel(NamedTuple):
    board: int
    channel: int
    name: str
    stored: bool
    info: Optional[Any]  # the Channel it was stored as, if stored


class Frames(NamedTuple):
    """Samples on a time axis: ``time`` (seconds since the recording's start,
    float64) and ``values`` (one row per time, one column per channel)."""

    time: Any
    values: Any
