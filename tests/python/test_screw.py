"""Twists, screw axes, wrenches, transforms, six-vectors and Jacobians."""

import math

import numpy as np
import pytest

import zorrob as z


def skew(w):
    return np.array([[0, -w[2], w[1]], [w[2], 0, -w[0]], [-w[1], w[0], 0]])


def test_screw_axis_of_a_joint_through_a_point():
    s = z.ScrewAxis(0, 0, 1, 1, 0, 0)
    assert s.w == z.Vec3(0, 0, 1)
    # v = -(w x q) = -((0, 0, 1) x (1, 0, 0)) = (0, -1, 0)
    assert tuple(s.v) == (0.0, -1.0, 0.0)
    assert s == z.ScrewAxis(z.Vec3(0, 0, 1), z.Pos(1, 0, 0))
    assert [s[i] for i in range(6)] == [0, 0, 1, 0, -1, 0]
    assert list(s) == [0, 0, 1, 0, -1, 0]
    assert s[-1] == 0.0 and len(s) == 6
    assert str(s) == "{0, 0, 1, -0, -1, -0}" or str(s) == "{0, 0, 1, 0, -1, 0}"


def test_screw_exponential_turns_about_the_axis():
    s = z.ScrewAxis(0, 0, 1, 1, 0, 0)
    t = s.T(math.pi / 2)
    # A quarter turn about the vertical line through (1, 0, 0) takes the origin to (1, -1, 0).
    assert tuple(t.transform(z.Pos(0, 0, 0))) == pytest.approx((1, -1, 0), abs=1e-15)
    assert tuple(t.transform(z.Vec3(1, 0, 0))) == pytest.approx((0, 1, 0), abs=1e-15)


def test_six_vector_indices_are_checked():
    with pytest.raises(IndexError):
        z.Twist()[6]
    with pytest.raises(IndexError):
        z.Wrench()[-7] = 1.0
    with pytest.raises(IndexError):
        z.JointSpeed().set_speed(6, 1.0)
    with pytest.raises(IndexError):
        z.GeometricJacobian()[0, 6]


def test_twists_and_wrenches_hold_their_parts():
    t = z.Twist(1, 2, 3, 4, 5, 6)
    assert (t.w, t.v) == (z.Vec3(1, 2, 3), z.Vec3(4, 5, 6))
    assert t == z.Twist(z.Vec3(1, 2, 3), z.Vec3(4, 5, 6))
    t[0] = 7
    assert t.w.x == 7.0
    w = z.Wrench(1, 2, 3, 4, 5, 6)
    assert (w.m, w.f) == (z.Vec3(1, 2, 3), z.Vec3(4, 5, 6))
    assert str(w) == "{1, 2, 3, 4, 5, 6}"
    assert repr(z.Twist()) == "<zorrob.Twist {0, 0, 0, 0, 0, 0}>"


def test_twist_bracket_matches_its_formula():
    t = z.Twist(1, 2, 3, 4, 5, 6)
    s = z.ScrewAxis(0, 0, 1, 1, 2, 0)
    w, v = np.array([1, 2, 3.0]), np.array([4, 5, 6.0])
    sw, sv = np.array(list(s)[:3]), np.array(list(s)[3:])
    bracket = t.adjoint(s)
    assert list(bracket) == pytest.approx(list(np.cross(w, sw)) + list(np.cross(w, sv) + np.cross(v, sw)))


def test_transform_inverse_and_composition():
    t = z.Transform(z.Rotation(0.3, z.Vec3(1, 1, 0)), z.Vec3(1, 2, 3))
    identity = t * t.inverse()
    assert identity.rotation.is_identity()
    assert tuple(identity.translation) == pytest.approx((0, 0, 0), abs=1e-14)
    u = z.Transform(t.rotation, t.translation)
    u *= t
    assert tuple(u.translation) == pytest.approx(tuple((t * t).translation))
    assert z.Transform() == z.Transform()
    assert str(z.Transform()) == "{{1, 0, 0, 0}, {0, 0, 0}}"


def test_transform_adjoint_matches_the_6x6_matrix():
    t = z.Transform(z.Rotation(0.3, z.Vec3(1, 1, 0)), z.Vec3(1, 2, 3))
    r = np.array([list(t.transform(z.Vec3(*e))) for e in np.eye(3)]).T
    p = np.array(list(t.translation))
    ad = np.block([[r, np.zeros((3, 3))], [skew(p) @ r, r]])
    tw = z.Twist(0.1, 0.2, 0.3, 1, 2, 3)
    assert list(t.adjoint(tw)) == pytest.approx(list(ad @ np.array(list(tw))))
    s = z.ScrewAxis(0, 1, 0, 1, 0, 0)
    assert list(t.adjoint(s)) == pytest.approx(list(ad @ np.array(list(s))))
    wr = z.Wrench(1, 2, 3, 4, 5, 6)
    assert list(t.adjoint_t(wr)) == pytest.approx(list(ad.T @ np.array(list(wr))))


def test_transform_log_gives_the_exponential_coordinates():
    s = z.ScrewAxis(0, 0, 1, 1, 0, 0)
    log = s.T(0.5).log()
    assert list(log) == pytest.approx([0.5 * c for c in s])
    assert z.Transform.kPureTranslationAngle == 1e-6


def test_jacobian_matrix_is_a_numpy_array():
    j = z.GeometricJacobian()
    assert j.matrix.shape == (6, 6) and not j.matrix.any()
    j.set_col(2, z.ScrewAxis(0, 0, 1, 1, 0, 0))
    assert list(j.matrix[:, 2]) == [0, 0, 1, 0, -1, 0]
    j[0, 0] = 2.0
    assert j[0, 0] == 2.0
    assert np.array(j)[0, 0] == 2.0
    twist = j * z.Vector6(1, 0, 1, 0, 0, 0)
    assert list(twist) == [2, 0, 1, 0, -1, 0]
    m = np.arange(36.0).reshape(6, 6)
    j.matrix = m
    assert (j.matrix == m).all()


def test_vector6_and_joint_speed():
    v = z.Vector6(1, 2, 3, 4, 5, 6)
    assert v.values == [1, 2, 3, 4, 5, 6]
    s = z.JointSpeed([1, 2, 3, 4, 5, 6])
    s.set_speed(0, 9)
    assert s[0] == 9.0
    s.set_zero()
    assert s == z.JointSpeed()


def test_spatial_inertia_block_matrix():
    si = z.SpacialInertia()
    si.set(1, 2, 3, 4)
    assert (si.matrix() == np.diag([1, 2, 3, 4, 4, 4.0])).all()
    assert (si.inertia == np.diag([1, 2, 3.0])).all()
    assert si.mass == 4.0
    assert str(si) == "{{1, 0, 0}, {0, 2, 0}, {0, 0, 3}, 4}"


def test_skew_symmetric_matrix():
    m = z.vector3_to_skew_symmetric(z.Vec3(1, 2, 3))
    assert (m == skew([1, 2, 3])).all()


def test_zero_axis_has_no_exponential():
    with pytest.raises(OverflowError, match=r"^0-length vector cannot be normalized\.$"):
        z.ScrewAxis().T(1.0)
