"""Reach maps, base placements and batch audits on a Dask cluster.

Each call splits its work into chunks (ranges of grid positions, of candidate bases, or groups
of programs), runs them as tasks on a ``dask.distributed.Client`` and joins the results in
order. Every chunk is computed exactly as the single-process call computes that range, so the
result is identical to it, bit for bit, whatever the number of workers. A worker that dies
mid-run loses its tasks; the scheduler runs them again elsewhere and the result is unchanged.

Without a client, a ``LocalCluster`` of worker processes is started for the call (and closed
after it); with ``address``, the call connects to that scheduler. Arms, tools and programs
travel to the workers by pickling (see the package's copyreg registrations).
"""

import contextlib

import numpy as np

from . import _zorrob

__all__ = ["reach_map", "rank_base_placements", "rank_program_placements", "audit_programs",
           "client_for"]

_PER_POSITION = ("reachable", "index", "best_manipulability", "worst_manipulability")


@contextlib.contextmanager
def client_for(client=None, address=None, n_workers=2):
    """Yields `client`, or a client of the scheduler at `address`, or of a new LocalCluster of
    `n_workers` single-threaded worker processes; what it opened it closes."""
    if client is not None:
        yield client
        return
    from dask.distributed import Client, LocalCluster
    if address is not None:
        with Client(address) as connected:
            yield connected
        return
    with LocalCluster(n_workers=n_workers, threads_per_worker=1, processes=True,
                      dashboard_address=":0") as cluster, Client(cluster) as local:
        yield local


def _gather_in_order(client, futures, progress, label):
    """Waits for the futures, advancing a tqdm bar (progress True) or calling progress(fraction)
    as each completes, and returns their results in submission order."""
    from dask.distributed import as_completed
    bar = None
    if progress is True:
        from tqdm import tqdm
        bar = tqdm(total=len(futures), desc=label, unit="chunk")
    done = 0
    try:
        for _ in as_completed(futures):
            done += 1
            if bar is not None:
                bar.update(1)
            elif callable(progress):
                progress(done / len(futures))
    finally:
        if bar is not None:
            bar.close()
    return client.gather(futures)


def _ranges(count, chunk):
    if chunk < 1:
        raise ValueError("chunk size must be at least 1")
    return [(b, min(count, b + chunk)) for b in range(0, count, chunk)]


def _reach_chunk(robot, orientations, begin, end, options):
    return _zorrob.reach_map(robot, orientations, begin=begin, end=end, **options)


def reach_map(robot, orientations, *, chunk_positions=1000, client=None, address=None,
              n_workers=2, progress=True, **options):
    """zorrob.reach_map over the whole grid, in chunks of `chunk_positions` positions run on the
    cluster. `options` are reach_map's keywords (the grid, tool, configurations, keep_matrix,
    manipulability, allow_large); `begin`, `end`, `threads` and the progress callable belong
    to this call. progress is True for a tqdm bar, False for none, or a callable(fraction)."""
    for key in ("begin", "end", "threads"):
        if key in options:
            raise TypeError(f"reach_map on a cluster takes no '{key}'")
    grid = {k: options[k] for k in ("box_min", "box_max", "step", "points") if k in options}
    shape = _zorrob.reach_grid_shape(**grid)
    count = int(np.prod(shape))
    orientations = np.ascontiguousarray(orientations, dtype=float)
    with client_for(client, address, n_workers) as c:
        futures = [c.submit(_reach_chunk, robot, orientations, b, e, options, pure=False)
                   for b, e in _ranges(count, chunk_positions)]
        parts = _gather_in_order(c, futures, progress, "reach map")
    merged = dict(parts[0])
    merged["end"] = parts[-1]["end"]
    for key in _PER_POSITION:
        merged[key] = np.concatenate([p[key] for p in parts])
    if merged["matrix"] is not None:
        merged["matrix"] = np.concatenate([p["matrix"] for p in parts])
    merged["cancelled"] = any(p["cancelled"] for p in parts)
    return merged


def _base_chunk(robot, targets, bases, begin, end, options):
    return _zorrob.rank_base_placements(robot, targets, bases, begin=begin, end=end,
                                        **options)["ranked"]


def _program_chunk(robot, start, moves, bases, begin, end, options):
    return _zorrob.rank_program_placements(robot, start, moves, bases, begin=begin, end=end,
                                           **options)["ranked"]


def _rank_chunks(submit, count, chunk, client, address, n_workers, progress):
    with client_for(client, address, n_workers) as c:
        futures = [submit(c, b, e) for b, e in _ranges(count, chunk)]
        parts = _gather_in_order(c, futures, progress, "placement")
    scores = [s for part in parts for s in part]
    return {"ranked": _zorrob.rank_placements(scores), "cancelled": False}


def rank_base_placements(robot, targets, bases, *, chunk_bases=50, client=None, address=None,
                         n_workers=2, progress=True, tool=None):
    """zorrob.rank_base_placements with the candidates split into chunks of `chunk_bases`."""
    targets, bases = list(targets), list(bases)
    options = {} if tool is None else {"tool": tool}
    return _rank_chunks(
        lambda c, b, e: c.submit(_base_chunk, robot, targets, bases, b, e, options, pure=False),
        len(bases), chunk_bases, client, address, n_workers, progress)


def rank_program_placements(robot, start, moves, bases, *, chunk_bases=10, client=None,
                            address=None, n_workers=2, progress=True, audit_options=None):
    """zorrob.rank_program_placements with the candidates split into chunks of `chunk_bases`."""
    moves, bases = list(moves), list(bases)
    options = {} if audit_options is None else {"audit_options": audit_options}
    return _rank_chunks(
        lambda c, b, e: c.submit(_program_chunk, robot, start, moves, bases, b, e, options,
                                 pure=False),
        len(bases), chunk_bases, client, address, n_workers, progress)


def _audit_chunk(robot, start, programs, options):
    return [_zorrob.audit_program(robot, start, moves, options) for moves in programs]


def audit_programs(robot, start, programs, *, options=None, chunk_programs=10, client=None,
                   address=None, n_workers=2, progress=True):
    """zorrob.audit_program of every program (a list of move lists), in chunks of
    `chunk_programs` programs; the reports in the programs' order."""
    programs = [list(p) for p in programs]
    options = _zorrob.AuditOptions() if options is None else options
    with client_for(client, address, n_workers) as c:
        futures = [c.submit(_audit_chunk, robot, start, programs[b:e], options, pure=False)
                   for b, e in _ranges(len(programs), chunk_programs)]
        parts = _gather_in_order(c, futures, progress, "audit")
    return [report for part in parts for report in part]
