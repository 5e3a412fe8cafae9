"""The arm model: builders, forward kinematics, Jacobians, singularities, limits and
configurations, compared with the zorrob tool, a product of exponentials written with numpy
and finite differences."""

import math

import numpy as np
import pytest

import zorrob as z
from conftest import random_joints

GEOMETRY = dict(a1=150, a2=-110, b=0, c1=450, c2=600, c3=640, c4=100)


def rodrigues(axis, angle):
    k = np.array([[0, -axis[2], axis[1]], [axis[2], 0, -axis[0]], [-axis[1], axis[0], 0]])
    return np.eye(3) + math.sin(angle) * k + (1 - math.cos(angle)) * k @ k


def reference_flange(joints_deg):
    """The default arm's flange pose as a 4x4 matrix: each joint turns about its axis through
    its point (the arm's geometry written out by hand), then the home flange frame."""
    g = GEOMETRY
    wrist = (g["a1"] + g["c3"], g["b"], g["c1"] + g["c2"] + g["a2"])
    axes = [(0, 0, 1), (0, 1, 0), (0, 1, 0), (1, 0, 0), (0, 1, 0), (1, 0, 0)]
    points = [(0, 0, 0), (g["a1"], g["b"], g["c1"]), (g["a1"], g["b"], g["c1"] + g["c2"]),
              wrist, wrist, wrist]
    total = np.eye(4)
    for axis, point, value in zip(axes, points, joints_deg):
        rot = rodrigues(np.array(axis, float), math.radians(value))
        step = np.eye(4)
        step[:3, :3] = rot
        step[:3, 3] = np.array(point) - rot @ np.array(point)
        total = total @ step
    home = np.eye(4)
    home[:3, :3] = rodrigues(np.array([0.0, 1.0, 0.0]), math.pi / 2)
    home[:3, 3] = (wrist[0] + g["c4"], wrist[1], wrist[2])
    return total @ home


def matrix_of(transform):
    r = transform.rotation
    m = np.eye(4)
    for col, e in enumerate(np.eye(3)):
        m[:3, col] = list(transform.transform(z.Vec3(*e)))
    m[:3, 3] = list(transform.translation)
    return m


def test_default_arm_fields(arm):
    assert arm.jointMin == [-170, -90, -175, -180, -125, -360, -170]
    assert arm.jointMax == [170, 150, 70, 180, 125, 360, 170]
    assert arm.homeJoint == z.RobJoint(0, 0, 0, 0, 0, 0)
    assert arm.sphericalWrist
    assert arm.jointCoupling == 0
    assert arm.elbowOffset == pytest.approx(math.pi / 2 - math.atan2(-110, 640))
    assert arm.jointAxes[0] == z.Vec3(0, 0, 1)
    assert arm.jointPoints[1] == z.Pos(150, 0, 450)
    assert arm.spaceScrewAxes[1] == z.ScrewAxis(arm.jointAxes[1], arm.jointPoints[1])
    assert len(arm.bodyScrewAxes) == 6
    assert arm.get_wcp_z_offset() == 100.0
    assert z.default_arm_geometry() == z.OrthoParallelGeometry(**GEOMETRY)
    assert str(z.default_arm_geometry()) == "{a1 150, a2 -110, b 0, c1 450, c2 600, c3 640, c4 100}"
    assert repr(arm) == "<zorrob.RobotConfig flange home {{890, 0, 940}, {0.707107, 0, 0.707107, 0}}>"


def test_forward_kinematics_matches_the_product_of_exponentials(arm, rng):
    for joints in random_joints(rng, arm, 50):
        expected = reference_flange(joints)
        got = matrix_of(arm.get_wrist_pose_in_base(z.RobJoint(*joints)))
        assert got == pytest.approx(expected, abs=1e-9)


def test_rob_target_and_configuration_match_the_tool(arm, tool):
    for joints in ([10, 20, -30, 40, 50, 60], [100, -20, 30, -140, -50, 200],
                   [-160, 80, -100, 170, 100, -300]):
        out = dict()
        section = ""
        for line in tool("fk", *joints).splitlines():
            key, _, value = line.strip().partition(" ")
            if not line.startswith(" "):
                section = key
            out[(section, key)] = value.strip()
        target = arm.get_rob_target(joints)
        conf = z.ConfData.from_rob_joint(z.RobJoint(joints), arm)
        assert target.robConf == conf
        assert target.to_string() == out[("target", "target")]
        assert target.to_ostrel_string() == out[("target", "Ostrel")]
        assert target.to_stream_string() == out[("target", "stream")]
        assert conf.to_string() == out[("configuration", "configuration")]
        assert conf.to_ui_string() == out[("configuration", "UI")]
        assert conf.to_ostrel_string() == out[("configuration", "Ostrel")]
        assert conf.to_krl_string() == out[("configuration", "KRL")]
        assert conf.to_stream_string() == out[("configuration", "stream")]
        wcp = arm.tcp_to_wcp(target.pose)
        assert "(%.4f, %.4f, %.4f) mm" % tuple(wcp) == out[("wrist", "wrist")].replace("centre", "").strip()
        flange = target.pose
        singular = arm.is_conf_singular(z.RobJoint(joints), flange, 1e-3, 1e-3)
        assert singular.to_string() == out[("singularity", "singularity")]


def test_home_target(arm):
    home = arm.get_home_target()
    assert home.to_string() == ("{{890, 0, 940}, {0.707107, 0, 0.707107, 0}, {0, 0, 0, 0}, "
                                "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}")
    assert arm.get_home_joint() == arm.homeJoint


def twist_from(delta, h):
    """The twist of a small motion delta ≈ I + [V] h, as (w, v)."""
    d = (delta - np.eye(4)) / h
    w = np.array([d[2, 1] - d[1, 2], d[0, 2] - d[2, 0], d[1, 0] - d[0, 1]]) / 2
    return np.concatenate([w, d[:3, 3]])


@pytest.mark.parametrize("body", [False, True])
def test_jacobians_match_finite_differences(arm, rng, body):
    h = 1e-6  # radians
    for joints in random_joints(rng, arm, 10):
        jac = arm.get_body_jacobian(joints) if body else arm.get_space_jacobian(z.RobJoint(joints))
        assert isinstance(jac, np.ndarray) and jac.shape == (6, 6)
        base = reference_flange(joints)
        for i in range(6):
            plus, minus = joints.copy(), joints.copy()
            plus[i] += math.degrees(h)
            minus[i] -= math.degrees(h)
            tp, tm = reference_flange(plus), reference_flange(minus)
            if body:
                column = (twist_from(np.linalg.inv(base) @ tp, h) +
                          twist_from(np.linalg.inv(base) @ tm, -h)) / 2
            else:
                column = (twist_from(tp @ np.linalg.inv(base), h) +
                          twist_from(tm @ np.linalg.inv(base), -h)) / 2
            assert jac[:, i] == pytest.approx(column, abs=1e-5, rel=1e-6)


def test_tcp_velocity_is_the_twist_at_the_point(arm):
    joints = z.RobJoint(10, 20, -30, 40, 50, 60)
    speeds = [0.1, -0.2, 0.3, 0.4, -0.5, 0.6]
    twist = arm.get_space_jacobian(joints) @ np.array(speeds)
    point = np.array([900.0, 100.0, 950.0])
    expected = twist[3:] + np.cross(twist[:3], point)
    got = arm.get_tcp_velocity_in_space(z.Vec3(*point), joints, speeds)
    assert tuple(got) == pytest.approx(tuple(expected), abs=1e-9)


def test_singularities(arm):
    def singular(joints):
        flange = arm.get_rob_target(joints).pose
        return arm.is_conf_singular(z.RobJoint(joints), flange, 1e-3, 1e-3)

    assert singular([10, 20, -30, 40, 0, 60]) == z.SingularityType.wrist
    elbow = -math.degrees(arm.elbowOffset)
    assert singular([10, 20, elbow, 40, 50, 60]) == z.SingularityType.elbow
    assert singular([10, 20, -30, 40, 50, 60]) == z.SingularityType.none
    assert z.SingularityType.shoulder.to_string() == "shoulder"


def test_limits(arm):
    assert arm.is_joint_allowed(0, 170, 0)
    assert not arm.is_joint_allowed(0, 170.01, 0)
    assert arm.is_joint_allowed(6, -170, 0)
    assert not arm.is_joint_allowed(7, 0, 0)
    assert not arm.is_fixed_joint(0)
    fixed = z.default_arm()
    fixed.jointMin = [0, -90, -175, -180, -125, -360, -170]
    fixed.jointMax = [0, 150, 70, 180, 125, 360, 170]
    assert fixed.is_fixed_joint(0)
    assert arm.kJointLimitTolerance == 1e-6


def test_joint_and_link_transforms(arm):
    joints = z.RobJoint(10, 20, -30, 40, 50, 60)
    t = arm.get_joint_transform(90, 0)
    assert tuple(t.transform(z.Pos(1, 0, 0))) == pytest.approx((0, 1, 0), abs=1e-15)
    with pytest.raises(IndexError, match="^joint index 6 is outside 0..5$"):
        arm.get_joint_transform(0, 6)
    flange = arm.get_link_pose(joints, 6)
    assert matrix_of(flange) == pytest.approx(matrix_of(arm.get_wrist_pose_in_base(joints)))
    assert arm.get_link_pose(joints, 0) == z.Transform()


def test_builders_give_the_same_arm(arm):
    built = z.make_ortho_parallel_arm(z.OrthoParallelGeometry(**GEOMETRY), arm.jointMin,
                                      arm.jointMax, arm.homeJoint, 0)
    joints = z.RobJoint(10, 20, -30, 40, 50, 60)
    assert built.get_rob_target(joints) == arm.get_rob_target(joints)
    general = z.make_robot_config(arm.jointAxes, arm.jointPoints, arm.flangeHome, arm.jointMin,
                                  arm.jointMax, arm.homeJoint, arm.elbowOffset, 0)
    assert general.get_rob_target(joints) == arm.get_rob_target(joints)
    assert (general.get_body_jacobian(joints) == arm.get_body_jacobian(joints)).all()
    with pytest.raises(TypeError):
        z.make_robot_config(arm.jointAxes[:5], arm.jointPoints, arm.flangeHome, arm.jointMin,
                            arm.jointMax, arm.homeJoint, arm.elbowOffset, 0)


def test_hand_filled_record_needs_its_set_up():
    robot = z.RobotConfig()
    robot.jointAxes = [z.Vec3(0, 0, 1)] * 6
    robot.jointPoints = [z.Pos()] * 6
    robot.compute_screw_axis_in_tcp()
    assert robot.init_spherical_wrist()
    assert robot.sphericalWrist


def test_zero_joint_axis_raises_overflow_error():
    robot = z.RobotConfig()
    with pytest.raises(OverflowError, match=r"^0-length vector cannot be normalized\.$"):
        robot.get_wrist_pose_in_base(z.RobJoint(0, 0, 0, 0, 0, 0))


def test_solution_lists():
    solutions = z.TargetConfiguration()
    assert solutions.empty() and len(solutions) == 0
    solutions.add(z.RobJoint(1, 2, 3, 4, 5, 6), z.ConfData(0, 0, 0, 1))
    assert solutions.size() == 1
    assert solutions.joint(0) == z.RobJoint(1, 2, 3, 4, 5, 6)
    assert solutions.conf(0) == z.ConfData(0, 0, 0, 1)
    with pytest.raises(IndexError, match=r"^vector::_M_range_check: __n \(which is 1\) >= this->size\(\) \(which is 1\)$"):
        solutions.joint(1)
    coupled = solutions.to_target_configuration_a(z.KinematicConfig.Coupled23)
    assert coupled.joint(0).values == [1, 2, 5, 4, 5, 6]
    assert repr(coupled) == "<zorrob.TargetConfigurationA of 1 solutions>"
    solutions.clear()
    assert solutions.empty()
