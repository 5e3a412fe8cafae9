"""The numpy batches: equal to the scalar calls bit for bit, converting or rejecting their
input, and giving the same results from several threads at once."""

import threading

import numpy as np
import pytest

import zorrob as z
from conftest import random_joints

COUNT = 10_000


@pytest.fixture(scope="module")
def joints():
    return random_joints(np.random.default_rng(12), z.default_arm(), COUNT)


def test_forward_kinematics_equals_the_scalar_call(arm, joints):
    positions, quaternions = arm.forward_kinematics(joints)
    assert positions.shape == (COUNT, 3) and quaternions.shape == (COUNT, 4)
    assert positions.dtype == np.float64 and quaternions.dtype == np.float64
    for row, p, q in zip(joints, positions, quaternions):
        t = arm.get_wrist_pose_in_base(z.RobJoint(*row))
        r = t.rotation
        assert p.tolist() == [t.translation.x, t.translation.y, t.translation.z]
        assert q.tolist() == [r.w, r.x, r.y, r.z]


@pytest.mark.parametrize("body", [False, True])
def test_jacobians_equal_the_scalar_call(arm, joints, body):
    batch = arm.body_jacobians(joints) if body else arm.space_jacobians(joints)
    assert batch.shape == (COUNT, 6, 6)
    scalar = arm.get_body_jacobian if body else arm.get_space_jacobian
    for row, jac in zip(joints, batch):
        assert np.array_equal(jac, scalar(z.RobJoint(*row)))


def test_configurations_equal_the_scalar_call(arm, joints):
    confs = arm.configurations(joints)
    assert confs.shape == (COUNT, 4) and confs.dtype == np.int32
    for row, c in zip(joints, confs):
        conf = z.ConfData.from_rob_joint(z.RobJoint(*row), arm)
        assert c.tolist() == [conf.cf1, conf.cf4, conf.cf6, conf.cfx]


def test_circle_samples_equal_the_scalar_calls():
    circle = z.TPCircle(z.Vec3(10, -20, 5), z.Vec3(150, 40, 80), z.Vec3(260, -30, 10))
    t = np.random.default_rng(3).uniform(-0.5, 1.5, COUNT)
    points, tangents = circle.get_points(t), circle.get_tangents(t)
    assert points.shape == tangents.shape == (COUNT, 3)
    oris = (z.Orient(1, 0, 0, 0), z.Orient(0.92388, 0, 0.382683, 0), z.Orient(0, 1, 0, 0))
    modes = {"cirpoint": circle.get_ori_in_cir_point_ori_mode,
             "path": circle.get_ori_in_path_frame, "object": circle.get_ori_in_object_frame}
    batches = {mode: circle.get_orientations(mode, t, *oris) for mode in modes}
    for k, f in enumerate(t):
        assert points[k].tolist() == list(circle.get_point(f))
        assert tangents[k].tolist() == list(circle.get_tangent(f))
        for mode, scalar in modes.items():
            assert batches[mode][k].tolist() == list(scalar(f, *oris))


def test_other_layouts_and_real_dtypes_are_converted(arm, joints):
    sample = joints[:100]
    expected = arm.forward_kinematics(sample)
    for variant in (np.asfortranarray(sample), np.repeat(sample, 2, axis=0)[::2],
                    sample.tolist(), tuple(map(tuple, sample))):
        got = arm.forward_kinematics(variant)
        assert np.array_equal(got[0], expected[0]) and np.array_equal(got[1], expected[1])
    whole = np.rint(sample).astype(np.int32)
    got = arm.forward_kinematics(whole)
    assert np.array_equal(got[0], arm.forward_kinematics(whole.astype(float))[0])
    single = arm.forward_kinematics(sample.astype(np.float32))
    assert np.array_equal(single[0], arm.forward_kinematics(sample.astype(np.float32).astype(float))[0])


def test_empty_batches_give_empty_arrays(arm):
    positions, quaternions = arm.forward_kinematics(np.empty((0, 6)))
    assert positions.shape == (0, 3) and quaternions.shape == (0, 4)
    assert arm.space_jacobians(np.empty((0, 6))).shape == (0, 6, 6)
    circle = z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))
    assert circle.get_points([]).shape == (0, 3)


EXPECTED_ROWS = r"^joints: expected an \(N, 6\) array of real numbers \(float64\), got "


@pytest.mark.parametrize("bad,got", [
    (np.zeros((3, 5)), r"shape \(3, 5\)$"),
    (np.zeros(6), r"shape \(6,\)$"),
    (np.zeros((2, 6, 1)), r"shape \(2, 6, 1\)$"),
    (np.zeros((2, 6), dtype=complex), r"dtype complex128$"),
    (np.array([["a"] * 6]), r"dtype <U1$"),
    (np.array([[object()] * 6], dtype=object), r"dtype object$"),
    ("text", r"dtype <U4$"),
    (None, r"dtype object$"),
])
def test_wrong_input_raises_value_error_saying_what_was_expected(arm, bad, got):
    for batch in (arm.forward_kinematics, arm.space_jacobians, arm.body_jacobians,
                  arm.configurations):
        with pytest.raises(ValueError, match=EXPECTED_ROWS + got):
            batch(bad)


def test_wrong_fractions_raise_value_error():
    circle = z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))
    with pytest.raises(ValueError, match=r"^t: expected an \(N,\) array of real numbers \(float64\), got shape \(2, 2\)$"):
        circle.get_points(np.zeros((2, 2)))
    with pytest.raises(ValueError, match=r"^mode: expected 'cirpoint', 'path' or 'object', got 'spin'$"):
        circle.get_orientations("spin", [0.5], z.Orient(), z.Orient(), z.Orient())


def test_nan_joints_give_nan_results(arm):
    joints = np.full((2, 6), np.nan)
    positions, quaternions = arm.forward_kinematics(joints)
    assert np.isnan(positions).all()
    assert arm.configurations(joints).shape == (2, 4)


@pytest.mark.parametrize("huge", [1e308, -1.7976931348623157e308])
def test_huge_finite_joints_give_finite_poses(arm, huge):
    # Degrees whose product with pi overflows still stand for a finite angle.
    joints = np.full((6, 6), 10.0)
    np.fill_diagonal(joints, huge)
    positions, quaternions = arm.forward_kinematics(joints)
    assert np.isfinite(positions).all() and np.isfinite(quaternions).all()
    assert np.allclose(np.linalg.norm(quaternions, axis=1), 1.0, rtol=0, atol=1e-12)
    assert np.isfinite(arm.space_jacobians(joints)).all()


def test_threads_running_batches_get_the_same_results(arm, joints):
    expected_fk = arm.forward_kinematics(joints)
    expected_jac = arm.space_jacobians(joints[:2000])
    results = [None] * 4
    errors = []

    def work(k):
        try:
            for _ in range(3):
                fk = arm.forward_kinematics(joints)
                jac = arm.space_jacobians(joints[:2000])
            results[k] = (fk, jac)
        except Exception as error:  # reported below
            errors.append(error)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(len(results))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not errors
    for fk, jac in results:
        assert np.array_equal(fk[0], expected_fk[0]) and np.array_equal(fk[1], expected_fk[1])
        assert np.array_equal(jac, expected_jac)


# One rule for rows that cannot be solved: the batch stops with a ValueError naming the row.
@pytest.mark.parametrize("position, quaternion, message", [
    ([800, 0, 900], [0, 0, 0, 0], "row 2: normalize quaternion of 0 magnitude"),
    ([800, float("nan"), 900], [1, 0, 0, 0], "row 2: the position must be finite"),
    ([800, 0, 900], [float("inf"), 0, 0, 0], "row 2: the quaternion must be finite"),
])
def test_a_bad_row_stops_the_ik_batch_naming_it(arm, position, quaternion, message):
    positions = np.array([[800, 0, 900], [900, 0, 800], position], dtype=float)
    quaternions = np.array([[0, 0, 1, 0], [0, 0, 1, 0], quaternion], dtype=float)
    with pytest.raises(ValueError) as raised:
        arm.all_joint_solutions(positions, quaternions)
    assert str(raised.value) == message


def test_unreachable_rows_are_no_error(arm):
    positions = np.array([[800, 0, 900], [1e5, 0, 0]], dtype=float)
    quaternions = np.array([[0, 0, 1, 0], [0, 0, 1, 0]], dtype=float)
    joints, confs, owners = arm.all_joint_solutions(positions, quaternions)
    assert len(joints) > 0 and set(owners.tolist()) == {0}


def test_ik_batch_progress_can_stop_it(arm, joints):
    positions, quaternions = arm.forward_kinematics(joints)
    seen = []
    full = arm.all_joint_solutions(positions, quaternions, progress=seen.append)
    assert seen[0] == 0.0 and seen[-1] == 1.0 and seen == sorted(seen)
    stopped = arm.all_joint_solutions(positions, quaternions, progress=lambda f: f < 0.5)
    # Whole chunks of 256 rows: the batch stops at the first check past one half.
    done = int(stopped[2].max()) + 1
    assert COUNT // 2 <= done < COUNT // 2 + 512
    assert np.array_equal(stopped[0], full[0][full[2] < done])
