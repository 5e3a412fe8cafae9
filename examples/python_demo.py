#!/usr/bin/env python3
"""A short tour of the zorrob Python module: the default arm's forward kinematics and
configuration, a Jacobian, a batch of random joint vectors, a circular move with a zone and
the tool orientation, and two pictures.

Run from the repository root after building:
    PYTHONPATH=build/python /usr/bin/python3 examples/python_demo.py [output folder]
"""

import pathlib
import sys

import numpy as np

import zorrob as z
import zorrob.plot


def main():
    out = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    out.mkdir(parents=True, exist_ok=True)
    np.set_printoptions(precision=3, suppress=True)

    arm = z.default_arm()
    joints = z.RobJoint(10, 20, -30, 40, 50, 60)
    target = arm.get_rob_target(joints)
    conf = z.ConfData.from_rob_joint(joints, arm)
    print("joints       ", joints)
    print("target       ", target)
    print("configuration", conf, conf.to_krl_string())
    print("wrist centre ", arm.tcp_to_wcp(target.pose))
    print("space Jacobian (angular rows first):")
    print(arm.get_space_jacobian(joints))

    rng = np.random.default_rng(7)
    batch = rng.uniform(arm.joint_min[:6], arm.joint_max[:6], size=(100_000, 6))
    positions, quaternions = arm.forward_kinematics(batch)
    print("reach of 100000 random joint vectors: %.1f .. %.1f mm from the base" %
          (np.linalg.norm(positions, axis=1).min(), np.linalg.norm(positions, axis=1).max()))

    arc = z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))
    print("circle       ", arc)
    print("z10 entry    ", arc.get_start_zone_point(z.z10.pzone_tcp))
    oris = (z.Orient(1, 0, 0, 0), z.Orient(0.92388, 0, 0, 0.382683),
            z.Orient(0.707107, 0, 0, 0.707107))
    print("object-frame orientation at t = 0, 0.5, 1:")
    print(arc.get_orientations("object", [0, 0.5, 1], *oris))
    try:
        z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(1, 1, 1), z.Vec3(2, 2, 2))
    except z.CircleError as error:
        print("collinear points:", error)

    path = np.linspace([0, 0, 0, 0, 30, 0], [150, 60, -60, 170, -30, 300], 200)
    zorrob.plot.joints(path, arm, events=[(100, "halfway")], path=out / "joints.png")
    zorrob.plot.circle(arc, zone=z.z50, orientations=oris, path=out / "circle.png")
    print("pictures     ", out / "joints.png", out / "circle.png")


if __name__ == "__main__":
    main()
