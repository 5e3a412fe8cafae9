"""zorrob reach writes files that numpy reads; the counts in them match the module's own batch
inverse kinematics, query by query."""

import os
import subprocess

import numpy as np
import pytest


@pytest.fixture(scope="module")
def tool_path():
    path = os.environ.get("ZORROB_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("the zorrob tool is not built (ZORROB_TOOL unset)")
    return path


BOX = ["--min", "0", "-900", "100", "--max", "1500", "900", "1500", "--step", "300"]


def run(tool_path, *args):
    return subprocess.run([tool_path, *args], capture_output=True, text=True, check=True)


def test_npz_holds_every_array_and_the_counts_of_each_query(tool_path, tmp_path, arm):
    out = tmp_path / "map.npz"
    done = run(tool_path, "reach", *BOX, "--directions", "6", "--turns", "2", "--matrix",
               "--threads", "2", "--out", str(out))
    assert done.stderr == ""  # no progress bar in a pipe
    data = np.load(out)
    assert sorted(data.files) == sorted(["reachable", "index", "best_manipulability",
                                         "worst_manipulability", "orientations", "grid", "matrix"])
    shape = (6, 7, 5)
    assert data["reachable"].shape == shape and data["reachable"].dtype == np.uint32
    assert data["index"].dtype == np.float64
    assert data["matrix"].shape == shape + (12,) and data["matrix"].dtype == np.uint8
    np.testing.assert_array_equal(data["grid"], [0, -900, 100, 300])

    # Every query of the map, solved here through the batch inverse kinematics.
    xs, ys, zs = (np.arange(n) * 300.0 + lo for n, lo in zip(shape, (0, -900, 100)))
    cells = np.stack(np.meshgrid(xs, ys, zs, indexing="ij"), axis=-1).reshape(-1, 3)
    q = data["orientations"]
    positions = np.repeat(cells, len(q), axis=0)
    quaternions = np.tile(q, (len(cells), 1))
    _, _, pose_index = arm.all_joint_solutions(positions, quaternions)
    counts = np.bincount(pose_index, minlength=len(positions)).reshape(shape + (len(q),))
    np.testing.assert_array_equal(data["matrix"], np.minimum(counts, 255))
    reachable = (counts > 0).sum(axis=-1)
    np.testing.assert_array_equal(data["reachable"], reachable)
    np.testing.assert_array_equal(data["index"], reachable / len(q))
    assert 0 < reachable.sum() < reachable.size * len(q)
    assert (data["best_manipulability"] >= data["worst_manipulability"]).all()
    assert ((data["best_manipulability"] > 0) == (reachable > 0)).all()


def test_npy_holds_the_index_and_the_summary_is_json(tool_path, tmp_path):
    npy = tmp_path / "index.npy"
    npz = tmp_path / "all.npz"
    summary = run(tool_path, "reach", *BOX, "--directions", "4", "--out", str(npy), "--json")
    run(tool_path, "reach", *BOX, "--directions", "4", "--out", str(npz))
    index = np.load(npy)
    np.testing.assert_array_equal(index, np.load(npz)["index"])
    import json
    doc = json.loads(summary.stdout)
    assert doc["shape"] == [6, 7, 5]
    assert doc["orientations"] == 16
    assert doc["queries"] == 210 * 16
    assert doc["reachablePositions"] == int((index > 0).sum())
    assert doc["meanIndex"] == pytest.approx(index.mean(), rel=1e-12)


@pytest.mark.parametrize("args, message", [
    (["--step", "0"], "zorrob reach: reach grid step must be positive and finite\n"),
    (["--step", "300", "--out", "map.txt"],
     "zorrob reach: --out must name a .npy or .npz file, got 'map.txt'\n"),
])
def test_bad_input_is_one_line(tool_path, tmp_path, args, message):
    base = ["reach", "--min", "0", "0", "0", "--max", "10", "10", "10"]
    if "--out" not in args:
        args = args + ["--out", str(tmp_path / "m.npy")]
    done = subprocess.run([tool_path, *base, *args], capture_output=True, text=True,
                          cwd=tmp_path)
    assert done.stdout == ""
    assert done.stderr == message


def test_place_ranks_the_bases_and_the_identity_base_is_the_plain_audit(tool_path):
    import json
    program = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "audit", "cell.json")
    done = run(tool_path, "place", program, "--x", "-100", "100", "--y", "-100", "100", "--step",
               "100", "--turn", "-10", "10", "10", "--top", "100", "--json")
    assert done.stderr == ""
    doc = json.loads(done.stdout)
    assert doc["candidates"] == 27
    ranked = doc["ranked"]
    assert len(ranked) == 27
    assert sorted(r["candidate"] for r in ranked) == list(range(27))
    keys = [(-r["share"], r["events"], -r["worstManipulability"], r["cycleTime"], r["candidate"])
            for r in ranked]
    assert keys == sorted(keys)
    # x slowest, then y, then the turn: candidate 13 is the base at the origin, unturned.
    origin = next(r for r in ranked if r["candidate"] == 13)
    assert (origin["x"], origin["y"], origin["turn"]) == (0, 0, 0)
    audit = subprocess.run([tool_path, "audit", program, "--json"], capture_output=True,
                           text=True)
    plain = json.loads(audit.stdout)
    assert origin["events"] == len(plain["events"])
    assert origin["cycleTime"] == plain["duration"]
    assert origin["reached"] == sum(m["reached"] for m in plain["moves"])
