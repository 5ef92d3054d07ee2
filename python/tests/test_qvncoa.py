import os
import shutil
import subprocess
import sys
import threading

import pandas as pd
import pytest

import qvncoa
from conftest import SAMPLE_LIST


def read_list():
    return pd.read_csv(SAMPLE_LIST, dtype=str, keep_default_na=False)


@pytest.fixture(scope="module")
def ds(sample_data):
    with qvncoa.DataSet(sample_data, flags=["in_memory"]) as d:
        yield d


def test_match_equals_ncoa_match(ds, sample_result):
    got = ds.match(read_list())
    assert list(got.columns) == list(sample_result.columns)
    pd.testing.assert_frame_equal(got.reset_index(drop=True), sample_result)
    # The sample list has moves with a new address, so the comparison is not of blanks.
    assert (got["ncoa_return_code"] == "A").sum() > 0


def test_lookup_matches_the_list_row(ds, sample_result):
    moved = sample_result[sample_result["ncoa_return_code"] == "A"].iloc[0]
    # The field names of --map and the list's own column names both work.
    for record in ({"name": moved["Name"], "pno": moved["Primary Number"], "sno": moved["Secondary Number"],
                    "zip9": moved["ZIP"] + moved["ZIP4"], "type": "S"},
                   {c: moved[c] for c in read_list().columns}):
        a = ds.lookup(record)
        assert a["result"] in (qvncoa.OK, qvncoa.OK_MOVE_TOO_OLD)
        for col in sample_result.columns:
            if col.startswith("ncoa_") and col != "ncoa_error":
                assert a[col] == moved[col], col
        # The display columns are the library's lines with runs of spaces made one.
        assert "  " in a["ncoa_address_line"]
        assert a["ncoa_address_display"] == " ".join(a["ncoa_address_line"].split())
        assert a["ncoa_last_line_display"] == " ".join(a["ncoa_last_line"].split())


def test_errors_carry_the_library_code(sample_data, tmp_path):
    with pytest.raises(qvncoa.Error) as e:
        qvncoa.DataSet(str(tmp_path / "nothing-here"))
    assert 1000 < e.value.code < 1100 and e.value.text
    with pytest.raises(qvncoa.Error) as e:
        qvncoa.DataSet(sample_data, kb=str(tmp_path))  # no knowledge base there
    assert 1070 <= e.value.code <= 1074 and "titles.txt" in e.value.text  # the parser family
    with pytest.raises(ValueError):
        qvncoa.DataSet(sample_data, flags=["no_such_flag"])
    with pytest.raises(RuntimeError):  # no address columns at all
        qvncoa.DataSet(sample_data).match(pd.DataFrame({"Name": ["A B"]}))
    # A set with a listed file gone is refused by the check before it opens.
    damaged = tmp_path / "damaged"
    shutil.copytree(sample_data, damaged)
    (damaged / "DVD 2" / "rv9" / "lln.dat").unlink()
    with pytest.raises(qvncoa.Error) as e:
        qvncoa.DataSet(str(damaged))
    assert e.value.code == 1040 and "lln.dat" in e.value.text


def test_two_threads_on_one_data_set(ds, sample_result):
    frame = pd.concat([read_list()] * 20, ignore_index=True)
    want = ds.match(frame)
    results = [None, None]

    def work(i):
        results[i] = ds.match(frame)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for r in results:
        pd.testing.assert_frame_equal(r, want)


def test_example_script_writes_what_ncoa_match_writes(sample_data, sample_result, tmp_path):
    example = os.path.join(os.path.dirname(__file__), "..", "examples", "match_list.py")
    out = tmp_path / "out.csv"
    r = subprocess.run([sys.executable, example, sample_data, SAMPLE_LIST, str(out)], capture_output=True, text=True)
    assert r.returncode == 0, r.stderr
    pd.testing.assert_frame_equal(pd.read_csv(out, dtype=str, keep_default_na=False), sample_result)
    row = sample_result[sample_result["Name"] == "JOHN A SMITH"].iloc[0]
    want = [row["ncoa_return_code"], *row["ncoa_address_line"].split(), *row["ncoa_last_line"].split()]
    assert r.stdout.split("\n")[-2].split() == want
