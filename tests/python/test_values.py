"""The records' list fields: assigning a whole field and changing one element both take effect
on the record (or raise, leaving it unchanged); copies and pickles of them are plain lists; and
every record has a repr that shows its fields."""

import copy
import pickle

import pytest

import zorrob as z

LIMITS_MIN = [-170, -90, -175, -180, -125, -360, -170]


def test_element_assignment_changes_the_arm():
    arm = z.default_arm()
    arm.joint_min[0] = -10
    assert arm.joint_min == [-10] + LIMITS_MIN[1:]
    # The deprecated name reaches the same field.
    with pytest.warns(DeprecationWarning):
        arm.jointMax[5] = 90
    assert arm.joint_max[5] == 90
    # The limit is used: joint 1 at -20 is now outside.
    assert not arm.is_joint_allowed(0, -20, 0)
    assert arm.is_joint_allowed(0, -10, 0)


def test_whole_field_assignment_changes_the_arm():
    arm = z.default_arm()
    arm.joint_min = [-1, -2, -3, -4, -5, -6, -7]
    assert arm.joint_min == [-1, -2, -3, -4, -5, -6, -7]


def test_every_list_change_writes_through():
    options = z.AuditOptions()
    speeds = options.max_joint_speed_deg
    speeds[1:3] = [10, 20]
    assert options.max_joint_speed_deg == [150, 10, 20, 300, 300, 450]
    speeds.reverse()
    assert options.max_joint_speed_deg == [450, 300, 300, 20, 10, 150]
    speeds.sort()
    assert options.max_joint_speed_deg == [10, 20, 150, 300, 300, 450]
    j = z.RobJoint(1, 2, 3, 4, 5, 6)
    j.values[2] += 0.5
    assert j.values == [1, 2, 3.5, 4, 5, 6]


def test_a_change_the_field_cannot_take_raises_and_changes_nothing():
    arm = z.default_arm()
    limits = arm.joint_min
    for change in (lambda: limits.append(1), lambda: limits.pop(), lambda: limits.clear(),
                   lambda: limits.__delitem__(0), lambda: limits.__setitem__(0, "x")):
        with pytest.raises(TypeError):
            change()
        assert arm.joint_min == LIMITS_MIN
        assert limits == LIMITS_MIN


def test_list_of_records_takes_element_assignment():
    report = z.AuditReport()
    report.moves = [z.MoveAudit(), z.MoveAudit()]
    done = z.MoveAudit()
    done.reached = True
    report.moves[1] = done
    assert [m.reached for m in report.moves] == [False, True]
    report.moves.append(z.MoveAudit())
    assert len(report.moves) == 3


def test_copies_and_pickles_of_a_field_are_plain_lists():
    arm = z.default_arm()
    for other in (copy.copy(arm.joint_min), copy.deepcopy(arm.joint_min),
                  pickle.loads(pickle.dumps(arm.joint_min))):
        assert type(other) is list and other == LIMITS_MIN
        other[0] = 0
    assert arm.joint_min == LIMITS_MIN
    # The record itself still pickles with its fields.
    arm.joint_min[0] = -11
    assert pickle.loads(pickle.dumps(arm)).joint_min[0] == -11


def test_audit_records_have_reprs():
    options = z.AuditOptions()
    assert repr(options) == (
        "<zorrob.AuditOptions circle_ori_mode=<CircleOriMode.cirPoint: 0>, "
        "elbow_margin_deg=1.0, jump_deg=10.0, keep_samples=False, "
        "max_joint_acceleration_deg=[600.0, 600.0, 600.0, 1200.0, 1200.0, 1800.0], "
        "max_joint_speed_deg=[150.0, 150.0, 150.0, 300.0, 300.0, 450.0], "
        "max_tcp_acceleration=5000.0, shoulder_margin_mm=10.0, step_deg=1.0, step_mm=1.0, "
        "timing_window=32768, wrist_margin_deg=1.0>")
    move = z.MoveAudit()
    move.duration = 0.5
    text = repr(move)
    assert text.startswith("<zorrob.MoveAudit duration=0.5, end_conf=")
    assert ", events=[], " in text and text.endswith(", zone_distance=0.0>")
    sample = repr(z.AuditSample())
    assert sample.startswith("<zorrob.AuditSample allowed_share=1.0, arc_length=0.0, ")
    assert " object at 0x" not in sample


def test_no_record_keeps_the_default_repr():
    for name in z.__all__:
        cls = getattr(z, name)
        if not isinstance(cls, type) or hasattr(cls, "__members__"):
            continue
        try:
            value = cls()
        except TypeError:
            continue
        assert " object at 0x" not in repr(value), name
