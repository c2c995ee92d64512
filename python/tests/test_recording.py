"""Opening, metadata, collections, errors and object lifetime."""

import datetime
import gc
import os

import numpy as np
import pytest

import movalegacy
from movalegacy import _core
from conftest import write


def test_sample_metadata_and_collections(sample):
    assert sample.title == "sample"
    assert sample.comment == "Bench test run 7, pump start-up"
    assert sample.start == datetime.datetime(2004, 5, 11, 10, 0, 0, 500000,
                                             tzinfo=datetime.timezone.utc)
    assert sample.duration == pytest.approx(2.699)
    g1, g2 = sample.groups
    assert [c.name for c in g1.channels] == ["Pressure", "Flow", ""]
    assert [c.unit for c in g1.channels[:2]] == ["bar", "l/min"]
    assert [c.is_event for c in g1.channels] == [False, False, True]
    assert g1.channels[2].bit_names[:4] == ["Pump on", "Valve open", "", "Alarm"]
    assert g1.normsets == [(0.0, 0.001, 1500), (2.0, 0.001, 700)]
    assert g1.rate == pytest.approx(1000) and g2.rate == pytest.approx(10)
    assert g1.channels[0].scalings[1] == pytest.approx((1.0, 0.5, 0.001, 7.699))
    assert sample.markers == [(0.25,), (2.2,)]
    assert sample.bookmarks == [(0.1, "Start"), (2.05, "Pump stable")]
    flow = g1.channels[1]
    assert [(t.time, t.source, t.name, t.channel) for t in sample.triggers] == [
        (0.0, 1, "External", None), (1.2, 3, "Flow > 5", flow), (1.3, 3, "Nothing", None)]
    assert sample.voice_marks == [(0.75, 400, 1, 8000, 8)]
    physical = sample.physical_channels
    assert [(p.board, p.channel, p.name, p.stored) for p in physical] == [
        (1, 1, "Pressure", True), (1, 2, "Flow", True), (2, 1, "Unused", False),
        (3, 7, "Temperature", True)]
    assert physical[3].info is g2.channels[0] and physical[2].info is None
    assert "Pressure" in repr(g1.channels[0]) and "2 group(s)" in repr(sample)


def test_read_only_open_never_writes(tmp_path, built):
    path, _ = built
    before = path.read_bytes()
    stamp = os.stat(path).st_mtime_ns
    with movalegacy.open(path) as rec:
        rec.groups[0].read(scaled=False)
        rec.com.Title = "changed in memory only"
        rec.com.Collection(2).Add(0.5)
        assert len(rec.markers) == 3
    assert path.read_bytes() == before and os.stat(path).st_mtime_ns == stamp


def test_read_write_open_uses_the_loader(built):
    path, _ = built
    with movalegacy.open(path, "r+") as rec:
        assert rec.mode == "r+" and rec.comment == "two normsets"
        assert rec.groups[0].read(scaled=False).values.shape == (30, 3)


def test_bad_input_raises_clear_exceptions(tmp_path, sample):
    with pytest.raises(FileNotFoundError):
        movalegacy.open(tmp_path / "missing.krf")
    with pytest.raises(ValueError):
        movalegacy.open(tmp_path / "x.krf", mode="w")
    with pytest.raises(TypeError):
        movalegacy.open(42)
    text = tmp_path / "text.krf"
    text.write_text("not a compound file")
    with pytest.raises(movalegacy.Error) as info:
        movalegacy.open(text)
    assert info.value.status & 0x80000000 and info.value.name.startswith("STG_E_")
    assert str(text) in str(info.value)
    with pytest.raises(IndexError):
        sample.group(3)
    with pytest.raises(TypeError):
        sample.group("1")
    g1, g2 = sample.groups
    with pytest.raises(TypeError):
        g1.read([g1.channels[0], 3])
    with pytest.raises(ValueError):
        g1.read([g2.channels[0]])
    with pytest.raises(KeyError):
        g1.read(["no such channel"])
    with pytest.raises(ValueError):
        g1.read(start=2.0, end=1.0)
    with pytest.raises(TypeError):
        g1.read(start="0")


def test_closed_recording_refuses_use_but_arrays_survive(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        group = rec.groups[0]
        channel = group.channels[0]
        com = rec.com.ChannelGroups
        frames = group.read(scaled=False)
    assert rec.closed and "closed" in repr(rec)
    for use in (lambda: rec.title, lambda: rec.groups, lambda: group.read(),
                lambda: channel.value_at(0.0), lambda: com.Count, lambda: rec.markers):
        with pytest.raises(ValueError, match="closed"):
            use()
    assert frames.values[3].tolist() == [3, -3, 0x8001 - 0x10000]


def test_objects_die_when_python_drops_them(built):
    path, _ = built
    gc.collect()
    baseline = _core.live_objects()
    rec = movalegacy.open(path)
    group = rec.groups[0]
    frames = group.read(scaled=False)
    items = list(rec.com.ChannelGroups.Item(1).HNorms) + rec.markers
    assert _core.live_objects() > baseline
    del rec, group, items
    gc.collect()
    assert _core.live_objects() == baseline
    assert frames.values[:, 0].tolist()[:3] == [0, 1, 2]  # the array owns its memory


def test_close_releases_objects_still_referenced(built):
    path, _ = built
    gc.collect()
    baseline = _core.live_objects()
    rec = movalegacy.open(path)
    kept = [rec.groups[0].channels, rec.com.ChannelGroups.Item(2)]
    rec.close()
    assert _core.live_objects() == baseline
    del kept


def test_group_without_channels_of_interest_reads_empty_span(tmp_path, built):
    path, spec = built
    with movalegacy.open(path) as rec:
        g = rec.groups[0]
        gap = g.read(start=0.5, end=0.9, scaled=False)
        assert gap.values.shape == (0, 3) and gap.time.shape == (0,)
        assert gap.values.dtype == np.int16
