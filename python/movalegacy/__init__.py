"""movalegacy: legacy data-acquisition recordings (.krf) as numpy arrays.

    import movalegacy
    with movalegacy.open("run.krf") as rec:
        group = rec.groups[0]
        t, x = group.read(start=0.0, end=1.0)      # scaled, one column per channel
        print(rec.title, rec.start, group.channels, x.mean(axis=0))

Every object of the library stays reachable by name through late binding:
``movalegacy.dispatch(rec).ChannelGroups.Item(1).HNorms.Count`` (or
``rec.com...``). Failures of the library raise movalegacy.Error.
"""

from ._errors import ArgumentError, Error
from ._dispatch import Dispatch, Ref, dispatch
from ._group import Channel, Group
from ._items import (Bookmark, Frames, Marker, Normset, PhysicalChannel, Scaling, Trigger,
                     VoiceMark)
from ._recording import Recording, open
from ._resample import resample
from ._save import save

__all__ = [
    "ArgumentError", "Bookmark", "Channel", "Dispatch", "Error", "Frames", "Group", "Marker",
    "Normset", "PhysicalChannel", "Recording", "Ref", "Scaling", "Trigger", "VoiceMark",
    "dispatch", "open", "resample", "save",
]
