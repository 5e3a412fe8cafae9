#!/usr/bin/env python3
"""A reach map on a Dask LocalCluster of 2 single-threaded worker processes against 1, in the
same run, and the single-process call (one thread) as the reference for the chunk overhead.

Run from the repository root after building:
    PYTHONPATH=build/python /usr/bin/python3 bench/dask_reach_bench.py [--queries N] [--repeat R]

Each figure is the best of R runs (wall-clock, time.perf_counter), the clusters started before
the clock. The maps of every side are checked equal bit for bit first.
"""

import argparse
import time

import numpy as np
from dask.distributed import Client, LocalCluster

import zorrob
from zorrob import distributed


def best_of(repeat, work):
    best, result = float("inf"), None
    for _ in range(repeat):
        start = time.perf_counter()
        result = work()
        best = min(best, time.perf_counter() - start)
    return best, result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--queries", type=float, default=1e7)
    parser.add_argument("--repeat", type=int, default=2)
    parser.add_argument("--chunk", type=int, default=500, help="positions per chunk")
    args = parser.parse_args()

    arm = zorrob.default_arm()
    q = zorrob.sphere_orientations(50, 4)
    # A cube across the arm's reach with about queries / 200 positions.
    side = round((args.queries / len(q)) ** (1 / 3))
    step = 3000.0 / (side - 1)
    box = dict(box_min=(-1500, -1500, 0), box_max=(1500, 1500, 3000), step=step)
    shape = zorrob.reach_grid_shape(**box)
    queries = int(np.prod(shape)) * len(q)
    print(f"grid {shape}, {len(q)} orientations: {queries} queries")

    single_s, single = best_of(args.repeat, lambda: zorrob.reach_map(arm, q, **box))
    times = {}
    for workers in (1, 2):
        with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                          dashboard_address=":0") as cluster, Client(cluster) as client:
            t, spread = best_of(args.repeat, lambda: distributed.reach_map(
                arm, q, chunk_positions=args.chunk, client=client, progress=False, **box))
            assert all(np.array_equal(spread[k], single[k]) for k in
                       ("reachable", "index", "best_manipulability", "worst_manipulability"))
            times[workers] = t
    print(f"single process, 1 thread: {single_s:.2f} s ({queries / single_s / 1e6:.2f} M/s)")
    for workers, t in times.items():
        print(f"Dask, {workers} worker(s):     {t:.2f} s ({queries / t / 1e6:.2f} M/s)")
    print(f"2 workers / 1 worker: {times[1] / times[2]:.2f}x; "
          f"1 worker / single process: {times[1] / single_s:.2f} (chunks of {args.chunk})")


if __name__ == "__main__":
    main()
