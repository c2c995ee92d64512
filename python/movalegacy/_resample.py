"""Channels of any groups resampled onto one time grid (the ChannelResampler)."""

import numpy as _np

from . import _core
from ._checks import channel_list, seconds
from ._dispatch import Dispatch, Ref
from ._group import Channel
from ._items import Frames


def resample(channels, start, end, step, invalid=None):
    """Resamples ``channels`` (Channels of one recording, from any groups)
    from ``start`` to ``end`` seconds at every ``step`` seconds, through the
    library's ChannelResampler.

    Returns Frames(time, values): ``values`` is a float32 array with one row
    per time and one column per channel, in the order given; analog channels
    are interpolated between their samples, event channels give the value of
    their 16-bit mask at the next sample. Samples that cannot be given hold
    ``invalid`` (default: the library's void number, which reads as NaN).
    """
    selected = channel_list(channels, Channel)
    start, end, step = seconds(start, "start"), seconds(end, "end"), seconds(step, "step")
    if end < start:
        raise ValueError(f"end ({end}) lies before start ({start})")
    if not step > 0:
        raise ValueError("step must be above 0")
    resampler = Dispatch(_core.create("ChannelResampler"))
    resampler.StartTime = start
    resampler.EndTime = end
    resampler.XStep = step
    if invalid is not None:
        resampler.InvalidSampleValue = seconds(invalid, "invalid")
    resampler.Start([c.com for c in selected])
    total = int((end - start) / step + 0.5) + 1
    values = _np.empty((total, len(selected)), _np.float32)
    done = 0
    while done < total:
        count, buffers = resampler.GetNextDataBuffers(Ref(), Ref())
        if not count:
            break
        for column, (channel, buffer) in enumerate(zip(selected, buffers)):
            values[done:done + count, column] = buffer.view(_np.uint16) if channel.is_event else buffer
        done += count
    return Frames(_core.time_axis(start, step, 0, done), values[:done])
