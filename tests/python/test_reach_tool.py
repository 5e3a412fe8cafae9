"""zorrob reach writes files that numpy reads; the counts in them match the module's own batch
inverse kinematics, query by query."""

import json
import os
import subprocess

import numpy as np
import pytest

import zorrob


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
    doc = json.loads(summary.stdout)
    assert doc["shape"] == [6, 7, 5]
    assert doc["orientations"] == 16
    assert doc["queries"] == 210 * 16
    assert doc["reachablePositions"] == int((index > 0).sum())
    assert doc["meanIndex"] == pytest.approx(index.mean(), rel=1e-12)


# A tiny grid that misses y = 0, where joint 1 would stand at zero: 4 x 5 x 4 positions.
TINY = ["--min", "300", "-850", "200", "--max", "1500", "850", "1400", "--step", "400"]
TINY_CELLS = np.stack(np.meshgrid(np.arange(300.0, 1501, 400), np.arange(-850.0, 851, 400),
                                  np.arange(200.0, 1401, 400), indexing="ij"),
                      axis=-1).reshape(-1, 3)
QUATERNIONS = [(0.0, 0.0, 1.0, 0.0), (0.5, 0.5, 0.5, 0.5), (0.0, 0.6, 0.8, 0.0),
               (0.9238795325112867, 0.0, 0.3826834323650898, 0.0)]


def solutions_one_by_one(arm, tool=None, confs=()):
    """The solution count of every position and orientation of TINY, one scalar inverse
    kinematics call at a time, counting only the configurations `confs` when any are given."""
    counts = np.zeros((len(TINY_CELLS), len(QUATERNIONS)), dtype=int)
    for p, cell in enumerate(TINY_CELLS):
        for o, q in enumerate(QUATERNIONS):
            pose = zorrob.Pose(zorrob.Pos(*cell), zorrob.Orient(*q))
            found = (arm.get_all_joint_solutions(pose) if tool is None else
                     arm.get_all_joint_solutions(pose, tool, zorrob.WObjData()))
            counts[p, o] = sum(
                1 for joints, conf in zip(found.joints, found.confs)
                if not confs or any(conf.is_critical_equal(joints, c) for c in confs))
    return counts


def quaternion_args():
    return ["--quaternions"] + [repr(v) for q in QUATERNIONS for v in q]


def assert_counts(data, counts):
    shape = (4, 5, 4)
    np.testing.assert_array_equal(data["matrix"], counts.reshape(shape + (len(QUATERNIONS),)))
    reachable = (counts > 0).sum(axis=1).reshape(shape)
    np.testing.assert_array_equal(data["reachable"], reachable)
    np.testing.assert_array_equal(data["index"], reachable / len(QUATERNIONS))
    np.testing.assert_array_equal(data["orientations"], QUATERNIONS)


def test_given_quaternions_count_point_by_point(tool_path, tmp_path, arm):
    out = tmp_path / "given.npz"
    run(tool_path, "reach", *TINY, *quaternion_args(), "--matrix", "--out", str(out))
    counts = solutions_one_by_one(arm)
    assert 0 < (counts > 0).sum() < counts.size
    assert_counts(np.load(out), counts)


def test_quaternions_whose_squared_norm_overflows_are_their_rotations(tool_path, tmp_path, arm):
    out = tmp_path / "scaled.npz"
    scaled = ["--quaternions"] + [repr(v * 1e300) for q in QUATERNIONS for v in q]
    run(tool_path, "reach", *TINY, *scaled, "--matrix", "--out", str(out))
    counts = solutions_one_by_one(arm)
    data = np.load(out)
    np.testing.assert_array_equal(data["matrix"], counts.reshape((4, 5, 4, len(QUATERNIONS))))


def test_only_the_given_configurations_count(tool_path, tmp_path, arm):
    out = tmp_path / "confs.npz"
    run(tool_path, "reach", *TINY, *quaternion_args(), "--conf", "0", "0", "0", "0",
        "-1", "-1", "0", "1", "--matrix", "--out", str(out))
    confs = [zorrob.ConfData(0, 0, 0, 0), zorrob.ConfData(-1, -1, 0, 1)]
    counts = solutions_one_by_one(arm, confs=confs)
    every = solutions_one_by_one(arm)
    assert 0 < counts.sum() < every.sum()  # the filter keeps some solutions, not all
    assert_counts(np.load(out), counts)


def test_the_tool_centre_point_is_placed(tool_path, tmp_path, arm):
    out = tmp_path / "tool.npz"
    run(tool_path, "reach", *TINY, *quaternion_args(), "--tool", "0", "50", "200", "0.5", "0.5",
        "0.5", "0.5", "--matrix", "--out", str(out))
    tool = zorrob.ToolData(True, zorrob.Pose(zorrob.Pos(0, 50, 200),
                                             zorrob.Orient(0.5, 0.5, 0.5, 0.5)))
    counts = solutions_one_by_one(arm, tool=tool)
    assert not np.array_equal(counts, solutions_one_by_one(arm))
    assert_counts(np.load(out), counts)


def test_the_thread_count_changes_nothing_in_the_file(tool_path, tmp_path):
    files = []
    for threads in ("1", "2", "0"):
        out = tmp_path / f"t{threads}.npz"
        doc = json.loads(run(tool_path, "reach", *BOX, "--directions", "5", "--matrix",
                             "--threads", threads, "--out", str(out), "--json").stdout)
        assert doc["threads"] == int(threads)
        files.append(out.read_bytes())
    assert files[0] == files[1] == files[2]


def test_an_orientations_file_gives_the_map_of_the_same_quaternions(tool_path, tmp_path):
    listed = tmp_path / "q.json"
    listed.write_text(json.dumps({"quaternions": QUATERNIONS}))
    from_file, from_option = tmp_path / "file.npz", tmp_path / "option.npz"
    run(tool_path, "reach", *TINY, "--orientations", str(listed), "--matrix", "--out",
        str(from_file))
    run(tool_path, "reach", *TINY, *quaternion_args(), "--matrix", "--out", str(from_option))
    assert from_file.read_bytes() == from_option.read_bytes()


@pytest.mark.parametrize("text, message", [
    ("{", " is not valid JSON: [json.exception.parse_error.101] parse error at line 1, column "
          "2: syntax error while parsing object key - unexpected end of input; expected string "
          "literal"),
    ("[[1, 0, 0, 0]]", ": the document must be a JSON object"),
    ("{}", ": 'quaternions' is missing"),
    ('{"quaternions": [[1, 0, 0, 0]], "turns": 2}', ": 'turns' is not a known key"),
    ('{"quaternions": 3}', ": 'quaternions' must be an array of quaternions"),
    ('{"quaternions": []}', ": 'quaternions' holds no orientation"),
    ('{"quaternions": [[1, 0, 0, 0], [1, 0, 0]]}',
     ": 'quaternions[1]' must be an array of 4 numbers"),
    ('{"quaternions": [[1, 0, "0", 0]]}', ": 'quaternions[0][2]' must be a number"),
    ('{"quaternions": [[1, 0, 0, 0], [0, 0.0001, 0, 0]]}',
     ": 'quaternions[1]' is a zero quaternion"),
])
def test_a_bad_orientations_file_is_one_line(tool_path, tmp_path, text, message):
    listed = tmp_path / "q.json"
    listed.write_text(text)
    done = subprocess.run([tool_path, "reach", *TINY, "--orientations", "q.json", "--out",
                           "m.npy"], capture_output=True, text=True, cwd=tmp_path)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == "zorrob reach: orientations file 'q.json'" + message + "\n"


def test_too_many_orientations_in_a_file_are_refused(tool_path, tmp_path):
    listed = tmp_path / "q.json"
    listed.write_text('{"quaternions": [' + ",".join(["[1,0,0,0]"] * 1_000_001) + "]}")
    done = subprocess.run([tool_path, "reach", *TINY, "--orientations", str(listed), "--out",
                           str(tmp_path / "m.npy")], capture_output=True, text=True)
    assert done.returncode == 1
    assert done.stderr == (f"zorrob reach: orientations file '{listed}': 'quaternions' holds "
                           "more than 1000000 orientations\n")


@pytest.mark.parametrize("args, message", [
    (["--step", "0"], "zorrob reach: reach grid step must be positive and finite\n"),
    (["--step", "300", "--out", "map.txt"],
     "zorrob reach: --out must name a .npy or .npz file, got 'map.txt'\n"),
    (["--step", "1", "--quaternions", "0", "0", "1"],
     "zorrob reach: --quaternions takes groups of 4 numbers (Q1 Q2 Q3 Q4), got 3\n"),
    (["--step", "1", "--quaternions", "0", "0", "1", "0", "0", "0", "0", "0"],
     "zorrob reach: --quaternions orientation 2 is a zero quaternion\n"),
    (["--step", "1", "--tool", "0", "0", "100", "0", "0", "0", "0"],
     "zorrob reach: --tool is a zero quaternion\n"),
    (["--step", "1", "--quaternions", "1", "0", "0", "x"],
     "zorrob reach: --quaternions orientation 1 Q4 is not a number: 'x'\n"),
    (["--step", "1", "--quaternions", "1", "0", "0", "0", "--directions", "4"],
     "zorrob reach: give the orientations one way: --quaternions, --orientations or "
     "--directions and --turns\n"),
    (["--step", "1", "--turns", "2", "--quaternions", "1", "0", "0", "0"],
     "zorrob reach: give the orientations one way: --quaternions, --orientations or "
     "--directions and --turns\n"),
    (["--step", "1", "--orientations", "q.json", "--directions", "2"],
     "zorrob reach: give the orientations one way: --quaternions, --orientations or "
     "--directions and --turns\n"),
    (["--step", "1", "--orientations", "q.json", "--quaternions", "1", "0", "0", "0"],
     "zorrob reach: give the orientations one way: --quaternions, --orientations or "
     "--directions and --turns\n"),
    (["--step", "1", "--conf", "0", "0", "0"],
     "zorrob reach: --conf takes groups of 4 whole numbers (CF1 CF4 CF6 CFX), got 3\n"),
    (["--step", "1", "--conf", "0", "0", "0", "1", "0", "0", "0", "8"],
     "zorrob reach: --conf configuration 2 CFX must be a whole number from 0 to 7, got '8'\n"),
    (["--step", "1", "--conf", "0", "0", "a", "1"],
     "zorrob reach: --conf configuration 1 CF6 is not a whole number from -1000 to 1000: "
     "'a'\n"),
    (["--step", "1", "--threads", "257"],
     "zorrob reach: --threads must be a whole number from 0 to 256, got '257'\n"),
    (["--step", "1", "--directions", "0"],
     "zorrob reach: --directions must be a whole number from 1 to 1000000, got '0'\n"),
    (["--step", "1", "--turns", "1.5"],
     "zorrob reach: --turns is not a whole number from 1 to 1000000: '1.5'\n"),
])
def test_bad_input_is_one_line(tool_path, tmp_path, args, message):
    base = ["reach", "--min", "0", "0", "0", "--max", "10", "10", "10"]
    if "--out" not in args:
        args = args + ["--out", str(tmp_path / "m.npy")]
    done = subprocess.run([tool_path, *base, *args], capture_output=True, text=True,
                          cwd=tmp_path)
    assert done.stdout == ""
    assert done.stderr == message
    # A command line the tool cannot run exits with 2, a grid the library rejects with 1.
    assert done.returncode == (1 if "reach grid" in message else 2)


def test_place_ranks_the_bases_and_the_identity_base_is_the_plain_audit(tool_path):
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
