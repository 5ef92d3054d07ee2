import os
import subprocess
import sys

import pandas as pd

from conftest import ncoa

EXAMPLE = os.path.join(os.path.dirname(__file__), "..", "examples", "dask_match.py")


def test_dask_example_equals_ncoa_match_row_for_row(tmp_path):
    data, listing = tmp_path / "data", tmp_path / "list.csv"
    ncoa("dataset", "synth", "--filings", "2000", "--out", str(data), "--list", "3000", "--list-out",
         str(listing), "--hit-rate", "0.3", "-q")
    want = tmp_path / "ncoa.csv"
    ncoa("match", "--data", str(data), "--in", str(listing), "--out", str(want), "--no-progress")
    got = tmp_path / "dask.csv"
    # Small partitions, so that both workers get several and order matters.
    r = subprocess.run([sys.executable, EXAMPLE, "--data", str(data), "--in", str(listing), "--out", str(got),
                        "--workers", "2", "--blocksize", "64KB"], capture_output=True, text=True, cwd=tmp_path)
    assert r.returncode == 0, r.stderr
    assert "2 workers" in r.stdout
    want_frame = pd.read_csv(want, dtype=str, keep_default_na=False)
    got_frame = pd.read_csv(got, dtype=str, keep_default_na=False)
    pd.testing.assert_frame_equal(got_frame, want_frame)
    assert (want_frame["ncoa_return_code"] == "A").sum() > 0
