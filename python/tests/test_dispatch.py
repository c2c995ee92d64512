"""Late binding: every member of the model by name through IDispatch."""

import numpy as np
import pytest

import movalegacy
from movalegacy import Ref


def test_properties_methods_and_enumeration_by_name(sample):
    com = movalegacy.dispatch(sample)
    assert com is sample.com
    assert com.ChannelGroups.Item(1).HNorms.Count == 2
    assert [g.Index for g in com.ChannelGroups] == [1, 2]
    assert len(com.ChannelGroups.Item(1).ChannelInfos) == 3
    assert [h.Length for h in com.ChannelGroups.Item(1).HNorms] == [1500, 700]
    assert com.ChannelGroups.Item(3) is None  # out of range: S_OK and nothing
    assert com.ChannelGroups.Item(2) == sample.groups[1].com
    assert repr(com.ChannelGroups) == "<movalegacy.dispatch IChannelGroups>"


def test_optional_arguments_and_property_put(sample):
    events = sample.groups[0].channels[2].com
    assert events.Name == ""  # BitNumber defaults to 0: the channel's name
    assert events.invoke("Name", 1) == "Pump on"
    sample.com.UTCTimeOfDay = 60.25  # accepted (and ignored) by the model
    with pytest.raises(movalegacy.Error) as info:
        sample.com.Duration = 1.0  # no put member
    assert info.value.name == "DISP_E_MEMBERNOTFOUND"
    with pytest.raises(movalegacy.ArgumentError):
        sample.com.UTCYear = "MMIV"
    assert sample.com.UTCDate.year == 2004  # an automation DATE


def test_out_and_in_out_arguments(sample):
    group = sample.groups[0].com
    hnorm = group.HNorms.GetFirstEndingAfter(1.6, Ref())
    assert hnorm.Index == 2 and hnorm.StartTime == 2.0
    factor = Ref(55)
    assert group.GetBestReductionFactor(1, factor) == 50 and factor.value == 50
    channels = [c.com for c in sample.groups[0].channels[:2]]
    frames = group.GetMuxData(channels, 2, 1, 5, 1, Ref())
    assert frames.dtype == np.int16 and frames.shape == (5, 2)
    t, x = sample.groups[0].read(channels=sample.groups[0].channels[:2], start=2.0,
                                 end=2.004, scaled=False)
    assert np.array_equal(frames, x)


def test_errors_by_name(sample):
    com = sample.com
    with pytest.raises(AttributeError):
        com.NoSuchMember
    with pytest.raises(movalegacy.ArgumentError) as info:
        com.ChannelGroups.Item("first")
    assert isinstance(info.value, TypeError) and info.value.name == "DISP_E_TYPEMISMATCH"
    with pytest.raises(movalegacy.Error) as info:
        com.Collection(2).Item(0)  # markers refuse an index out of range
    assert info.value.status == 0x80070057 and info.value.name == "E_INVALIDARG"
    with pytest.raises(TypeError):
        com.ChannelGroups.Item(object())
    group = sample.groups[0]
    with pytest.raises(movalegacy.Error) as info:  # a numbered message of the library
        group.com.GetScaledMuxData(group.channels, 9, 1, 10, 1, Ref())
    assert (info.value.status, info.value.name) == (0x800427DA, "MESSAGE_10202")
    assert info.value.message == "No horizontal normsets"


def test_streams_come_back_as_bytes(sample):
    pages = sample.com.Collection(-2147483646)
    assert pages.Count == 2
    assert pages.Item(1).PageSetup == bytes([1, 2, 3, 4])
    assert pages.Item(2).TraceAssignment is None
