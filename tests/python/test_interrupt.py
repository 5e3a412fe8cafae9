"""Ctrl-C during long work from Python: a SIGINT sent from a timer thread while a batch, an audit
or a reach map runs raises KeyboardInterrupt at the next check between chunks, long before the
work would end. What is asserted is the work done when it stops (the progress seen), not time."""

import os
import signal
import threading

import numpy as np
import pytest

import zorrob as z
from conftest import random_joints

# The SIGINT goes this long after the work has started: time for it to start, no time to end.
DELAY = 0.05


def interrupting(seen):
    """A progress callable that records the fractions and sends SIGINT once, after DELAY."""
    def progress(fraction):
        if not seen:
            threading.Timer(DELAY, os.kill, (os.getpid(), signal.SIGINT)).start()
        seen.append(fraction)
    return progress


@pytest.fixture(autouse=True)
def default_sigint():
    previous = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, previous)


def test_ik_batch_stops_between_chunks(arm):
    joints = random_joints(np.random.default_rng(5), arm, 400_000)
    positions, quaternions = arm.forward_kinematics(joints)
    seen = []
    with pytest.raises(KeyboardInterrupt):
        arm.all_joint_solutions(positions, quaternions, progress=interrupting(seen))
    assert seen[-1] < 0.5


def test_audit_stops_between_moves():
    moves = []
    for k in range(4000):
        m = z.MoveAbsJ()
        m.to_joint_pos = z.JointTarget(z.RobJoint([(-1) ** k * 100.0, 0, 0, 0, 30, 0]))
        m.speed = z.v500
        moves.append(m)
    seen = []
    with pytest.raises(KeyboardInterrupt):
        z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), moves,
                        z.AuditOptions(), progress=interrupting(seen))
    assert seen[-1] < 0.5


def test_audit_stops_inside_one_long_move():
    # One line of 100 mm sampled every 0.1 µm: 10^6 samples, checked every few thousand.
    forward = z.Orient(2 ** -0.5, 0, 2 ** -0.5, 0)
    to_line, line = z.MoveJ(), z.MoveL()
    to_line.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 840), forward), z.ConfData(0, 0, 0, 1))
    line.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 940), forward), z.ConfData(0, 0, 0, 1))
    to_line.speed = line.speed = z.v500
    options = z.AuditOptions()
    options.stepMm = 1e-4
    seen = []
    with pytest.raises(KeyboardInterrupt):
        z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), [to_line, line],
                        options, progress=interrupting(seen))
    # Stopped inside a move (not at 0 or 0.5, where the moves start), long before the end.
    assert seen[-1] not in (0.0, 0.5) and seen[-1] < 0.9


def test_reach_map_stops_at_its_next_check(arm):
    seen = []
    with pytest.raises(KeyboardInterrupt):
        z.reach_map(arm, [[0, 0, 1, 0]], box_min=[-1500, -1500, -500], box_max=[1500, 1500, 2000],
                    step=20, progress=interrupting(seen), allow_large=True)
    assert seen[-1] < 0.5
