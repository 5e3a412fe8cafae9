"""The importers: the three arms of the C++ import tests, imported from Python and compared bit for
bit with what the zorrob tool's C++ importers make of the same descriptions; the inverse
kinematics of imported arms; the flange conversions; and the library's messages for bad input."""

import json
import os
import math
import pathlib
import re

import pytest

import zorrob as z

IMPORT_TESTS = pathlib.Path(__file__).resolve().parent.parent / "import"


def urdf_texts():
    """The URDF documents of the C++ import tests, read from their header (the same text)."""
    header = (IMPORT_TESTS / "test_arms.hpp").read_text()
    return dict(re.findall(r'inline const std::string (k\w+Urdf) = R"\((.*?)\)";', header, re.S))


URDF = urdf_texts()

SMALL_LIMITS = dict(min=[-165, -110, -110, -160, -120, -360], max=[165, 110, 70, 160, 120, 360],
                    sumMin=-220, sumMax=180, home=[0] * 6, coupling=False)
LARGE_LIMITS = dict(min=[-185, -140, -120, -350, -125, -350], max=[185, -5, 168, 350, 125, 350],
                    sumMin=-260, sumMax=163, home=[0, -90, 90, 0, 0, 0], coupling=True)
COLLABORATIVE_LIMITS = dict(min=[-360, -360, -180, -360, -360, -360],
                            max=[360, 360, 180, 360, 360, 360], sumMin=-540, sumMax=540,
                            home=[0] * 6, coupling=False)

SMALL_DH = [[0, -90, 290, 0], [270, 0, 0, -90], [70, -90, 0, 0], [0, 90, 302, 0], [0, -90, 0, 0],
            [0, 0, 72, 180]]
COLLABORATIVE_DH = [[0, 90, 127.3, 0], [-612, 0, 0, 0], [-572.3, 0, 0, 0], [0, 90, 163.941, 0],
                    [0, -90, 115.7, 0], [0, 0, 92.2, 0]]
COLLABORATIVE_MODIFIED_DH = [[0, 0, 127.3, 0], [0, 90, 0, 0], [-612, 0, 0, 0],
                             [-572.3, 0, 163.941, 0], [0, 90, 115.7, 0], [0, -90, 92.2, 0]]
SMALL_LENGTHS = dict(a1=0, a2=70, b=0, c1=290, c2=270, c3=302, c4=72)
LARGE_LENGTHS = dict(a1=350, a2=-41, b=0, c1=675, c2=1150, c3=1200, c4=215)
LARGE_OFFSETS = [0, 90, -90, 0, 0, 0]
LARGE_SIGNS = [1, 1, 1, -1, 1, -1]


def arm_limits(limits):
    return z.ArmLimits(joint_min=limits["min"] + [limits["sumMin"]],
                       joint_max=limits["max"] + [limits["sumMax"]], home_joint=limits["home"],
                       joint_coupling=int(limits["coupling"]))


def arm_file_limits(limits):
    return {"limits": {key: limits[key] for key in ("min", "max", "sumMin", "sumMax")},
            "home": limits["home"], "coupling": limits["coupling"]}


def dh_form(rows, limits, convention="classic"):
    """(the arm imported in Python, the same arm as the tool's arm file)"""
    table = z.DhTable(rows, getattr(z.DhConvention, convention))
    document = {"name": "dh", "dh": {"convention": convention, "rows": rows},
                **arm_file_limits(limits)}
    return z.arm_from_dh(table, arm_limits(limits)), json.dumps(document), ".json"


def ortho_parallel_form(lengths, limits, offsets=(0,) * 6, signs=(1,) * 6):
    parameters = z.OrthoParallelParameters(z.OrthoParallelGeometry(**lengths), list(offsets),
                                           list(signs))
    document = {"name": "op", "ortho-parallel": {**lengths, "offsets": list(offsets),
                                                 "signs": list(signs)},
                **arm_file_limits(limits)}
    return (z.arm_from_ortho_parallel(parameters, arm_limits(limits)), json.dumps(document),
            ".json")


def urdf_form(name):
    return z.arm_from_urdf(URDF[name]), URDF[name], ".urdf"


FORMS = {
    "small DH": lambda: dh_form(SMALL_DH, SMALL_LIMITS),
    "small ortho-parallel": lambda: ortho_parallel_form(SMALL_LENGTHS, SMALL_LIMITS),
    "small URDF": lambda: urdf_form("kSmallArmUrdf"),
    "large ortho-parallel": lambda: ortho_parallel_form(LARGE_LENGTHS, LARGE_LIMITS,
                                                        LARGE_OFFSETS, LARGE_SIGNS),
    "large URDF": lambda: urdf_form("kLargeArmUrdf"),
    "collaborative DH": lambda: dh_form(COLLABORATIVE_DH, COLLABORATIVE_LIMITS),
    "collaborative modified DH": lambda: dh_form(COLLABORATIVE_MODIFIED_DH, COLLABORATIVE_LIMITS,
                                                 "modified"),
    "collaborative URDF": lambda: urdf_form("kCollaborativeArmUrdf"),
}


def vec(v):
    return [v.x, v.y, v.z]


def model_of(robot):
    """The model's fields laid out as the tool's `arm --json` writes them."""
    rotation = robot.flangeHome.rotation
    return {
        "spaceScrewAxes": [vec(s.w) + vec(s.v) for s in robot.spaceScrewAxes],
        "bodyScrewAxes": [vec(s.w) + vec(s.v) for s in robot.bodyScrewAxes],
        "jointMax": list(robot.jointMax),
        "jointMin": list(robot.jointMin),
        "homeJoint": list(robot.homeJoint.values),
        "jointPoints": [vec(p) for p in robot.jointPoints],
        "flangeHome": {"rotation": [rotation.w, rotation.x, rotation.y, rotation.z],
                       "translation": vec(robot.flangeHome.translation)},
        "jointAxes": [vec(a) for a in robot.jointAxes],
        "elbowOffset": robot.elbowOffset,
        "jointCoupling": robot.jointCoupling,
        "sphericalWrist": robot.sphericalWrist,
    }


def tool_arm_file(tmp_path, text, suffix):
    path = tmp_path / ("arm" + suffix)
    path.write_text(text)
    return path


# The tool builds an ortho-parallel arm without offsets and signs as the library's own arm, not
# through the importer; test_plain_parameter_set_is_the_librarys_own_arm covers that form.
@pytest.mark.parametrize("form", [form for form in FORMS if form != "small ortho-parallel"])
def test_each_form_gives_the_model_the_tool_imports(form, tool, tmp_path):
    arm, text, suffix = FORMS[form]()
    written = json.loads(tool("--arm", tool_arm_file(tmp_path, text, suffix), "arm", "--json"))
    # Shortest round-trip numbers in the JSON: equal floats are the same bits.
    assert model_of(arm.robot) == written["model"]
    assert arm.flange_moved() == written["arm"]["flangeMoved"]
    if arm.flange_moved():
        rotation = arm.user_flange.rotation
        assert written["arm"]["userFlange"] == {
            "position": vec(arm.user_flange.translation),
            "orientation": [rotation.w, rotation.x, rotation.y, rotation.z]}
    else:
        assert arm.user_flange == z.Transform()


def test_plain_parameter_set_is_the_librarys_own_arm():
    arm = FORMS["small ortho-parallel"]()[0]
    limits = arm_limits(SMALL_LIMITS)
    own = z.make_ortho_parallel_arm(z.OrthoParallelGeometry(**SMALL_LENGTHS), limits.joint_min,
                                    limits.joint_max, limits.home_joint, 0)
    imported, expected = model_of(arm.robot), model_of(own)
    assert abs(imported.pop("elbowOffset") - expected.pop("elbowOffset")) < 1e-12
    assert imported == expected
    assert not arm.flange_moved()


def test_forms_of_one_arm_agree_on_the_flange():
    """The DH table, the parameter set and the URDF of the small arm are one arm."""
    joints = z.RobJoint([10, -20, 30, -40, 50, -60])
    poses = [FORMS[form]()[0].user_flange_pose(joints)
             for form in ("small DH", "small ortho-parallel", "small URDF")]
    for pose in poses[1:]:
        assert math.dist(vec(pose.translation), vec(poses[0].translation)) < 1e-9


def flange_pose(arm, joints):
    t = arm.robot.get_wrist_pose_in_base(joints)
    r = t.rotation
    return z.Pose(z.Pos(*vec(t.translation)), z.Orient(r.w, r.x, r.y, r.z))


JOINTS = [[10, -20, 30, -40, 50, -60], [-35, 15, -25, 75, -65, 120], [120, 40, 10, -150, 30, 5],
          [20, -60, 40, 100, -45, 200], [-150, -100, 120, -20, 80, -300]]


def inside_limits(robot, values):
    # Joints 2 and 3 are checked with each other's value (their sum is limited when coupled).
    other = {1: values[2], 2: values[1]}
    return all(robot.is_joint_allowed(i, v, other.get(i, 0.0)) for i, v in enumerate(values))


@pytest.mark.parametrize("form", ["small DH", "small URDF", "large ortho-parallel",
                                  "large URDF"])
def test_inverse_kinematics_gives_back_the_joints_the_tool_finds(form, tool, tmp_path):
    arm, text, suffix = FORMS[form]()
    path = tool_arm_file(tmp_path, text, suffix)
    checked = 0
    for values in JOINTS:
        joints = z.RobJoint(values)
        if not inside_limits(arm.robot, values):
            continue
        checked += 1
        pose = flange_pose(arm, joints)
        solutions = arm.robot.get_all_joint_solutions(pose)
        found = [list(j.values) for j in solutions.joints]
        # The joints we started from are among the solutions.
        assert min(max(abs(a - b) for a, b in zip(s, values)) for s in found) < 1e-6
        written = json.loads(tool("--arm", path, "ik", "--json", *map(repr, [
            pose.pos.x, pose.pos.y, pose.pos.z, pose.orient.q1, pose.orient.q2, pose.orient.q3,
            pose.orient.q4])))
        assert written["status"] == "found"
        assert found == [s["joints"] for s in written["solutions"]]
    assert checked >= 1


def test_urdf_from_a_file_is_the_urdf_from_its_text(tmp_path):
    path = tmp_path / "small.urdf"
    path.write_text(URDF["kSmallArmUrdf"])
    from_text = z.arm_from_urdf(URDF["kSmallArmUrdf"], "base_link", "tool0")
    for arm in (z.arm_from_urdf_file(path, "base_link", "tool0"),
                z.arm_from_urdf_file(str(path), base="base_link", tip="tool0")):
        assert model_of(arm.robot) == model_of(from_text.robot)
    # Without the ends: the root "world" and the only leaf, as default_urdf_chain finds them.
    assert model_of(z.arm_from_urdf_file(path).robot) == model_of(
        z.arm_from_urdf(URDF["kSmallArmUrdf"], "world", "tool0").robot)
    assert model_of(z.arm_from_urdf_file(path, tip="tool0").robot) == model_of(
        z.arm_from_urdf(URDF["kSmallArmUrdf"], "world", "tool0").robot)


def test_default_urdf_chain_finds_the_root_and_the_leaf():
    ends = z.default_urdf_chain(URDF["kCollaborativeArmUrdf"])
    assert (ends.base, ends.tip) == ("world", "flange")
    assert str(ends) == "{world -> flange}"
    assert repr(z.UrdfChainEnds("a", "b")) == "<zorrob.UrdfChainEnds {a -> b}>"


def test_moved_flange_converts_both_ways():
    arm = FORMS["collaborative DH"]()[0]
    assert arm.flange_moved()
    assert arm.robot.get_wcp_z_offset() == 0.0
    joints = z.RobJoint([15, -35, 55, 75, -95, 115])
    user = arm.user_flange_pose(joints)
    assert user == arm.robot.get_wrist_pose_in_base(joints) * arm.user_flange
    # The described flange lies 92.2 mm along the library flange's z axis.
    assert math.dist(vec(arm.user_flange.translation), [0, 0, 92.2]) < 1e-9
    r = user.rotation
    back = arm.flange_pose_of_user_flange(
        z.Pose(z.Pos(*vec(user.translation)), z.Orient(r.w, r.x, r.y, r.z)))
    library = arm.robot.get_wrist_pose_in_base(joints)
    assert math.dist([back.pos.x, back.pos.y, back.pos.z], vec(library.translation)) < 1e-9
    q = library.rotation
    dot = back.orient.q1 * q.w + back.orient.q2 * q.x + back.orient.q3 * q.y + back.orient.q4 * q.z
    assert abs(abs(dot) - 1) < 1e-12


def test_records_take_keywords_and_keep_their_fields():
    limits = z.ArmLimits()
    assert list(limits.joint_min) == [-360] * 6 + [-720]
    assert list(limits.joint_max) == [360] * 6 + [720]
    assert list(limits.home_joint.values) == [0] * 6 and limits.joint_coupling == 0
    row = z.DhRow(a=1, alpha=2, d=3, theta_offset=4)
    assert (row.a, row.alpha, row.d, row.theta_offset) == (1, 2, 3, 4)
    assert str(row) == "{a 1, alpha 2, d 3, theta_offset 4}"
    table = z.DhTable()
    assert table.convention == z.DhConvention.classic
    assert [r.a for r in table.rows] == [0] * 6
    table.rows = [row] * 6
    assert table.rows[5].theta_offset == 4
    parameters = z.OrthoParallelParameters(z.OrthoParallelGeometry(**SMALL_LENGTHS))
    assert list(parameters.offsets) == [0] * 6 and list(parameters.signs) == [1] * 6
    assert z.ImportedArm().user_flange == z.Transform()


def small_table(row, values):
    rows = [list(r) for r in SMALL_DH]
    rows[row] = values
    return z.DhTable(rows)


@pytest.mark.parametrize("row, values, message", [
    (0, [math.nan, 0, 0, 0], "DH row 1: 'a' must be a finite number"),
    (2, [0, math.inf, 0, 0], "DH row 3: 'alpha' must be a finite number"),
    (4, [0, 0, -math.inf, 0], "DH row 5: 'd' must be a finite number"),
    (5, [0, 0, 0, math.nan], "DH row 6: 'thetaOffset' must be a finite number"),
    (1, [270, 30, 0, -90], "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)"),
    (4, [10, -90, 0, 0], "the axes of joints 5 and 6 must meet (the wrist centre)"),
])
def test_dh_errors_raise_value_error_with_the_librarys_message(row, values, message):
    with pytest.raises(ValueError) as error:
        z.arm_from_dh(small_table(row, values))
    assert str(error.value) == message


def test_ortho_parallel_errors_raise_value_error_with_the_librarys_message():
    def rejected(message, **change):
        lengths = dict(SMALL_LENGTHS, **change.pop("lengths", {}))
        parameters = z.OrthoParallelParameters(z.OrthoParallelGeometry(**lengths), **change)
        with pytest.raises(ValueError) as error:
            z.arm_from_ortho_parallel(parameters)
        assert str(error.value) == message

    rejected("ortho-parallel 'c2' must be a finite number", lengths={"c2": math.nan})
    rejected("ortho-parallel offset of joint 3 must be a finite number",
             offsets=[0, 0, math.inf, 0, 0, 0])
    rejected("ortho-parallel sign of joint 2 must be 1 or -1", signs=[1, 0, 1, 1, 1, 1])
    rejected("joint 1 must turn about the base z axis, upwards (shoulder configuration and "
             "singularity)", signs=[-1, 1, 1, 1, 1, 1])


@pytest.mark.parametrize("call, message", [
    (lambda: z.arm_from_urdf("<robot", "a", "b"), "URDF: the document cannot be read"),
    (lambda: z.arm_from_urdf(URDF["kSmallArmUrdf"], "base_link", "nowhere"),
     "URDF: no link 'nowhere'"),
    (lambda: z.arm_from_urdf(URDF["kSmallArmUrdf"], "tool0", "base_link"),
     "URDF: link 'base_link' is not below link 'tool0'"),
    (lambda: z.arm_from_urdf(URDF["kSmallArmUrdf"], "base_link", "link_5"),
     "URDF: the chain from 'base_link' to 'link_5' has 5 moving joints, not 6"),
    (lambda: z.arm_from_urdf("<robot name='r'><link name='only'/></robot>"),
     "URDF: no leaf link lies six moving joints below root 'only'"),
    (lambda: z.default_urdf_chain("not a document"), "URDF: the document cannot be read"),
    (lambda: z.arm_from_urdf_file("/nonexistent/arm.urdf", "a", "b"),
     "URDF: cannot read file '/nonexistent/arm.urdf'"),
    (lambda: z.arm_from_urdf_file(pathlib.Path("/nonexistent/arm.urdf")),
     "URDF: cannot read file '/nonexistent/arm.urdf'"),
    (lambda: z.arm_from_urdf_file(IMPORT_TESTS), f"URDF: cannot read file '{IMPORT_TESTS}'"),
])
def test_urdf_errors_raise_value_error_with_the_librarys_message(call, message):
    with pytest.raises(ValueError) as error:
        call()
    assert str(error.value) == message


def test_importers_have_docstrings():
    for item in (z.arm_from_dh, z.arm_from_ortho_parallel, z.arm_from_urdf, z.arm_from_urdf_file,
                 z.default_urdf_chain, z.ImportedArm, z.DhTable, z.DhRow, z.ArmLimits,
                 z.OrthoParallelParameters, z.UrdfChainEnds, z.ImportedArm.user_flange_pose,
                 z.ImportedArm.flange_pose_of_user_flange):
        assert len(item.__doc__ or "") > 20, item


def test_urdf_files_that_are_not_regular_or_too_large_are_refused(tmp_path):
    fifo = tmp_path / "arm.urdf"
    os.mkfifo(fifo)
    big = tmp_path / "big.urdf"
    with open(big, "wb") as f:
        f.truncate(64 * 1024 * 1024 + 1)  # sparse: nothing is written
    for call, message in [
            (lambda: z.arm_from_urdf_file("/dev/zero"), "URDF: cannot read file '/dev/zero'"),
            (lambda: z.read_urdf_file("/dev/zero"), "URDF: cannot read file '/dev/zero'"),
            (lambda: z.arm_from_urdf_file(fifo, "a", "b"), f"URDF: cannot read file '{fifo}'"),
            (lambda: z.arm_from_urdf_file(fifo), f"URDF: cannot read file '{fifo}'"),
            (lambda: z.arm_from_urdf_file(big), f"URDF: file '{big}' is larger than 67108864 bytes"),
    ]:
        with pytest.raises(ValueError) as error:
            call()
        assert str(error.value) == message
    small = tmp_path / "small.urdf"
    small.write_text(URDF["kSmallArmUrdf"])
    assert z.read_urdf_file(str(small)) == URDF["kSmallArmUrdf"]


def raised(call):
    """The message of the ValueError `call` raises."""
    with pytest.raises(ValueError) as error:
        call()
    return str(error.value)


def test_builders_and_check_arm_model_name_the_broken_assumption():
    arm = z.default_arm()
    z.check_arm_model(arm)
    for lengths, message in [
            (dict(a1=0, a2=0, b=0, c1=0, c2=0, c3=0, c4=0),
             "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)"),
            (dict(a1=1e200, a2=1e200, b=1e200, c1=1e200, c2=1e200, c3=1e200, c4=1e200),
             "the arm's joint points and flange must lie within 1e7 mm of the base")]:
        assert raised(lambda: z.make_ortho_parallel_arm(
            z.OrthoParallelGeometry(**lengths), arm.jointMin, arm.jointMax, arm.homeJoint,
            0)) == message
    for home, message in [([500, 0, 0, 0, 0, 0], "home joint 1 must lie within its limits"),
                          ([0, math.nan, 0, 0, 0, 0], "home joint 2 must be a finite number")]:
        assert raised(lambda: z.make_ortho_parallel_arm(
            z.default_arm_geometry(), arm.jointMin, arm.jointMax, z.RobJoint(home), 0)) == message
        edited = z.default_arm()
        edited.homeJoint = z.RobJoint(home)
        assert raised(lambda: z.check_arm_model(edited)) == message
    along = list(arm.jointAxes)
    along[4] = along[3]
    down = list(arm.jointAxes)
    down[0] = z.Vec3(0, 0, -1)
    for axes, message in [
            (along, "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 "
                    "(the wrist)"),
            (down, "joint 1 must turn about the base z axis, upwards (shoulder configuration and "
                   "singularity)")]:
        assert raised(lambda: z.make_robot_config(axes, arm.jointPoints, arm.flangeHome,
                                                  arm.jointMin, arm.jointMax, arm.homeJoint,
                                                  arm.elbowOffset, 0)) == message
    # Valid but unusual: forearm straight up, the flange on the wrist centre, the shoulder below
    # the base.
    unusual = z.make_ortho_parallel_arm(
        z.OrthoParallelGeometry(a1=-150, a2=300, b=77, c1=-450, c2=0.5, c3=0, c4=0),
        arm.jointMin, arm.jointMax, arm.homeJoint, 0)
    z.check_arm_model(unusual)


def test_urdf_arms_get_the_checks_of_every_arm(tmp_path):
    joint5 = '<origin xyz="0.302 0 0"/><axis xyz="0 1 0"/>'
    assert joint5 in URDF["kSmallArmUrdf"]
    along = URDF["kSmallArmUrdf"].replace(joint5, '<origin xyz="0.302 0 0"/><axis xyz="1 0 0"/>')
    huge = URDF["kSmallArmUrdf"].replace(joint5, '<origin xyz="1e200 0 0"/><axis xyz="0 1 0"/>')
    wrist = "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)"
    large = "the arm's joint points and flange must lie within 1e7 mm of the base"
    assert raised(lambda: z.arm_from_urdf(along)) == wrist
    assert raised(lambda: z.arm_from_urdf(huge, "world", "tool0")) == large
    path = tmp_path / "along.urdf"
    path.write_text(along)
    assert raised(lambda: z.arm_from_urdf_file(path)) == wrist
    path.write_text(huge)
    assert raised(lambda: z.arm_from_urdf_file(str(path), "world", "tool0")) == large
