"""zorrob.distributed on a LocalCluster of two worker processes gives the single-process
results bit for bit, also when a worker is killed during the run."""

import os
import pickle
import signal

import numpy as np
import pytest

import zorrob

from dask import distributed
from zorrob import distributed as zd

BOX = dict(box_min=(0, -900, 100), box_max=(1500, 900, 1500), step=300)


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=":0") as cluster:
        with distributed.Client(cluster) as c:
            yield c


def assert_same_map(a, b):
    assert a.keys() == b.keys()
    for key, value in a.items():
        if isinstance(value, np.ndarray):
            assert value.dtype == b[key].dtype
            assert value.tobytes() == b[key].tobytes(), key
        else:
            assert value == b[key], key


def test_reach_map_equals_the_single_process_map(client, arm):
    q = zorrob.sphere_orientations(6, 2)
    single = zorrob.reach_map(arm, q, keep_matrix=True, tool=zorrob.ToolData(), **BOX)
    spread = zd.reach_map(arm, q, keep_matrix=True, tool=zorrob.ToolData(), chunk_positions=17,
                          client=client, progress=False, **BOX)
    assert_same_map(spread, single)
    assert len(client.scheduler_info()["workers"]) == 2


def test_placements_equal_the_single_process_ranking(client, arm):
    rng = np.random.default_rng(3)
    targets = [arm.get_rob_target(zorrob.RobJoint(*rng.uniform(-50, 50, 6))).pose
               for _ in range(6)]
    bases = zorrob.base_grid_poses(-600, 600, -600, 600, 300, 0, 90, 45)
    single = zorrob.rank_base_placements(arm, targets, bases)
    spread = zd.rank_base_placements(arm, targets, bases, chunk_bases=7, client=client,
                                     progress=False)
    assert pickle.dumps(spread["ranked"]) == pickle.dumps(single["ranked"])


def test_batch_audits_equal_the_single_audits(client, arm):
    start = zorrob.RobJoint(0, 0, 0, 0, 30, 0)
    programs = []
    for x in (700, 800, 900, 2500):
        move = zorrob.MoveL()
        move.to_point = zorrob.RobTarget(zorrob.Pose(zorrob.Pos(x, 0, 800),
                                                    zorrob.Orient(0, 0, 1, 0)))
        move.speed = zorrob.SpeedData.v500
        programs.append([move])
    single = [zorrob.audit_program(arm, start, p) for p in programs]
    spread = zd.audit_programs(arm, start, programs, chunk_programs=3, client=client,
                               progress=False)
    assert [pickle.dumps(r) for r in spread] == [pickle.dumps(r) for r in single]


def test_a_worker_killed_during_the_run_changes_nothing(client, arm):
    q = zorrob.sphere_orientations(40, 4)
    single = zorrob.reach_map(arm, q, **BOX)
    killed = []

    def kill_one(fraction):
        if not killed:
            pid = next(iter(client.run(os.getpid).values()))
            os.kill(pid, signal.SIGKILL)
            killed.append(pid)

    spread = zd.reach_map(arm, q, chunk_positions=5, client=client, progress=kill_one, **BOX)
    assert killed
    assert_same_map(spread, single)


def test_a_local_cluster_is_started_when_no_client_is_given(arm, capsys):
    q = zorrob.sphere_orientations(3)
    single = zorrob.reach_map(arm, q, points=[[800, 0, 900], [900, 100, 700]])
    spread = zd.reach_map(arm, q, points=[[800, 0, 900], [900, 100, 700]], chunk_positions=1)
    assert_same_map(spread, single)
    assert "reach map" in capsys.readouterr().err  # the tqdm bar


def test_explicit_points_travel_as_each_chunks_slice(client, arm, rng):
    q = zorrob.sphere_orientations(5, 3)
    points = rng.uniform((-1200, -1200, 0), (1200, 1200, 1800), (30, 3))
    single = zorrob.reach_map(arm, q, points=points, keep_matrix=True)
    fractions = []
    spread = zd.reach_map(arm, q, points=points, keep_matrix=True, chunk_positions=7,
                          client=client, progress=fractions.append)
    assert_same_map(spread, single)
    assert spread["shape"] == (30, 1, 1) and (spread["begin"], spread["end"]) == (0, 30)
    # Five chunks of 7, 7, 7, 7 and 2 positions, in whatever order they finish.
    assert len(fractions) == 5 and fractions == sorted(fractions) and fractions[-1] == 1.0
    assert {round(f * 30) for f in fractions} <= {2, 7, 9, 14, 16, 21, 23, 28, 30}


def test_the_automatic_split_shrinks_towards_the_end_down_to_its_smallest_chunk():
    # 50 000 queries a position: the smallest chunk is 5 positions. Each chunk is a quarter of
    # what is left (two workers), rounded up: 25 of 100, 19 of 75, 14 of 56, 11 of 42, 8 of 31,
    # 6 of 23, then 5 (not 5 of 17, 3 of 12, 2 of 7) and the last 2.
    ranges = zd._guided_ranges(100, 50_000, 2)
    assert ranges == [(0, 25), (25, 44), (44, 58), (58, 69), (69, 77), (77, 83), (83, 88),
                      (88, 93), (93, 98), (98, 100)]
    assert zd._guided_ranges(3, 1, 4) == [(0, 3)]  # fewer queries than the smallest chunk


def test_the_automatic_split_gives_the_single_process_map(client, arm):
    q = zorrob.sphere_orientations(10, 4)  # 40 orientations: 6250 positions a chunk at least
    box = dict(box_min=(-1500, -1500, 0), box_max=(1500, 1500, 1500), step=100)
    single = zorrob.reach_map(arm, q, manipulability=False, **box)
    fractions = []
    spread = zd.reach_map(arm, q, manipulability=False, client=client, progress=fractions.append,
                          **box)
    assert_same_map(spread, single)
    # 31 x 31 x 16 = 15376 positions: chunks of 6250 (more than a quarter of what is left),
    # 6250 and 2876, in whatever order they finish.
    done = [round(f * 15376) for f in fractions]
    assert len(done) == 3 and done[-1] == 15376
    assert done[:2] in ([6250, 12500], [2876, 9126], [6250, 9126])
