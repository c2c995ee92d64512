"""Fixtures: recordings written by the project's builder (_movalegacy_testing)."""

import numpy as np
import pytest

import _movalegacy_testing as builder
import movalegacy


@pytest.fixture(scope="session")
def sample_path(tmp_path_factory):
    """The bundled sample: group 1 at 1 kHz (Pressure, Flow, an event
    channel; normsets of 1500 and 700 samples from 0 s and 2 s), group 2 at
    10 Hz (Temperature); markers, bookmarks, triggers, a voice mark, physical
    channels and display pages."""
    path = tmp_path_factory.mktemp("sample") / "sample.krf"
    builder.write_sample(str(path))
    return path


@pytest.fixture
def sample(sample_path):
    with movalegacy.open(sample_path) as rec:
        yield rec


def two_normsets():
    """Group 1: channels A (y = raw * 0.5 + 1 until 0.15 s, then raw * 2 - 3)
    and B (raw * 0.25) and an event channel E; normsets of 20 samples at
    10 ms from 0 s and of 10 samples from 1 s. Group 2: one channel, 3
    samples at 1 s. Frames hold (100 * segment + k, -k, mask)."""
    segments = []
    for seg, length in enumerate((20, 10)):
        k = np.arange(length)
        masks = np.where(k % 2 == 1, 0x8001, 0x0002).astype(np.uint16).view(np.int16)
        frames = np.stack([100 * seg + k, -k, masks], axis=1).astype(np.int16)
        segments.append(frames)
    return {
        "groups": [
            {"channels": [{"name": "A", "unit": "V",
                           "scalings": [(0.0, 1.0, 0.5), (0.15, -3.0, 2.0)]},
                          {"name": "B", "unit": "A", "scalings": [(0.0, 0.0, 0.25)]},
                          {"name": "E", "event": True, "bits": ["run", "stop"]}],
             "normsets": [(0.0, 0.01), (1.0, 0.01)],
             "segments": segments},
            {"channels": [{"name": "slow"}],
             "normsets": [(0.0, 1.0)],
             "segments": [np.array([[7], [8], [9]], np.int16)]},
        ],
        "comment": "two normsets",
        "markers": [0.05, 1.02],
    }


@pytest.fixture
def built(tmp_path):
    """two_normsets() written to a file: (path, spec)."""
    spec = two_normsets()
    path = tmp_path / "built.krf"
    builder.write_recording(str(path), spec)
    return path, spec


def write(path, spec):
    builder.write_recording(str(path), spec)
    return path
