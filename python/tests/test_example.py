"""The example script runs on the sample and writes its plot."""

import os
import pathlib
import subprocess
import sys

import pytest

SCRIPT = pathlib.Path(os.environ.get("MLR_SOURCE_DIR", pathlib.Path(__file__).parents[2])) \
    / "examples" / "summary.py"


def test_summary_and_plot(sample_path, tmp_path):
    png = tmp_path / "plot.png"
    result = subprocess.run([sys.executable, str(SCRIPT), str(sample_path), str(png)],
                            capture_output=True, text=True, env={**os.environ, "MPLBACKEND": "Agg"})
    assert result.returncode == 0, result.stderr
    assert "sample: 'Bench test run 7, pump start-up'" in result.stdout
    assert "Pressure [bar]: 2200 samples" in result.stdout
    assert "markers: 0.25 s, 2.2 s" in result.stdout
    try:
        import matplotlib  # noqa: F401
    except ImportError:
        assert "no plot" in result.stdout
        pytest.skip("matplotlib is not installed")
    assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
