"""NCOALink move processing through libqvncoa.

    ds = qvncoa.DataSet("/data/ncoa", flags=["in_memory"])
    ds.lookup({"name": "KAREN THOMAS", "pno": "118", "zip9": "100011234"})
    result = ds.match(pandas.read_csv("list.csv", dtype=str, keep_default_na=False))
"""
from ._qvncoa import OK, OK_MOVE_TOO_OLD, Error, knowledge_base_candidates
from ._qvncoa import answer_columns as _answer_columns
from ._qvncoa import DataSet as _DataSet

__all__ = ["DataSet", "Error", "OK", "OK_MOVE_TOO_OLD", "answer_columns", "knowledge_base_candidates"]


def answer_columns(columns, map=None):
    """The columns DataSet.match adds behind a table with these columns."""
    return _answer_columns([str(c) for c in columns], [f"{k}={v}" for k, v in (map or {}).items()])


class DataSet(_DataSet):
    """An opened data set. kb: the name knowledge base folder (default: see
    knowledge_base_candidates()); flags: init flag names "in_memory",
    "flat_key_1", "flat_key_2"; memory=True is "in_memory"; flat_index: key
    bytes of the flat index to search through (0 to 3).

    Lookups of one DataSet may run on many threads at once: the library works
    without the GIL."""

    def match(self, frame, mode="all", months=0, map=None):
        """The rows of a pandas DataFrame through the lookup: every input
        column, then the columns `ncoa match` writes (ncoa_return_code ...
        ncoa_lookups, ncoa_error; av_* first for free-form addresses), in
        input order and with the frame's index. Columns are recognised by
        their usual names as by `ncoa match`; map: {"field": "column"} as
        its --map. Read lists with dtype=str so that ZIP codes keep their
        leading zeros."""
        import pandas as pd

        header = [str(c) for c in frame.columns]
        columns = [[None if _missing(v) else str(v) for v in frame[c].tolist()] for c in frame.columns]
        maps = [f"{k}={v}" for k, v in (map or {}).items()]
        names, values = self._match(header, columns, maps, mode, months)
        answers = pd.DataFrame(dict(zip(names, values)), index=frame.index, columns=names)
        return pd.concat([frame, answers], axis=1)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def _missing(v):
    return v is None or (isinstance(v, float) and v != v)
