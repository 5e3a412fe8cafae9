#!/usr/bin/env python3
"""Forward kinematics of 10^5 joint vectors on the default arm: one numpy batch call
(RobotConfig.forward_kinematics) against a Python loop over the scalar call
(RobotConfig.get_wrist_pose_in_base), measured in the same run, plus the Jacobian and
configuration batches against their loops.

Run from the repository root after building:
    PYTHONPATH=build/python /usr/bin/python3 bench/python_batch_bench.py [--count N] [--repeat R]

Each figure is the best of R runs (wall-clock, time.perf_counter). The script first checks that
batch and loop agree bit for bit, so the two sides do the same work.
"""

import argparse
import time

import numpy as np

import zorrob as z


def best_of(repeat, work):
    best = float("inf")
    for _ in range(repeat):
        start = time.perf_counter()
        work()
        best = min(best, time.perf_counter() - start)
    return best


def fk_loop(arm, rows):
    positions = np.empty((len(rows), 3))
    quaternions = np.empty((len(rows), 4))
    for k, row in enumerate(rows):
        t = arm.get_wrist_pose_in_base(z.RobJoint(*row))
        p, r = t.translation, t.rotation
        positions[k] = (p.x, p.y, p.z)
        quaternions[k] = (r.w, r.x, r.y, r.z)
    return positions, quaternions


def jacobian_loop(arm, rows):
    out = np.empty((len(rows), 6, 6))
    for k, row in enumerate(rows):
        out[k] = arm.get_space_jacobian(z.RobJoint(*row))
    return out


def configuration_loop(arm, rows):
    out = np.empty((len(rows), 4), dtype=np.int32)
    for k, row in enumerate(rows):
        c = z.ConfData.from_rob_joint(z.RobJoint(*row), arm)
        out[k] = (c.cf1, c.cf4, c.cf6, c.cfx)
    return out


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=100_000)
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()

    arm = z.default_arm()
    rng = np.random.default_rng(1)
    joints = rng.uniform(arm.jointMin[:6], arm.jointMax[:6], size=(args.count, 6))
    rows = joints.tolist()  # plain floats, so the loop pays no numpy scalar conversions

    cases = [
        ("forward kinematics", lambda: arm.forward_kinematics(joints), lambda: fk_loop(arm, rows)),
        ("space Jacobian", lambda: arm.space_jacobians(joints), lambda: jacobian_loop(arm, rows)),
        ("configuration", lambda: arm.configurations(joints),
         lambda: configuration_loop(arm, rows)),
    ]
    print(f"{args.count} joint vectors, best of {args.repeat} runs")
    print(f"{'':20} {'batch':>10} {'loop':>10} {'per vector (batch / loop)':>28} {'ratio':>8}")
    for name, batch, loop in cases:
        batch_result, loop_result = batch(), loop()
        if isinstance(batch_result, tuple):
            agree = all(np.array_equal(a, b) for a, b in zip(batch_result, loop_result))
        else:
            agree = np.array_equal(batch_result, loop_result)
        if not agree:
            raise SystemExit(f"{name}: the batch and the loop disagree")
        batch_time = best_of(args.repeat, batch)
        loop_time = best_of(args.repeat, loop)
        per_batch = batch_time / args.count * 1e9
        per_loop = loop_time / args.count * 1e9
        print(f"{name:20} {batch_time * 1e3:8.1f}ms {loop_time * 1e3:8.1f}ms "
              f"{per_batch:12.0f} ns / {per_loop:6.0f} ns {loop_time / batch_time:7.1f}x")


if __name__ == "__main__":
    main()
