"""Joint records, configurations, targets, tools, work objects, loads, speeds, zones and move
records: constructors, fields, equality, text forms, exceptions and the predefined tables."""

import pytest

import zorrob as z

UNSET = "{1e+09, 1e+09, 1e+09, 1e+09, 1e+09, 1e+09}"
UNUSED = "{9e+09, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}"


def test_rob_joint_defaults_to_the_unset_marker():
    j = z.RobJoint()
    assert j.values == [1e9] * 6
    assert not j.is_valid()
    assert j.to_string() == UNSET
    assert str(j) == UNSET
    assert repr(j) == "<zorrob.RobJoint " + UNSET + ">"
    assert z.kUnsetRobJoint == 1e9 and z.kUnsetExtJoint == 9e9


def test_rob_joint_from_numbers_or_a_sequence():
    assert z.RobJoint(1, 2, 3, 4, 5, 6) == z.RobJoint([1, 2, 3, 4, 5, 6])
    assert z.RobJoint((1, 2, 3, 4, 5, 6)).values == [1, 2, 3, 4, 5, 6]
    with pytest.raises(TypeError):
        z.RobJoint([1, 2, 3])


def test_rob_joint_addresses_joints_one_based_and_silently():
    j = z.RobJoint(1, 2, 3, 4, 5, 6)
    assert j.get_joint_value(1) == 1.0 and j.get_joint_value(6) == 6.0
    assert j.get_joint_value(0) == 0.0 and j.get_joint_value(7) == 0.0
    j.set_joint_value(2, 20)
    j.set_joint_value(9, 90)
    assert j.values == [1, 20, 3, 4, 5, 6]
    j.values = [0, 0, 0, 0, 0, 0]
    assert j == z.RobJoint(0, 0, 0, 0, 0, 0)
    with pytest.raises(TypeError):
        j.get_joint_value(-1)


def test_rob_joint_text_forms():
    j = z.RobJoint(1.5, -2, 1 / 3, 1234567, 0, 180)
    assert j.to_string() == "{1.5, -2, 0.333333, 1.23457e+06, 0, 180}"
    assert j.to_ui_string(2) == "[1.50, -2.00, 0.33, 1234567.00, 0.00, 180.00]"
    assert j.to_stream_string() == "1.5 -2 0.333333 1.23457e+06 0 180"
    back = z.RobJoint.from_stream_string("1.5 -2 3 4 5 6")
    assert back == z.RobJoint(1.5, -2, 3, 4, 5, 6)
    with pytest.raises(ValueError, match="^cannot read a RobJoint from '1 2 x'$"):
        z.RobJoint.from_stream_string("1 2 x")


def test_rob_joint_operations():
    j = z.RobJoint(190, -190, 540, 0, 180, -180)
    j.regulate()
    assert j.values == [-170, 170, 180, 0, 180, -180]
    a, b = z.RobJoint(0, 0, 0, 0, 0, 0), z.RobJoint(10, 20, 30, 40, 50, 60)
    assert a.diff(b) == 210.0
    assert z.RobJoint.intermediate(a, b, 0.5) == z.RobJoint(5, 10, 15, 20, 25, 30)
    assert z.RobJoint(0.0005, 1, 1, 1, 1, 1).is_critical(1)
    assert not z.RobJoint(0.5, 1, 1, 1, 1, 1).is_critical(1)
    assert z.RobJoint.tolerance == 0.001


def test_joint_conventions_convert_both_ways():
    j = z.RobJoint(1, 2, 3, 4, 5, 6)
    a = j.to_rob_joint_a(z.KinematicConfig.Coupled23)
    assert a.values == [1, 2, 5, 4, 5, 6]
    assert a.to_rob_joint(z.KinematicConfig.Coupled23) == j
    assert j.to_rob_joint_a().values == j.values
    assert isinstance(a, z.RobJointA)
    assert str(a) == "{1, 2, 5, 4, 5, 6}"


def test_ext_joint_index_errors_carry_the_library_messages():
    e = z.ExtJoint()
    with pytest.raises(ValueError, match=r"^Invalid ExtJoint index: 0$"):
        e.get_joint_value(0)
    with pytest.raises(ValueError, match=r"^Invalid ExtJoint index: 7$"):
        e.is_valid(7)
    with pytest.raises(ValueError, match=r"^invalid index$"):
        e.set_joint_value(7, 1.0)


def test_ext_joint_arithmetic_keeps_unused_axes():
    e = z.ExtJoint(1, 2, 9e9, 9e9, 9e9, 9e9)
    assert e.valid() and e.is_valid(2) and not e.is_valid(3)
    assert (e * 2).values == [2, 4, 9e9, 9e9, 9e9, 9e9]
    assert (e + z.ExtJoint(1, 9e9, 1, 9e9, 9e9, 9e9)).values == [2, 9e9, 9e9, 9e9, 9e9, 9e9]
    assert str(z.ExtJoint()) == UNUSED
    assert not z.ExtJoint().valid()
    e.set_joint_value(3, 7)
    assert e.get_joint_value(3) == 7.0


def test_joint_targets():
    t = z.JointTarget(z.RobJoint(1, 2, 3, 4, 5, 6))
    assert t.extJoint == z.ExtJoint()
    assert t.to_string() == "{{1, 2, 3, 4, 5, 6}, " + UNUSED + "}"
    assert t.to_stream_string() == "1 2 3 4 5 6 9e+09 9e+09 9e+09 9e+09 9e+09 9e+09"
    a = t.to_joint_target_a()
    assert isinstance(a, z.JointTargetA) and a.robJoint.values == t.robJoint.values
    assert a.to_joint_target() == t
    assert str(z.JointTargetA()) == "{" + UNSET + ", " + UNUSED + "}"


def test_conf_data_text_forms():
    c = z.ConfData(1, -2, 3, 5)
    assert (c.cf1, c.cf4, c.cf6, c.cfx) == (1, -2, 3, 5)
    assert c.to_string() == "{1, -2, 3, 5}"
    assert str(c) == "{1, -2, 3, 5}"
    assert c.to_ui_string() == "[1, -2, 3, 5]"
    assert c.to_ostrel_string() == "{quadrant::p1, quadrant::n2, quadrant::p3, quadrant::p5}"
    assert z.ConfData(-9, 8, 0, 0).to_ostrel_string() == (
        "{quadrant::p0, quadrant::p0, quadrant::p0, quadrant::p0}")
    assert c.to_stream_string() == "1 -2 3 5"
    krl = {0: "S 'B010'", 1: "S 'B011'", 2: "S 'B000'", 3: "S 'B001", 4: "S 'B110'",
           5: "S 'B111'", 6: "S 'B100'", 7: "S 'B101'", 8: "S 'B", -1: "S 'B"}
    for cfx, text in krl.items():
        assert z.ConfData(0, 0, 0, cfx).to_krl_string() == text


def test_conf_data_comparisons():
    c = z.ConfData(0, 0, 0, 1)
    assert c.is_adjacent(z.ConfData(2, -2, 2, 2))
    assert not c.is_adjacent(z.ConfData(3, 0, 0, 1))
    assert c.diff146(z.ConfData(1, -2, 3, 7)) == 6
    assert c.get_quadrant(1) == 0 and c.get_quadrant(2) == 0
    assert c.is_critical_equal_single(z.ConfData(-1, 0, 0, 1), 1)
    assert c.is_critical_equal(z.RobJoint(0, 1, 1, 0, 1, 0), z.ConfData(-1, -1, -1, 1))
    assert not c.is_critical_equal(z.RobJoint(5, 1, 1, 5, 1, 5), z.ConfData(-1, -1, -1, 1))
    assert z.angle_to_quadrant(90) == 0 and z.angle_to_quadrant(-90) == -1
    assert z.angle_to_quadrant(180) == 1 and z.angle_to_quadrant(-180) == -2
    assert z.are_critical_equal_quad(0, -1) and not z.are_critical_equal_quad(1, -1)
    assert z.ConfData() == z.ConfData(0, 0, 0, 0) and z.ConfData() != c


def test_load_data():
    load = z.LoadData(5, z.Pos(0, 0, 50), z.Orient(), 0.1, 0.1, 0.02)
    assert load.to_string() == "{5, {0, 0, 50}, {1, 0, 0, 0}, 0.1, 0.1, 0.02}"
    assert load.to_stream_string() == "5 0 0 50 1 0 0 0 0.1 0.1 0.02"
    assert z.LoadData.from_stream_string(load.to_stream_string()) == load
    default = z.LoadData()
    assert (default.mass, default.cog, default.ix) == (1.0, z.Pos(), 0.0)


def test_rob_target_text_forms():
    pose = z.Pose(z.Pos(1, 0.1 + 0.2, 3), z.Orient(1 / 3, 0, 0, 1))
    t = z.RobTarget(pose, z.ConfData(1, 2, 3, 4), z.ExtJoint(1, 9e9, 9e9, 9e9, 9e9, 9e9))
    brace = "{{1, 0.30000000000000004, 3}, {0.333333, 0, 0, 1}, {1, 2, 3, 4}, {1, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}"
    assert t.to_string() == brace
    assert t.to_ui_string() == brace
    assert str(t) == brace
    assert t.to_ostrel_string() == (
        "{{1, 0.30000000000000004, 3}, {0.333333, 0, 0, 1}, "
        "{quadrant::p1, quadrant::p2, quadrant::p3, quadrant::p4}, "
        "{1, 9e+09, 9e+09, 9e+09, 9e+09, 9e+09}}")
    assert t.to_stream_string() == "1 0.3 3 0.333333 0 0 1 1 2 3 4 1 9e+09 9e+09 9e+09 9e+09 9e+09"
    assert t.get_pose() == pose
    t.set_pose(z.Pose())
    assert t.pose == z.Pose() and t.robConf == z.ConfData(1, 2, 3, 4)
    assert z.RobTarget(pose).extJoint == z.ExtJoint()


def test_tool_data_compares_frames_approximately_and_ignores_the_load():
    frame = z.Pose(z.Pos(0, 0, 100), z.Orient())
    tool = z.ToolData(True, frame, z.LoadData())
    assert tool == z.ToolData(True, z.Pose(z.Pos(0, 0, 100.001), z.Orient()),
                              z.LoadData(3, z.Pos(), z.Orient(), 0, 0, 0))
    assert tool != z.ToolData(False, frame, z.LoadData())
    assert tool.to_string() == "{true, {{0, 0, 100}, {1, 0, 0, 0}}, {1, {0, 0, 0}, {1, 0, 0, 0}, 0, 0, 0}}"
    assert tool.to_stream_string() == "true 0 0 100 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0"
    with pytest.raises(ValueError, match=r"^normalize quaternion of 0 magnitude$"):
        _ = tool == z.ToolData(True, z.Pose(z.Pos(0, 0, 100), z.Orient(0, 0, 0, 0)), z.LoadData())


def test_work_objects():
    w = z.WObjData(False, False, "ROB_1", z.Pose(z.Pos(1, 0, 0), z.Orient()),
                   z.Pose(z.Pos(0, 2, 0), z.Orient()))
    assert w.to_string() == ('{false, false, "ROB_1", {{1, 0, 0}, {1, 0, 0, 0}}, '
                             '{{0, 2, 0}, {1, 0, 0, 0}}}')
    assert w.to_stream_string() == "false false ROB_1 1 0 0 1 0 0 0 0 2 0 1 0 0 0"
    assert w.get_pose() == z.Pose(z.Pos(1, 2, 0), z.Orient())
    d = z.WObjData()
    assert (d.robhold, d.ufprog, d.ufmec) == (False, True, "")
    assert z.WObjData.from_stream_string(w.to_stream_string()) == w


def test_speed_table():
    assert z.SpeedData.v100 == z.SpeedData(100, 500, 5000, 1000)
    assert z.v100 == z.SpeedData.v100
    assert list(z.speeds) == ["v5", "v10", "v20", "v30", "v40", "v50", "v60", "v80", "v100",
                              "v150", "v200", "v300", "v400", "v500", "v600", "v800", "v1000",
                              "v1500", "v2000", "v2500", "v3000", "v4000", "v5000", "v6000",
                              "v7000"]
    for name, speed in z.speeds.items():
        assert speed == z.SpeedData(float(name[1:]), 500, 5000, 1000)
    assert z.v1000.to_string() == "{1000, 500, 5000, 1000}"
    assert z.v5.to_stream_string() == "5 500 5000 1000"
    assert z.SpeedData() == z.SpeedData(0, 0, 0, 0)


def test_zone_table_matches_the_tool(tool):
    lines = tool("tables", "zones").splitlines()
    rows = [line.split() for line in lines[3:] if line.strip()]
    assert [row[0] for row in rows] == list(z.zones)
    for name, finep, *numbers in rows:
        zone = z.zones[name]
        assert zone.finep == (finep == "true")
        assert [zone.pzoneTcp, zone.pzoneOri, zone.pzoneEax, zone.zoneOri, zone.zoneLeax,
                zone.zoneReax] == pytest.approx([float(n) for n in numbers[:6]])
        assert zone.cntValue == int(numbers[6])
        assert getattr(z, name) == zone == getattr(z.ZoneData, name)


def test_speed_table_matches_the_tool(tool):
    lines = tool("tables", "speeds").splitlines()
    rows = [line.split() for line in lines[2:] if line.strip()]
    assert [row[0] for row in rows] == list(z.speeds)
    for name, *numbers in rows:
        s = z.speeds[name]
        assert [s.vTcp, s.vOri, s.vLeax, s.vReax] == [float(n) for n in numbers]


def test_zone_text_forms():
    assert str(z.z10) == "{false, 10, 15, 15, 1.5, 15, 1.5, -1}"
    assert repr(z.fine) == "<zorrob.ZoneData {true, 0, 0, 0, 0, 0, 0, -1}>"
    assert z.z10.to_stream_string() == "0 10 15 15 1.5 15 1.5"
    assert z.ZoneData() == z.fine
    read = z.ZoneData.from_stream_string("1 1 2 3 4 5 6")
    assert read == z.ZoneData(True, 1, 2, 3, 4, 5, 6, -1)


def test_move_records():
    move = z.MoveC()
    assert move.moveType == z.MoveType.MoveC
    assert move.speed == z.SpeedData() and move.zone == z.fine and move.tag == 0
    assert move.cirPoint == z.RobTarget()
    move.speed = z.v100
    assert move.speed == z.v100
    other = z.MoveC()
    assert move != other
    other.speed = z.v100
    assert move == other
    absj = z.MoveAbsJ()
    assert absj.moveType == z.MoveType.MoveAbsJ and absj.toJointPos == z.JointTarget()
    assert z.MoveL().moveType == z.MoveType.MoveL and z.MoveJ().moveType == z.MoveType.MoveJ
    assert repr(z.MoveL()).startswith("<zorrob.MoveL to {{0, 0, 0}")
    with pytest.raises(TypeError):
        z.MoveRecord()
    with pytest.raises(AttributeError):
        move.moveType = z.MoveType.MoveL
