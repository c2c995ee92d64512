"""Saving channels into a new file, progress, Ctrl-C and failures."""

import numpy as np
import pytest

import _movalegacy_testing as builder
import movalegacy


def test_saved_file_reads_back_the_selection(built, tmp_path):
    path, spec = built
    target = tmp_path / "saved.krf"
    seen = []
    with movalegacy.open(path) as rec:
        a, b, e = rec.groups[0].channels
        assert movalegacy.save(target, [b, e], progress=seen.append) == str(target)
        source = rec.groups[0].read([b, e], scaled=False).values
    assert seen and seen == sorted(seen) and seen[-1] == 100
    with movalegacy.open(target) as saved:
        (group,) = saved.groups
        assert [c.name for c in group.channels[:1]] == ["B"]
        assert group.channels[1].is_event
        assert np.array_equal(group.read(scaled=False).values, source)


def test_ctrl_c_aborts_and_leaves_no_file(tmp_path):
    source = tmp_path / "large.krf"
    builder.write_large(str(source), 8, 1 << 23)  # 128 MiB of samples
    target = tmp_path / "aborted.krf"

    def interrupt(completion):
        raise KeyboardInterrupt

    with movalegacy.open(source) as rec:
        with pytest.raises(KeyboardInterrupt):
            movalegacy.save(target, rec.channels, progress=interrupt)
    assert not target.exists()


def test_failures_raise_and_arguments_are_checked(built, tmp_path):
    path, _ = built
    with movalegacy.open(path) as rec:
        channels = rec.groups[0].channels
        with pytest.raises(movalegacy.Error) as info:
            movalegacy.save(tmp_path / "no" / "such" / "folder.krf", channels)
        assert info.value.status & 0x80000000
        with pytest.raises(TypeError):
            movalegacy.save(tmp_path / "x.krf", [channels[0], 1])
        with pytest.raises(TypeError):
            movalegacy.save(tmp_path / "x.krf", channels, progress=42)
        with pytest.raises(TypeError):
            movalegacy.save(tmp_path / "x.krf", channels, start="0")
    assert not (tmp_path / "x.krf").exists()
