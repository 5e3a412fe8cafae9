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
import pickle

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


def _gather_in_order(client, futures, weights, progress, label, unit):
    """Waits for the futures, advancing a tqdm bar (progress True) or calling progress(fraction)
    as each completes, the fraction weighted by `weights` (one per future: how many `unit`s it
    holds), and returns their results in submission order."""
    from dask.distributed import as_completed
    total = sum(weights)
    weight_of = {f.key: w for f, w in zip(futures, weights)}
    bar = None
    if progress is True:
        from tqdm import tqdm
        bar = tqdm(total=total, desc=label, unit=unit)
    done = 0
    try:
        for future in as_completed(futures):
            done += weight_of[future.key]
            if bar is not None:
                bar.update(weight_of[future.key])
            elif callable(progress):
                progress(done / total)
    finally:
        if bar is not None:
            bar.close()
    return client.gather(futures)


def _ranges(count, chunk):
    if chunk < 1:
        raise ValueError("chunk size must be at least 1")
    return [(b, min(count, b + chunk)) for b in range(0, count, chunk)]


# The smallest chunk the automatic split makes, in queries: a tenth of a second or more of work
# on one core, so that a chunk's round trip through the scheduler (a few milliseconds) stays
# small beside it, and short enough that the workers' last chunks end close together.
_MIN_CHUNK_QUERIES = 250_000


def _guided_ranges(count, queries_per_position, workers):
    """Consecutive ranges of `count` positions, each a (2 · workers)th of what is left but not
    below _MIN_CHUNK_QUERIES: the first chunks are large (few round trips), the last ones small,
    so that the workers finish together even where some regions of the grid cost more."""
    smallest = max(1, -(-_MIN_CHUNK_QUERIES // queries_per_position))
    ranges, begin = [], 0
    while begin < count:
        size = max(smallest, -(-(count - begin) // (2 * workers)))
        ranges.append((begin, min(count, begin + size)))
        begin = ranges[-1][1]
    return ranges


def _reach_chunk(payload, begin, end, points):
    """One chunk on a worker: the arm, orientations and options arrive pickled once for all
    chunks; explicit points arrive as the chunk's own slice (computed as a whole grid)."""
    robot, orientations, options = pickle.loads(payload)
    if points is None:
        return _zorrob.reach_map(robot, orientations, begin=begin, end=end, **options)
    return _zorrob.reach_map(robot, orientations, points=points, **options)


def reach_map(robot, orientations, *, chunk_positions=None, client=None, address=None,
              n_workers=2, progress=True, **options):
    """zorrob.reach_map over the whole grid, in chunks of positions run on the cluster.
    `chunk_positions` fixes the chunk size; None (the default) makes large chunks first and
    smaller ones towards the end, by the cluster's worker threads. `options` are reach_map's
    keywords (the grid, tool, configurations, keep_matrix, manipulability, allow_large);
    `begin`, `end`, `threads` and the progress callable belong to this call. progress is True
    for a tqdm bar, False for none, or a callable(fraction of the positions done)."""
    for key in ("begin", "end", "threads"):
        if key in options:
            raise TypeError(f"reach_map on a cluster takes no '{key}'")
    grid = {k: options[k] for k in ("box_min", "box_max", "step", "points") if k in options}
    shape = _zorrob.reach_grid_shape(**grid)
    count = int(np.prod(shape))
    orientations = np.ascontiguousarray(orientations, dtype=float)
    points = options.pop("points", None)
    if points is not None:
        points = np.ascontiguousarray(points, dtype=float)
    # Pickled here once: each task carries these bytes instead of pickling the arm again.
    payload = pickle.dumps((robot, orientations, options), protocol=pickle.HIGHEST_PROTOCOL)
    with client_for(client, address, n_workers) as c:
        if chunk_positions is None:
            workers = max(1, sum(c.nthreads().values()))
            ranges = _guided_ranges(count, max(1, len(orientations)), workers)
        else:
            ranges = _ranges(count, chunk_positions)
        futures = [c.submit(_reach_chunk, payload, b, e, None if points is None else points[b:e],
                            pure=False) for b, e in ranges]
        parts = _gather_in_order(c, futures, [e - b for b, e in ranges], progress, "reach map",
                                 "position")
    return _merge_reach_parts(parts, shape, count)


def _merge_reach_parts(parts, shape, count):
    merged = dict(parts[0])
    merged.update(shape=tuple(shape), begin=0, end=count)
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
        ranges = _ranges(count, chunk)
        futures = [submit(c, b, e) for b, e in ranges]
        parts = _gather_in_order(c, futures, [e - b for b, e in ranges], progress, "placement",
                                 "base")
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
        ranges = _ranges(len(programs), chunk_programs)
        futures = [c.submit(_audit_chunk, robot, start, programs[b:e], options, pure=False)
                   for b, e in ranges]
        parts = _gather_in_order(c, futures, [e - b for b, e in ranges], progress, "audit",
                                 "program")
    return [report for part in parts for report in part]
