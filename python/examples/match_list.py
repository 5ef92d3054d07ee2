#!/usr/bin/python3
"""match_list.py DATA LIST.csv OUT.csv: a list through qvncoa with pandas."""
import sys

import pandas as pd

import qvncoa

data, listing, out = sys.argv[1:4]
with qvncoa.DataSet(data, flags=["in_memory"]) as ds:
    result = ds.match(pd.read_csv(listing, dtype=str, keep_default_na=False))
    result.to_csv(out, index=False)
    print(result["ncoa_return_code"].value_counts().to_dict())
    one = ds.lookup({"name": "JOHN A SMITH", "pno": "120", "zip9": "100011234", "type": "S"})
    print(one["ncoa_return_code"], one["ncoa_address_display"], one["ncoa_last_line_display"])
