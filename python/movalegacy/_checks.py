"""Argument checks shared by the Pythonic layer: they raise TypeError or
ValueError before anything reaches the library."""

import math as _math
import numbers as _numbers


def seconds(value, what):
    """A time in seconds as a float (TypeError for non-numbers, ValueError for
    NaN)."""
    if isinstance(value, bool) or not isinstance(value, _numbers.Real):
        raise TypeError(f"{what} must be a number of seconds, not {type(value).__name__}")
    value = float(value)
    if _math.isnan(value):
        raise ValueError(f"{what} is NaN")
    return value


def channel_list(channels, channel_type):
    """A non-empty list of Channels (a single Channel is a list of one)."""
    if isinstance(channels, channel_type):
        return [channels]
    if isinstance(channels, (str, bytes)) or not hasattr(channels, "__iter__"):
        raise TypeError("channels must be a Channel or a list of Channels")
    selected = list(channels)
    for item in selected:
        if not isinstance(item, channel_type):
            raise TypeError(f"not a channel: {item!r}")
    if not selected:
        raise ValueError("no channels given")
    return selected
