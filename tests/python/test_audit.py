"""The program audit from Python: a vertical line through the wrist singularity of the default
arm (its place worked out by hand), the report's fields and the errors."""

import copy
import math
import pickle

import numpy as np
import pytest

import zorrob as z

# The flange z axis along base +x, as at home.
FORWARD = z.Orient(math.sqrt(0.5), 0, math.sqrt(0.5), 0)


def move_j(pos, conf):
    m = z.MoveJ()
    m.toPoint = z.RobTarget(z.Pose(pos, FORWARD), conf)
    m.speed = z.v500
    return m


def move_l(pos, conf):
    m = z.MoveL()
    m.toPoint = z.RobTarget(z.Pose(pos, FORWARD), conf)
    m.speed = z.v500
    return m


def through_the_wrist():
    # On x = 890 the forearm is level (joint 5 at zero) at z = 450 + 600 - 110 = 940: half-way
    # up the line from 840 to 1040.
    return [move_j(z.Pos(890, 0, 840), z.ConfData(0, 0, 0, 1)),
            move_l(z.Pos(890, 0, 1040), z.ConfData(0, 0, 0, 0))]


def audit(moves, **options):
    opts = z.AuditOptions()
    for name, value in options.items():
        setattr(opts, name, value)
    return z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), moves, opts)


def test_wrist_singularity_is_found_half_way_up_the_line():
    report = audit(through_the_wrist(), keepSamples=True)
    assert isinstance(report, z.AuditReport)
    assert len(report.moves) == 2
    assert report.moves[0].type == z.MoveType.MoveJ and report.moves[0].reached
    assert report.moves[1].pathLength == pytest.approx(200)
    wrist = [e for e in report.events() if e.kind == z.AuditEventKind.wristSingularity]
    assert len(wrist) == 1
    event = wrist[0]
    assert event.moveIndex == 1
    assert event.startFraction < 0.5 < event.endFraction
    assert event.kind.to_string() == "wrist singularity"
    assert str(event).startswith("wrist singularity, move 1, fraction ")
    assert report.event_count() == len(report.events()) and not report.clean()
    assert report.duration == pytest.approx(sum(m.duration for m in report.moves))
    joints = report.sample_joints()
    assert joints.shape == (len(report.samples), 6) and len(report.samples) > 100
    assert joints[-1].tolist() == report.samples[-1].joints.values
    assert repr(report).startswith("<zorrob.AuditReport 2 moves, ")


def test_samples_are_kept_only_when_asked():
    assert audit(through_the_wrist()).samples == []


def test_audit_errors_carry_the_library_messages():
    with pytest.raises(ValueError, match="^'options.stepMm' must be positive$"):
        audit(through_the_wrist(), stepMm=0.0)
    with pytest.raises(ValueError, match=r"^'start\[0\]' must be a finite number$"):
        z.audit_program(z.default_arm(), z.RobJoint(float("nan"), 0, 0, 0, 30, 0),
                        through_the_wrist())
    slow = through_the_wrist()
    slow[1].speed = z.SpeedData()
    with pytest.raises(ValueError, match=r"^move 1: 'speed.tcp' must be positive$"):
        audit(slow)
    with pytest.raises(TypeError):
        z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), [z.SpeedData()])


def test_event_kind_texts():
    assert z.AuditEventKind.zoneShrunk.to_string() == "zone shrunk"
    assert z.AuditEventKind.noSolutionInConfiguration.to_string() == (
        "no solution in the programmed configuration")


def test_timed_samples_are_numpy_arrays():
    # A joint move of joint 1 alone by 90 degrees (150 degrees/s, 600 degrees/s²): the
    # trapezoid 90/150 + 150/600 s, then the line up through the wrist.
    start = z.RobJoint(0, 0, 0, 0, 30, 0)
    absj = z.MoveAbsJ()
    absj.to_joint_pos = z.JointTarget(z.RobJoint(90, 0, 0, 0, 30, 0))
    absj.speed = z.v500
    opts = z.AuditOptions()
    opts.keep_samples = True
    report = z.audit_program(z.default_arm(), start, [absj], opts)
    assert report.moves[0].duration == pytest.approx(0.85, abs=1e-9)
    assert report.moves[0].lowest_speed_share == 1.0
    timing = report.sample_timing()
    n = len(report.samples)
    for name in ("time", "tcp_speed", "speed_share", "allowed_share", "move", "limit",
                 "limit_joint"):
        assert isinstance(timing[name], np.ndarray) and timing[name].shape == (n,)
    assert timing["joint_speeds"].shape == (n, 6)
    assert timing["joint_accelerations"].shape == (n, 6)
    assert timing["time"][0] == 0 and timing["time"][-1] == pytest.approx(0.85, abs=1e-9)
    assert np.max(np.abs(timing["joint_speeds"][:, 0])) == pytest.approx(150, abs=1e-9)
    assert np.max(np.abs(timing["joint_accelerations"][:, 0])) == pytest.approx(600, abs=1e-9)
    assert timing["limit"][0] == int(z.TimingLimit.jointAcceleration)
    assert report.samples[0].limit == z.TimingLimit.jointAcceleration
    assert z.TimingLimit.jointSpeed.to_string() == "joint speed"
    assert z.AuditEventKind.speedReduced.to_string() == "speed reduced"


def test_acceleration_limits_are_options():
    opts = z.AuditOptions()
    assert list(opts.max_joint_acceleration_deg) == [600, 600, 600, 1200, 1200, 1800]
    assert opts.max_tcp_acceleration == 5000
    # 200 mm up at 500 mm/s, with the tool's acceleration halved: 200/500 + 500/2500.
    report = audit(through_the_wrist(), max_tcp_acceleration=2500.0)
    assert report.moves[1].duration == pytest.approx(0.6, abs=1e-9)


# The same checks and messages as the tool's (which puts "program file 'P': " in front).
@pytest.mark.parametrize("change, message", [
    (lambda m: setattr(m, "zone", z.ZoneData(False, float("nan"), 0, 0, 0, 0, 0, -1)),
     "move 1: 'zone.tcp' must be a finite number"),
    (lambda m: setattr(m, "zone", z.ZoneData(False, -5, 0, 0, 0, 0, 0, -1)),
     "move 1: 'zone.tcp' must not be negative"),
    (lambda m: setattr(m, "speed", z.SpeedData(5e-324, 500, 5000, 1000)),
     "move 1: 'speed.tcp' must be at least 1e-06: slower moves cannot be timed"),
    (lambda m: setattr(m, "tool", z.ToolData(True, z.Pose(z.Pos(0, 0, 1e300), z.Orient(1, 0, 0, 0)),
                                             z.LoadData())),
     "move 1: 'tool.position' must lie within 10000000 mm of its frame's origin"),
])
def test_moves_are_checked_as_the_tool_checks_them(change, message):
    moves = through_the_wrist()
    change(moves[1])
    with pytest.raises(ValueError) as raised:
        audit(moves)
    assert str(raised.value) == message


def test_start_limits_and_steps_are_checked_as_the_tool_checks_them():
    with pytest.raises(ValueError) as raised:
        z.audit_program(z.default_arm(), z.RobJoint(1e300, 0, 0, 0, 30, 0), through_the_wrist())
    assert str(raised.value) == "'start[0]' is outside the joint limits: 1e+300 not in -170 .. 170"
    arm = z.default_arm()
    arm.joint_min[6] = float("nan")
    with pytest.raises(ValueError) as raised:
        z.audit_program(arm, z.RobJoint(0, 0, 0, 0, 30, 0), through_the_wrist())
    assert str(raised.value) == "arm: 'jointMin[6]' must not be NaN"
    with pytest.raises(ValueError) as raised:
        audit(through_the_wrist(), stepMm=300.0)
    assert str(raised.value) == \
        "'options.stepMm' must be at most 10 mm: coarser steps cannot locate events"
    assert z.AuditOptions.MAX_STEP_MM == 10.0 and z.AuditOptions.MAX_STEP_DEG == 5.0


def test_timing_window_is_an_option_checked_as_the_library_checks_it():
    opts = z.AuditOptions()
    assert opts.timing_window == 2 ** 15 and z.AuditOptions.MIN_TIMING_WINDOW == 16
    opts.timing_window = 16
    assert opts.timing_window == 16
    assert pickle.loads(pickle.dumps(opts)).timing_window == 16
    assert copy.deepcopy(opts).timing_window == 16
    for bad in (15, 0, -1, -2 ** 70):
        with pytest.raises(ValueError) as raised:
            opts.timing_window = bad
        assert str(raised.value) == "'options.timingWindow' must be at least 16"
    with pytest.raises(ValueError) as raised:
        opts.timing_window = 2 ** 64
    assert str(raised.value) == "'options.timingWindow' must be at most 18446744073709551615"
    with pytest.raises(TypeError):
        opts.timing_window = 16.0
    assert opts.timing_window == 16


def test_a_small_timing_window_gives_the_same_report():
    # 200 samples on the line, timed in windows of 16: each window sampled again twice.
    whole = audit(through_the_wrist(), keep_samples=True)
    windowed = audit(through_the_wrist(), keep_samples=True, timing_window=16)
    assert sum(s.move_index == 1 for s in whole.samples) > 12 * 16
    assert repr(windowed) == repr(whole)
    assert pickle.dumps(windowed.moves) == pickle.dumps(whole.moves)
    assert pickle.dumps(windowed.samples) == pickle.dumps(whole.samples)
    assert windowed.duration == whole.duration
