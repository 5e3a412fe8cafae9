"""Reach maps and base placement from Python: the counts equal the batch inverse kinematics
query by query; chunks and threads give the whole map; the progress callable can cancel."""

import numpy as np
import pytest

import zorrob

BOX = dict(box_min=(0, -900, 100), box_max=(1500, 900, 1500), step=300)


def counts_by_hand(arm, shape, orientations):
    xs, ys, zs = (np.arange(n) * 300.0 + lo for n, lo in zip(shape, (0, -900, 100)))
    cells = np.stack(np.meshgrid(xs, ys, zs, indexing="ij"), axis=-1).reshape(-1, 3)
    positions = np.repeat(cells, len(orientations), axis=0)
    quaternions = np.tile(orientations, (len(cells), 1))
    _, _, index = arm.all_joint_solutions(positions, quaternions)
    return np.bincount(index, minlength=len(positions)).reshape(len(cells), len(orientations))


def test_the_map_counts_each_query(arm):
    q = zorrob.sphere_orientations(5, 2)
    assert q.shape == (10, 4)
    m = zorrob.reach_map(arm, q, keep_matrix=True, **BOX)
    assert m["shape"] == (6, 7, 5) == zorrob.reach_grid_shape(**BOX)
    assert (m["begin"], m["end"], m["orientation_count"], m["cancelled"]) == (0, 210, 10, False)
    counts = counts_by_hand(arm, m["shape"], q)
    np.testing.assert_array_equal(m["matrix"], counts)
    np.testing.assert_array_equal(m["reachable"], (counts > 0).sum(axis=1))
    np.testing.assert_array_equal(m["index"], (counts > 0).sum(axis=1) / 10)
    assert m["reachable"].dtype == np.uint32


def test_chunks_and_threads_give_the_whole_map(arm):
    q = zorrob.sphere_orientations(4, 3)
    whole = zorrob.reach_map(arm, q, **BOX)
    parts = [zorrob.reach_map(arm, q, begin=b, end=b + 50, **BOX) for b in range(0, 210, 50)]
    for key in ("reachable", "index", "best_manipulability", "worst_manipulability"):
        np.testing.assert_array_equal(np.concatenate([p[key] for p in parts]), whole[key])
        np.testing.assert_array_equal(zorrob.reach_map(arm, q, threads=2, **BOX)[key], whole[key])


def test_explicit_points(arm):
    q = zorrob.sphere_orientations(3)
    m = zorrob.reach_map(arm, q, points=[[800, 0, 900], [5000, 0, 0]])
    assert m["shape"] == (2, 1, 1)
    assert m["reachable"][1] == 0 and m["reachable"][0] > 0


def test_progress_is_called_and_can_cancel(arm):
    q = zorrob.sphere_orientations(2000)
    seen = []
    zorrob.reach_map(arm, q, points=[[800, 0, 900]] * 6, progress=lambda f: seen.append(f) or True)
    assert seen[-1] == 1.0 and seen == sorted(seen)
    m = zorrob.reach_map(arm, q, points=[[800, 0, 900]] * 6, progress=lambda f: False)
    assert m["cancelled"]
    assert m["reachable"][-1] == 0


def test_an_error_in_progress_is_raised(arm):
    def fails(fraction):
        raise KeyError("stop here")
    with pytest.raises(KeyError, match="stop here"):
        zorrob.reach_map(arm, zorrob.sphere_orientations(2000), points=[[800, 0, 900]] * 4,
                         progress=fails)


@pytest.mark.parametrize("kwargs, message", [
    (dict(box_min=(0, 0, 0), box_max=(1, 1, 1), step=0),
     "reach grid step must be positive and finite"),
    (dict(box_min=(0, 0, 0), box_max=(1, 1, 1), step=float("nan")),
     "reach grid step must be positive and finite"),
    (dict(points=np.zeros((0, 3))), "reach grid is empty"),
    (dict(box_min=(0, 0, 0), box_max=(1000, 999, 999), step=1),
     "reach map of 1001000000 queries exceeds the cap of 1000000000 (allow large maps to go "
     "beyond)"),
    (dict(box_min=(0, 0, 0), box_max=(1, 1, 1), step=1, threads=257),
     "thread count must be at most 256"),
    (dict(box_min=(0, 0, 0), step=1), "give either box_min, box_max and step, or points"),
])
def test_bad_input_raises_value_error(arm, kwargs, message):
    with pytest.raises(ValueError) as e:
        zorrob.reach_map(arm, zorrob.sphere_orientations(1), **kwargs)
    assert str(e.value) == message


def test_the_base_the_targets_came_from_ranks_first(arm):
    best = zorrob.base_grid_poses(600, 600, -300, -300, 1, 40, 40, 1)[0]
    rng = np.random.default_rng(7)
    targets = []
    for _ in range(8):
        joints = zorrob.RobJoint(*rng.uniform(-60, 60, 6))
        target = arm.get_rob_target(joints)
        targets.append((best * target.pose, target.rob_conf))
    bases = zorrob.base_grid_poses(-2400, 600, -300, -300, 1500, 40, 40, 1)
    assert str(bases[-1]) == str(best)
    r = zorrob.rank_base_placements(arm, targets, bases, threads=2)
    assert not r["cancelled"]
    first = r["ranked"][0]
    assert first["candidate"] == 2 and first["share"] == 1.0 and first["reached"] == 8
    assert [s["share"] for s in r["ranked"][1:]] == [0.0, 0.0]
    chunks = [s for b in range(3)
              for s in zorrob.rank_base_placements(arm, targets, bases, begin=b, end=b + 1)["ranked"]]
    assert zorrob.rank_placements(chunks) == r["ranked"]
