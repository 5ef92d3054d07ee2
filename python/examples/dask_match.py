#!/usr/bin/python3
"""Matches a CSV mailing list with Dask: read_csv -> map_partitions -> CSV,
rows in input order, with the columns `ncoa match` writes.

Each worker process opens the data set once, when it starts (a worker
plugin), and every partition it is given runs against that one object; the
lookups run without the GIL, so a worker's threads share it. The data set
must stand at the same path on every worker (and the knowledge base, which
qvncoa finds beside its installed module or through $QVNCOA_NAMEKB).

    dask_match.py --data DATA --in list.csv --out result.csv            # LocalCluster
    dask_match.py --scheduler tcp://host:8786 --data DATA --in ... --out ...
"""
import argparse
import time

import dask.dataframe as dd
from distributed import Client, LocalCluster, WorkerPlugin, get_worker

import qvncoa


class OpenDataSet(WorkerPlugin):
    """Opens the data set once in each worker process."""

    name = "qvncoa-data-set"

    def __init__(self, root, kb, flags):
        self.root, self.kb, self.flags = root, kb, flags

    def setup(self, worker):
        worker.qvncoa_data_set = qvncoa.DataSet(self.root, kb=self.kb, flags=self.flags)

    def teardown(self, worker):
        worker.qvncoa_data_set.close()


def match_partition(frame, mode, months, mapping):
    return get_worker().qvncoa_data_set.match(frame, mode=mode, months=months, map=mapping)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--data", required=True, help="data set root, the same path on every worker")
    p.add_argument("--in", dest="inp", required=True, help="mailing list CSV with a header row")
    p.add_argument("--out", required=True, help="result CSV; with a '*', one file per partition")
    p.add_argument("--kb", default="", help="name knowledge base folder (default: found by qvncoa)")
    p.add_argument("--memory", action="store_true", help="hold the data set's large files in memory")
    p.add_argument("--scheduler", help="address of a running Dask scheduler (default: a LocalCluster)")
    p.add_argument("--workers", type=int, default=2, help="LocalCluster worker processes")
    p.add_argument("--threads", type=int, default=1, help="LocalCluster threads per worker")
    p.add_argument("--blocksize", default="16MB", help="bytes of the list per partition")
    p.add_argument("--mode", default="all")
    p.add_argument("--months", type=int, default=0)
    p.add_argument("--map", action="append", default=[], help="FIELD=COLUMN, as ncoa match --map")
    a = p.parse_args()

    if a.scheduler:
        client = Client(a.scheduler)
    else:
        cluster = LocalCluster(n_workers=a.workers, threads_per_worker=a.threads, processes=True,
                               dashboard_address=None)
        client = Client(cluster)
    client.register_worker_plugin(OpenDataSet(a.data, a.kb, ["in_memory"] if a.memory else []))

    started = time.perf_counter()
    mapping = dict(m.split("=", 1) for m in a.map)
    frame = dd.read_csv(a.inp, dtype=str, keep_default_na=False, blocksize=a.blocksize)
    meta = frame._meta.assign(**{c: "" for c in qvncoa.answer_columns(frame.columns, mapping)})
    result = frame.map_partitions(match_partition, a.mode, a.months, mapping, meta=meta)
    result.to_csv(a.out, single_file="*" not in a.out, index=False)
    seconds = time.perf_counter() - started
    rows = int(frame.shape[0].compute())
    print(f"dask_match: {rows} records in {seconds:.2f} s ({rows / seconds:.0f} records/s), "
          f"{len(client.scheduler_info()['workers'])} workers")
    client.close()


if __name__ == "__main__":
    main()
