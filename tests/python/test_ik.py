"""The inverse kinematics: round trips through the forward kinematics, the queries and their
verdicts, the tool and work-object frames, and the batch against the scalar call."""

import math

import numpy as np
import pytest

import zorrob as z
from conftest import random_joints

COUNT = 10_000


def pose_of(arm, joints):
    return arm.get_rob_target(z.RobJoint(*joints)).pose


def position_error(arm, joints, pose):
    p = arm.get_wrist_pose_in_base(joints).translation
    return math.dist(tuple(p), tuple(pose.pos))


def test_every_solution_reproduces_the_pose_and_the_original_is_among_them(arm, rng):
    for joints in random_joints(rng, arm, 50):
        pose = pose_of(arm, joints)
        solutions = arm.get_all_joint_solutions(pose)
        assert isinstance(solutions, z.TargetConfiguration) and len(solutions) >= 1
        nearest = min(np.max(np.abs(np.array(s.values) - joints)) for s in solutions.joints)
        assert nearest < 1e-6
        for s, conf in zip(solutions.joints, solutions.confs):
            assert position_error(arm, s, pose) < 1e-9
            assert conf == z.ConfData.from_rob_joint(s, arm)


def test_queries_in_a_configuration_and_nearest(arm):
    joints = [10, 20, -30, 40, 50, 60]
    target = arm.get_rob_target(joints)
    solution = arm.get_joint_solution(target)
    assert solution is not None
    assert solution.values == pytest.approx(joints, abs=1e-6)
    nearest = arm.get_nearest_joint_solution(target.pose, z.RobJoint(joints))
    assert nearest.values == pytest.approx(joints, abs=1e-6)
    found = arm.find_joint_solution(target)
    assert found.found() and found.status == z.IkStatus.found
    assert found.joints == solution and found.conf == target.robConf
    assert arm.find_nearest_joint_solution(target.pose, z.RobJoint(joints)).found()
    seeded = arm.get_all_joint_solutions(target.pose, z.RobJoint(joints))
    assert len(seeded) == len(arm.get_all_joint_solutions(target.pose))


def test_unreachable_pose_has_no_solution_and_says_why(arm):
    far = z.RobTarget(z.Pose(z.Pos(5000, 0, 0), z.Orient()))
    assert arm.get_joint_solution(far) is None
    assert len(arm.get_all_joint_solutions(far.pose)) == 0
    verdict = arm.find_joint_solution(far)
    assert not verdict.found()
    assert verdict.status == z.IkStatus.outOfReach
    assert verdict.status.to_string() == "out of reach"
    assert verdict.joints == z.RobJoint() and verdict.conf == z.ConfData()
    assert str(verdict) == "{{1e+09, 1e+09, 1e+09, 1e+09, 1e+09, 1e+09}, {0, 0, 0, 0}, out of reach}"


def test_ik_status_texts():
    assert [s.to_string() for s in (z.IkStatus.found, z.IkStatus.outOfReach,
                                    z.IkStatus.outsideJointLimits,
                                    z.IkStatus.noSolutionInConfiguration)] == [
        "found", "out of reach", "outside the joint limits",
        "no solution in the requested configuration"]


def test_tool_and_work_object_frames(arm):
    tool = z.ToolData(True, z.Pose(z.Pos(0, 0, 100), z.Orient()), z.LoadData())
    wobj = z.WObjData(False, True, "", z.Pose(z.Pos(100, 0, 0), z.Orient()), z.Pose())
    target = z.Pose(z.Pos(800, 50, 900), z.Orient(0.707107, 0, 0.707107, 0))
    flange = z.flange_pose_of_target(target, tool, wobj)
    # Through the work object (+100 mm along x), then back along the tool's z (base -x here).
    assert tuple(flange.pos) == pytest.approx((800, 50, 900), abs=1e-4)
    back = z.target_of_flange_pose(flange, tool, wobj)
    assert tuple(back.pos) == pytest.approx(tuple(target.pos), abs=1e-9)
    solutions = arm.get_all_joint_solutions(target, tool, wobj)
    direct = arm.get_all_joint_solutions(flange)
    assert solutions.joints == direct.joints
    with_frames = arm.get_joint_solution(z.RobTarget(target, z.ConfData(0, 0, 0, 0)), tool, wobj)
    verdict = arm.find_joint_solution(z.RobTarget(target, z.ConfData(0, 0, 0, 0)), tool, wobj)
    assert (with_frames is not None) == verdict.found()


def test_frame_errors_carry_the_library_messages(arm):
    both_held = z.WObjData(True, True, "", z.Pose(), z.Pose())
    with pytest.raises(ValueError, match="^tool and work object both held or both fixed$"):
        z.flange_pose_of_target(z.Pose(), z.ToolData(), both_held)
    with pytest.raises(ValueError, match="^normalize quaternion of 0 magnitude$"):
        arm.get_all_joint_solutions(z.Pose(z.Pos(800, 0, 900), z.Orient(0, 0, 0, 0)))


def test_batch_equals_the_scalar_call(arm):
    joints = random_joints(np.random.default_rng(5), arm, COUNT)
    positions, quaternions = arm.forward_kinematics(joints)
    solutions, confs, owners = arm.all_joint_solutions(positions, quaternions)
    assert solutions.shape[1] == 6 and confs.shape[1] == 4
    assert len(solutions) == len(confs) == len(owners) >= COUNT
    assert confs.dtype == np.int32 and owners.dtype == np.int64
    start = 0
    for k in range(COUNT):
        pose = z.Pose(z.Pos(*positions[k]), z.Orient(*quaternions[k]))
        scalar = arm.get_all_joint_solutions(pose)
        end = start + len(scalar)
        assert (owners[start:end] == k).all()
        assert solutions[start:end].tolist() == [j.values for j in scalar.joints]
        assert confs[start:end].tolist() == [[c.cf1, c.cf4, c.cf6, c.cfx] for c in scalar.confs]
        start = end
    assert start == len(solutions)


def test_batch_input_errors(arm):
    with pytest.raises(ValueError, match=r"^positions: expected an \(N, 3\) array of real numbers \(float64\), got shape \(2, 2\)$"):
        arm.all_joint_solutions(np.zeros((2, 2)), np.zeros((2, 4)))
    with pytest.raises(ValueError, match="^positions and quaternions: expected the same number of rows, got 2 and 3$"):
        arm.all_joint_solutions(np.zeros((2, 3)), np.zeros((3, 4)))
    # A NaN row is named, as a zero quaternion is (test_batches.py), instead of vanishing.
    nan = np.full((2, 3), np.nan)
    with pytest.raises(ValueError, match=r"^row 0: the position must be finite$"):
        arm.all_joint_solutions(nan, np.tile([1.0, 0, 0, 0], (2, 1)))


def test_all_solutions_with_the_verdict(arm):
    target = arm.get_rob_target([10, 20, -30, 40, 50, 60])
    status, solutions = arm.find_all_joint_solutions(target.pose)
    assert status == z.IkStatus.found
    assert solutions.joints == arm.get_all_joint_solutions(target.pose).joints
    status, solutions = arm.find_all_joint_solutions(z.Pose(z.Pos(5000, 0, 0), z.Orient()),
                                                     z.RobJoint(0, 0, 0, 0, 0, 0))
    assert status == z.IkStatus.outOfReach and len(solutions) == 0


def collaborative_arm():
    """The 10 kg class collaborative arm, axes and points worked out by hand: joints 2 to 4
    parallel, the wrist offset; the flange at the meeting point of axes 5 and 6."""
    y, zz = z.Vec3(0, -1, 0), z.Vec3(0, 0, -1)
    wrist = z.Pos(-1184.3, -163.941, 11.6)
    points = [z.Pos(), z.Pos(0, 0, 127.3), z.Pos(-612, 0, 127.3), z.Pos(-1184.3, -163.941, 127.3),
              wrist, wrist]
    return z.make_robot_config([z.Vec3(0, 0, 1), y, y, y, zz, y], points,
                               z.Transform(z.Rotation(), z.Vec3(-1184.3, -163.941, 11.6)),
                               [-180.0] * 6 + [-360.0], [180.0] * 6 + [360.0],
                               z.RobJoint([0] * 6),
                               math.atan2(115.7, 572.3), 0)


def test_ik_method_of_each_kind_of_arm(arm):
    assert arm.ik_method() == z.IkMethod.sphericalWristClosedForm
    assert collaborative_arm().ik_method() == z.IkMethod.threeParallelClosedForm
    assert [m.to_string() for m in (z.IkMethod.sphericalWristClosedForm,
                                    z.IkMethod.threeParallelClosedForm, z.IkMethod.search,
                                    z.IkMethod.numerical)] == [
        "spherical-wrist closed form", "three-parallel-axes closed form", "search over joint 4",
        "numerical from seeds"]


def test_collaborative_arm_lists_the_joints_the_pose_came_from(rng):
    robot = collaborative_arm()
    for _ in range(20):
        joints = z.RobJoint(*rng.uniform(-180, 180, 6))
        pose = robot.get_rob_target(joints).pose
        solutions = robot.get_all_joint_solutions(pose)
        assert 1 <= len(solutions) <= 8
        assert min(max(abs(a - b) for a, b in zip(s.values, joints.values))
                   for s in solutions.joints) < 1e-6


@pytest.mark.parametrize("bad", [math.nan, math.inf, -math.inf])
def test_a_seed_that_is_not_finite_is_refused(arm, bad):
    pose = pose_of(arm, [10, 20, 30, 30, 40, 50])
    seed = z.RobJoint(10, 20, 30, bad, 40, 50)
    with pytest.raises(ValueError, match="^seed joint 4 must be a finite number$"):
        arm.find_nearest_joint_solution(pose, seed)
    with pytest.raises(ValueError, match="^seed joint 4 must be a finite number$"):
        arm.get_all_joint_solutions(pose, seed)


def test_wide_limits_answer_by_arithmetic_and_refuse_too_long_lists(arm):
    arm.jointMin = [-1e6] * 6 + [-1e6]
    arm.jointMax = [1e6] * 6 + [1e6]
    pose = pose_of(arm, [10, 20, 30, 30, 40, 50])
    with pytest.raises(ValueError,
                       match="^the joint limits admit more than 100000 solutions of the pose$"):
        arm.get_all_joint_solutions(pose)
    # A seed ten turns out on joint 1 and joint 6: the same turns of the pose's joints.
    nearest = arm.find_nearest_joint_solution(pose, z.RobJoint(3610, 20, 30, 30, 40, 3650))
    assert nearest.found()
    assert nearest.joints.values == pytest.approx([3610, 20, 30, 30, 40, 3650], abs=1e-9)
    arm.jointMax = [1e6] * 5 + [math.inf, 1e6]
    with pytest.raises(ValueError, match="^the limits of joint 6 must lie within ±1e9 degrees$"):
        arm.find_joint_solution(arm.get_rob_target([10, 20, 30, 30, 40, 50]))


def test_an_imported_arm_solves_poses_of_its_described_flange():
    rows = [[0, 90, 127.3, 0], [-612, 0, 0, 0], [-572.3, 0, 0, 0], [0, 90, 163.941, 0],
            [0, -90, 115.7, 0], [0, 0, 92.2, 0]]
    imported = z.arm_from_dh(z.DhTable(rows))
    assert imported.flange_moved()
    joints = z.RobJoint(10, -20, 30, -40, 50, -60)
    t = imported.user_flange_pose(joints)
    r = t.rotation
    described = z.Pose(z.Pos(t.translation.x, t.translation.y, t.translation.z),
                       z.Orient(r.w, r.x, r.y, r.z))
    listed = imported.get_all_joint_solutions(described)
    assert min(max(abs(a - b) for a, b in zip(s.values, joints.values))
               for s in listed.joints) < 1e-6
    nearest = imported.find_nearest_joint_solution(described, joints)
    assert nearest.joints.values == pytest.approx(joints.values, abs=1e-6)
    target = z.RobTarget(described)
    target.robConf = z.ConfData.from_rob_joint(joints, imported.robot)
    # The first solution in list order in that configuration (joints 2 and 3 have other turns).
    found = imported.find_joint_solution(target)
    assert found.found() and found.conf == target.robConf
    reached = imported.user_flange_pose(found.joints).translation
    assert math.dist(tuple(reached), tuple(t.translation)) < 1e-6
    # The model's flange pose is 92.2 mm away: not a pose of the described flange here.
    model = imported.robot.get_rob_target(joints).pose
    assert all(max(abs(a - b) for a, b in zip(s.values, joints.values)) > 1e-3
               for s in imported.get_all_joint_solutions(model).joints)
