import os
import subprocess

import pytest

BUILD = os.environ.get("QV_BINARY_DIR", os.path.join(os.path.dirname(__file__), "../../build"))
SOURCE = os.environ.get("QV_SOURCE_DIR", os.path.join(os.path.dirname(__file__), "../.."))
NCOA = os.path.join(BUILD, "cli", "ncoa")
SAMPLE_LIST = os.path.join(SOURCE, "data", "sample", "list.csv")


def ncoa(*args, cwd=None):
    r = subprocess.run([NCOA, *args], cwd=cwd, capture_output=True, text=True)
    assert r.returncode == 0, r.stderr
    return r


@pytest.fixture(scope="session")
def sample_data(tmp_path_factory):
    root = tmp_path_factory.mktemp("sample") / "data"
    ncoa("dataset", "build", os.path.join(SOURCE, "data", "sample", "world.json"), str(root))
    return str(root)


@pytest.fixture(scope="session")
def sample_result(sample_data, tmp_path_factory):
    """`ncoa match` on the sample list, read back as strings."""
    import pandas as pd

    out = tmp_path_factory.mktemp("match") / "result.csv"
    ncoa("match", "--data", sample_data, "--in", SAMPLE_LIST, "--out", str(out), "--no-progress")
    return pd.read_csv(out, dtype=str, keep_default_na=False)
