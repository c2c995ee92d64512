"""Raw and scaled frames across normsets, zero copy, display data and values."""

import math
import tracemalloc

import numpy as np
import pytest

import movalegacy
from movalegacy import _core
from conftest import write


def test_span_bounds_are_inclusive_and_pick_channels_in_order(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        g = rec.groups[0]
        a, b, _ = g.channels
        t, x = g.read([b, "A"], start=0.05, end=1.02, scaled=False)
    assert np.allclose(t, [0.05 + 0.01 * k for k in range(15)] + [1.0, 1.01, 1.02])
    assert x[:, 1].tolist() == list(range(5, 20)) + [100, 101, 102]
    assert x[:, 0].tolist() == [-k for k in range(5, 20)] + [0, -1, -2]


def test_event_channels_alone_read_as_uint16_masks(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        g = rec.groups[0]
        for scaled in (False, True):
            t, masks = g.read([g.channels[2]], end=0.03, scaled=scaled)
            assert masks.dtype == np.uint16
            assert masks[:, 0].tolist() == [0x0002, 0x8001, 0x0002, 0x8001]


def test_single_normset_read_is_the_library_buffer(tmp_path):
    frames = 1 << 20
    data = (np.arange(frames * 2) % 30000).astype(np.int16).reshape(frames, 2)
    spec = {"groups": [{"channels": [{"name": "x"}, {"name": "y"}],
                        "normsets": [(0.0, 0.001)], "segments": [data]}]}
    path = write(tmp_path / "big.krf", spec)
    with movalegacy.open(path) as rec:
        group = rec.groups[0]
        tracemalloc.start()
        try:
            _, values = group.read(scaled=False)
            _, peak = tracemalloc.get_traced_memory()
        finally:
            tracemalloc.stop()
    assert isinstance(values.base, _core.SafeArray)
    assert values.base.address == values.ctypes.data
    assert values.base.nbytes == values.nbytes == frames * 4
    # numpy reports every buffer it allocates to tracemalloc: reading 2 Mi
    # samples allocates none (the samples stay in the library's array, the
    # time axis in memory of the module's own).
    assert peak < 64 * 1024
    assert np.array_equal(values, data)
    values[0, 0] = 7  # writable, and its own memory after close
    assert memoryview(values.base).shape == (frames, 2)


def test_scaled_read_gives_values_and_event_masks(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        g = rec.groups[0]
        t, x = g.read(end=0.2)
    k = np.arange(20)
    assert np.allclose(t, k * 0.01)
    assert x.dtype == np.float64 and np.allclose(x[:, 1], -k * 0.25)
    assert x[:4, 2].tolist() == [2.0, 32769.0, 2.0, 32769.0]


def test_display_and_value_at(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        g = rec.groups[0]
        b = g.channels[1]
        t, maxmin = g.display(b, 0.0, 0.19, points=4)
        assert maxmin.dtype == np.float32 and maxmin.shape == (4, 2)
        assert np.allclose(t, [0.0, 0.19 / 3, 0.38 / 3, 0.19])
        late_bound = g.com.GetDisplayData(b.com, 0.0, 0.19, 4, movalegacy.Ref())
        assert np.array_equal(maxmin, late_bound)
        _, gap = g.display(b, 0.5, 1.05, points=3)
        assert np.isnan(gap[0]).all()  # no data in the gap: the void pair
        assert b.value_at(0.015) == pytest.approx(-1.5 * 0.25)
        assert math.isnan(g.value_at("B", 50.0))
        with pytest.raises(ValueError):
            g.display(b, points=1)


def test_to_dataframe_has_time_index_and_channel_columns(built):
    pandas = pytest.importorskip("pandas")
    path, _ = built
    with movalegacy.open(path) as rec:
        frame = rec.groups[0].to_dataframe(["A", "B"], end=0.02, scaled=False)
    assert isinstance(frame, pandas.DataFrame)
    assert list(frame.columns) == ["A", "B"] and frame.index.name == "time"
    assert frame["B"].tolist() == [0, -1, -2]
