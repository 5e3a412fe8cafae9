#!/usr/bin/env python3
"""A reach map on a Dask LocalCluster of 2 single-threaded worker processes against 1, in the
same run, with the single-process call on 1 and 2 threads as the reference, and the overhead of
one chunk.

Run from the repository root after building:
    PYTHONPATH=build/python /usr/bin/python3 bench/dask_reach_bench.py [--queries N] [--repeat R]

Both clusters are started before the clock and stay up; the runs alternate (1 worker, 2
workers, 1 thread, 2 threads, and again R times) so that a change of the machine's load falls
on every side alike. Each figure is the best of its R runs (wall-clock, time.perf_counter). The
maps of every side are checked equal bit for bit. The 2-thread call shows how much of the two
cores the machine gave in the same minutes: on a loaded machine both ratios read low together.
The processor time of each side (this process and every worker process, psutil) does not grow
with the load: the 1-worker run's against the 1-thread call's is Dask's own cost.
The task stream of the 2-worker runs gives each worker's compute time: how evenly the chunks
spread, and so the most that 2 workers can gain on an idle machine.

The chunk overhead is the wall-clock time per chunk of a map whose chunks hold one position of
one orientation out of reach (no work at all): the whole round trip of a chunk, from submitting
it to merging its result, on the 1-worker cluster.

The last line is the ratio alone, e.g. "2 workers / 1 worker: 1.85x".
"""

import argparse
import time

import numpy as np
import psutil
from dask.distributed import Client, LocalCluster, get_task_stream

import zorrob
from zorrob import distributed

_ARRAYS = ("reachable", "index", "best_manipulability", "worst_manipulability")


def cpu_seconds():
    """Processor time of this process and all its children (the clusters' nannies and workers)
    so far: unlike the wall-clock time, it does not grow with the machine's load."""
    total = 0.0
    me = psutil.Process()
    for process in [me] + me.children(recursive=True):
        try:
            times = process.cpu_times()
        except psutil.NoSuchProcess:
            continue
        total += times.user + times.system
    return total


def timed(work):
    """(wall-clock seconds, processor seconds, result) of work()."""
    cpu, start = cpu_seconds(), time.perf_counter()
    result = work()
    return time.perf_counter() - start, cpu_seconds() - cpu, result


def chunk_overhead(arm, client, chunks):
    """Seconds per chunk of a map of `chunks` one-position chunks with nothing to solve."""
    far = dict(box_min=(1e6, 0, 0), box_max=(1e6 + chunks - 1, 0, 0), step=1)
    one = zorrob.sphere_orientations(1)
    seconds, _, _ = timed(lambda: distributed.reach_map(arm, one, chunk_positions=1, client=client,
                                                     progress=False, **far))
    return seconds / chunks


def busy_seconds(stream):
    """The compute time of each worker in a task stream, largest first."""
    busy = {}
    for task in stream:
        for part in task["startstops"]:
            if part["action"] == "compute":
                busy[task["worker"]] = busy.get(task["worker"], 0.0) + part["stop"] - part["start"]
    return sorted(busy.values(), reverse=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--queries", type=float, default=1e7)
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--chunk", type=int, default=None,
                        help="positions per chunk (default: the automatic split)")
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

    reference = zorrob.reach_map(arm, q, **box)
    times, cpu, busy = {}, {}, {}

    def record(name, seconds, processor, result):
        assert all(np.array_equal(result[k], reference[k]) for k in _ARRAYS), name
        times.setdefault(name, []).append(seconds)
        cpu.setdefault(name, []).append(processor)

    with LocalCluster(n_workers=1, threads_per_worker=1, processes=True,
                      dashboard_address=":0") as one_cluster, Client(one_cluster) as one, \
         LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                      dashboard_address=":0") as two_cluster, Client(two_cluster) as two:
        for client in (one, two):  # the workers import the module before the clock
            client.run(lambda: __import__("zorrob") and None)
        overhead = chunk_overhead(arm, one, 200)
        for _ in range(args.repeat):
            for name, client in (("1 worker", one), ("2 workers", two)):
                with get_task_stream(client=client) as stream:
                    record(name, *timed(lambda: distributed.reach_map(
                        arm, q, chunk_positions=args.chunk, client=client, progress=False,
                        **box)))
                busy.setdefault(name, []).append((len(stream.data), busy_seconds(stream.data)))
            for threads in (1, 2):
                record(f"{threads} thread(s)", *timed(
                    lambda: zorrob.reach_map(arm, q, threads=threads, **box)))
        overhead = min(overhead, chunk_overhead(arm, one, 200))

    best = {name: min(runs) for name, runs in times.items()}
    for name, seconds in best.items():
        print(f"{name:12} best {seconds:6.2f} s ({queries / seconds / 1e6:5.2f} M queries/s); "
              f"runs {', '.join(f'{t:.2f}' for t in times[name])}; "
              f"processor time {min(cpu[name]):.2f} s")
    chunks, workers = busy["2 workers"][times["2 workers"].index(best["2 workers"])]
    print(f"2 workers' best run: {chunks} chunks, the workers computed "
          f"{' and '.join(f'{b:.2f}' for b in workers)} s of its {best['2 workers']:.2f} s "
          f"(the busier one {workers[0] / sum(workers):.1%} of the work: on an idle machine "
          f"at most {sum(workers) / workers[0]:.2f}x)")
    print(f"chunk overhead: {overhead * 1e3:.1f} ms per chunk (round trip of an empty chunk)")
    one_worker_cost = best["1 worker"] / best["1 thread(s)"]
    print(f"1 worker / single process on 1 thread: {one_worker_cost:.3f} (wall-clock), "
          f"{min(cpu['1 worker']) / min(cpu['1 thread(s)']):.3f} (processor time)")
    threads_gain = best["1 thread(s)"] / best["2 thread(s)"]
    workers_gain = best["1 worker"] / best["2 workers"]
    print(f"2 threads / 1 thread (single process): {threads_gain:.2f}x")
    print(f"the 2 workers' gain against the 2 threads' gain: {workers_gain / threads_gain:.2f}")
    print(f"2 workers / 1 worker: {workers_gain:.2f}x")


if __name__ == "__main__":
    main()
