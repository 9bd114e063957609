#!/usr/bin/env python3
"""Prints the ratios in a JSON report of the function benchmarks; status 1 when one is over its limit.

    function_benchmarks --benchmark_format=json | bench/check_ratios.py
"""

import json
import sys

runs = [run for run in json.load(sys.stdin)["benchmarks"] if "limit" in run]
if not runs:
    sys.exit("no benchmark reported a ratio")
broken = False
for run in runs:
    over = run["ratio"] > run["limit"]
    broken |= over
    print(f"{run['name']:60} {run['ratio']:6.2f}   limit {run['limit']:.2f}{'   OVER' if over else ''}")
sys.exit(broken)
