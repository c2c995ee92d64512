"""Channels of several groups on one time grid, through the ChannelResampler."""

import numpy as np
import pytest

import movalegacy


def test_groups_at_different_rates_meet_on_one_grid(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        (a, _, e), (slow,) = rec.groups[0].channels, rec.groups[1].channels
        t, x = movalegacy.resample([a, slow, e], 0.0, 0.1, 0.05)
    assert x.dtype == np.float32 and x.shape == (3, 3)
    assert np.allclose(t, [0.0, 0.05, 0.1])
    assert np.allclose(x[:, 0], [1.0, 3.5, 6.0])     # A: raw k * 0.5 + 1
    assert np.allclose(x[:, 1], [7.0, 7.05, 7.1])    # slow: between 7 at 0 s and 8 at 1 s
    assert x[:, 2].tolist() == [2.0, 32769.0, 2.0]   # E: the 16-bit masks


def test_long_runs_are_joined_from_many_buffers(built):
    path, spec = built
    with movalegacy.open(path) as rec:
        a = rec.groups[0].channels[0]
        t, x = movalegacy.resample(a, 0.0, 0.19, 1e-5)
        samples_t, samples = rec.groups[0].read([a], end=0.19)
    assert x.shape == (19001, 1) and len(t) == 19001
    assert np.allclose(x[:, 0], np.interp(t, samples_t, samples[:, 0]), atol=1e-4)


def test_arguments_are_checked_before_the_library(built):
    path, _ = built
    with movalegacy.open(path) as rec:
        a = rec.groups[0].channels[0]
        with pytest.raises(ValueError):
            movalegacy.resample([a], 0.0, 1.0, 0.0)
        with pytest.raises(ValueError):
            movalegacy.resample([a], 1.0, 0.0, 0.1)
        with pytest.raises(TypeError):
            movalegacy.resample([a, "B"], 0.0, 1.0, 0.1)
        with pytest.raises(ValueError):
            movalegacy.resample([], 0.0, 1.0, 0.1)
