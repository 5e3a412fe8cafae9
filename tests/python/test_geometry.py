"""Vectors, positions, directions, orientation records, rotations, poses, lines and triangles,
in double and float."""

import math

import numpy as np
import pytest

import zorrob as z


def rotation_matrix(w, x, y, z_):
    """The rotation matrix of a unit quaternion (w, x, y, z), written out by hand."""
    return np.array([
        [1 - 2 * (y * y + z_ * z_), 2 * (x * y - w * z_), 2 * (x * z_ + w * y)],
        [2 * (x * y + w * z_), 1 - 2 * (x * x + z_ * z_), 2 * (y * z_ - w * x)],
        [2 * (x * z_ - w * y), 2 * (y * z_ + w * x), 1 - 2 * (x * x + y * y)],
    ])


def test_vectors_default_to_zero_and_take_their_fields():
    assert tuple(z.Vec3()) == (0.0, 0.0, 0.0)
    v = z.Vec3(1, 2, 3)
    assert (v.x, v.y, v.z) == (1.0, 2.0, 3.0)
    v.y = 5
    assert tuple(v) == (1.0, 5.0, 3.0)
    assert tuple(z.Pos(4, 5, 6)) == (4.0, 5.0, 6.0)


def test_vector_arithmetic_matches_numpy():
    a, b = z.Vec3(1, 2, 3), z.Vec3(-4, 0.5, 2)
    na, nb = np.array(tuple(a)), np.array(tuple(b))
    assert tuple(a + b) == tuple(na + nb)
    assert tuple(a - b) == tuple(na - nb)
    assert tuple(-a) == tuple(-na)
    assert tuple(a * 2.5) == tuple(na * 2.5)
    assert tuple(2.5 * a) == tuple(na * 2.5)
    assert tuple(a / 4) == tuple(na / 4)
    assert a.dot(b) == pytest.approx(float(na @ nb))
    assert tuple(a.cross(b)) == pytest.approx(tuple(np.cross(na, nb)))
    assert a.squared_norm() == 14.0
    assert a.norm() == math.sqrt(14.0)
    assert tuple(a.normalized()) == pytest.approx(tuple(na / np.linalg.norm(na)))


def test_position_differences_and_sums():
    p, q = z.Pos(1, 2, 3), z.Pos(0, 1, 1)
    assert isinstance(p - q, z.Vec3)
    assert p - q == z.Vec3(1, 1, 2)
    assert p + z.Vec3(1, 1, 1) == z.Pos(2, 3, 4)
    assert p - z.Vec3(1, 1, 1) == z.Pos(0, 1, 2)
    assert p + q == z.Pos(1, 3, 4)
    assert p.to_vec3() == z.Vec3(1, 2, 3)
    assert z.Vec3(1, 2, 3).to_pos() == p


def test_normalising_a_zero_vector_raises_overflow_error():
    with pytest.raises(OverflowError, match=r"^0-length vector cannot be normalized\.$"):
        z.Vec3(1e-8, 0, 0).normalized()
    with pytest.raises(OverflowError, match=r"^0-length vector cannot be normalized\.$"):
        z.Dir(z.Vec3())


def test_directions_keep_three_numbers_and_normalise_vectors():
    assert tuple(z.Dir()) == (1.0, 0.0, 0.0)
    assert tuple(z.Dir(0, 2, 0)) == (0.0, 2.0, 0.0)
    assert tuple(z.Dir(z.Vec3(0, 2, 0))) == (0.0, 1.0, 0.0)


def test_equality_compares_every_field():
    assert z.Vec3(1, 2, 3) == z.Vec3(1, 2, 3)
    assert z.Vec3(1, 2, 3) != z.Vec3(1, 2, 4)
    assert z.Orient() == z.Orient(1, 0, 0, 0)
    assert z.Orient(0, 1, 0, 0) != z.Orient()
    with pytest.raises(TypeError):
        hash(z.Vec3())


def test_brace_forms_and_reprs():
    assert str(z.Vec3(1, 0.1 + 0.2, -3)) == "{1, 0.30000000000000004, -3}"
    assert repr(z.Pos(1, 2, 3)) == "<zorrob.Pos {1, 2, 3}>"
    assert str(z.Orient(1 / 3, 0, 0, 1)) == "{0.333333, 0, 0, 1}"
    assert str(z.Vec3f(0.1, 0, 0)) == "{0.1, 0, 0}"
    assert repr(z.Dirf()) == "<zorrob.Dirf {1, 0, 0}>"


def test_float_versions_store_single_precision():
    v = z.Vec3f(0.1, 0.2, 0.3)
    assert v.x == float(np.float32(0.1))
    assert z.Posf(1, 2, 3) == z.Posf(1, 2, 3)
    r = z.Rotationf(math.pi / 2, z.Vec3f(0, 0, 1))
    assert r.w == float(np.float32(math.cos(np.float32(math.pi / 2) / 2)))


def test_rotation_constructor_takes_the_scalar_first_and_normalises():
    r = z.Rotation(2, 0, 0, 0)
    assert (r.x, r.y, r.z, r.w) == (0.0, 0.0, 0.0, 1.0)
    r = z.Rotation(0.5, 0.5, 0.5, 0.5)
    assert (r.w, r.x, r.y, r.z) == (0.5, 0.5, 0.5, 0.5)
    assert r.to_string() == "{0.5, 0.5, 0.5, 0.5}"
    assert str(r) == "{0.5, 0.5, 0.5, 0.5}"
    assert repr(z.Rotation()) == "<zorrob.Rotation {1, 0, 0, 0}>"


def test_zero_quaternion_raises_value_error():
    with pytest.raises(ValueError, match=r"^normalize quaternion of 0 magnitude$"):
        z.Rotation(0, 0, 0, 0)
    with pytest.raises(ValueError, match=r"^normalize quaternion of 0 magnitude$"):
        z.Rotation.raw(0, 0, 0, 0).to_orient()
    with pytest.raises(ValueError, match=r"^normalize quaternion of 0 magnitude$"):
        z.Pose(z.Pos(), z.Orient(0, 0, 0, 0)) * z.Pos(1, 2, 3)


def test_rotation_acts_like_its_matrix(rng):
    for _ in range(20):
        q = rng.normal(size=4)
        q /= np.linalg.norm(q)
        r = z.Rotation(*q)
        v = rng.normal(size=3)
        expected = rotation_matrix(*q) @ v
        assert tuple(r * z.Vec3(*v)) == pytest.approx(tuple(expected), abs=1e-12)
        assert tuple(r.rotate_vector(z.Vec3(*v))) == pytest.approx(tuple(expected), abs=1e-12)
        assert tuple(r * z.Pos(*v)) == pytest.approx(tuple(expected), abs=1e-12)


def test_rotation_product_applies_the_right_factor_first():
    about_z = z.Rotation(math.pi / 2, z.Vec3(0, 0, 1))
    about_x = z.Rotation(math.pi / 2, z.Dir(1, 0, 0))
    # x first: y goes to z; then z about z stays z.
    assert tuple((about_z * about_x) * z.Vec3(0, 1, 0)) == pytest.approx((0, 0, 1), abs=1e-15)
    raw = about_z.hamilton(about_x)
    product = about_z * about_x
    assert (raw.x, raw.y, raw.z, raw.w) == pytest.approx((product.x, product.y, product.z, product.w))


def test_euler_angles_round_trip():
    r = z.Rotation(0.1, -0.2, 0.3)
    assert tuple(r.to_euler()) == pytest.approx((0.1, -0.2, 0.3), abs=1e-12)
    assert tuple(r.to_euler_degree()) == pytest.approx(
        tuple(math.degrees(a) for a in (0.1, -0.2, 0.3)), abs=1e-10)


def test_rotation_queries():
    assert z.Rotation.identity().is_identity()
    assert not z.Rotation.raw(0, 0, 0, -1).is_identity()
    r = z.Rotation(0.7, z.Vec3(1, 2, 2))
    axis, angle = r.log()
    assert angle == pytest.approx(0.7)
    assert tuple(axis) == pytest.approx((1 / 3, 2 / 3, 2 / 3))
    assert r.is_approx(z.Rotation(0.7, z.Vec3(1, 2, 2)))
    inv = r.inverse()
    assert (inv * r).is_identity()
    o = r.to_orient()
    assert (o.q1, o.q2, o.q3, o.q4) == (r.w, r.x, r.y, r.z)
    assert z.Rotation.angular_distance(z.Orient(), o) == pytest.approx(0.7)
    half = z.Rotation.slerp(z.Orient(), o, 0.5)
    assert z.Rotation.angular_distance(z.Orient(), half) == pytest.approx(0.35)
    turned = z.Rotation.from_2_vectors(z.Vec3(1, 0, 0), z.Vec3(0, 3, 0))
    assert tuple(turned * z.Vec3(1, 0, 0)) == pytest.approx((0, 1, 0), abs=1e-15)
    turned = z.Rotation.from_2_dirs(z.Dir(1, 0, 0), z.Dir(0, 0, 1))
    assert tuple(turned * z.Vec3(1, 0, 0)) == pytest.approx((0, 0, 1), abs=1e-15)
    axes = z.Rotation.from_axes(z.Dir(0, 1, 0), z.Dir(-1, 0, 0), z.Dir(0, 0, 1))
    assert tuple(axes * z.Vec3(1, 0, 0)) == pytest.approx((0, 1, 0), abs=1e-15)
    assert tuple(axes * z.Dir(1, 0, 0)) == pytest.approx((0, 1, 0), abs=1e-15)


def test_rotation_normalize_in_place():
    r = z.Rotation.raw(0, 0, 0, 2)
    r.normalize()
    assert r.w == 1.0
    assert r.dot(z.Rotation()) == 1.0


def test_pose_maps_points_and_composes(rng):
    q = rng.normal(size=4)
    q /= np.linalg.norm(q)
    pose = z.Pose(z.Pos(10, 20, 30), z.Orient(*q))
    p = rng.normal(size=3)
    expected = rotation_matrix(*q) @ p + np.array([10, 20, 30])
    assert tuple(pose * z.Pos(*p)) == pytest.approx(tuple(expected), abs=1e-12)
    twice = pose * pose
    assert tuple(twice * z.Pos(*p)) == pytest.approx(tuple(pose * (pose * z.Pos(*p))), abs=1e-10)
    assert pose.rotation().is_approx(z.Rotation(*q))


def test_pose_text_form():
    pose = z.Pose(z.Pos(1, 0.1 + 0.2, 3), z.Orient(1 / 3, 0, 0, 1))
    assert pose.to_string() == "{{1, 0.30000000000000004, 3}, {0.333333, 0, 0, 1}}"
    assert str(pose) == pose.to_string()
    assert repr(z.Pose()) == "<zorrob.Pose {{0, 0, 0}, {1, 0, 0, 0}}>"
    assert str(z.Posef(z.Posf(0.5, 0, 0), z.Orientf())) == "{{0.5, 0, 0}, {1, 0, 0, 0}}"
    assert not hasattr(z.Posef, "to_string")


def test_lines():
    line = z.Line()
    assert (line.start, line.end) == (z.Pos(0, 0, 0), z.Pos(1, 0, 0))
    line = z.Line(z.Pos(1, 1, 1), z.Pos(1, 4, 5))
    assert line.get_length() == 5.0
    assert tuple(line.get_direction()) == pytest.approx((0, 0.6, 0.8))
    assert not line.is_empty()
    assert z.Line(z.Pos(), z.Pos(1e-8, 0, 0)).is_empty()
    with pytest.raises(OverflowError, match=r"^0-length vector cannot be normalized\.$"):
        z.Line(z.Pos(), z.Pos()).get_direction()
    moved = line.transformed(z.Pose(z.Pos(1, 0, 0), z.Orient()))
    assert moved == z.Line(z.Pos(2, 1, 1), z.Pos(2, 4, 5))
    assert str(moved) == "{{2, 1, 1}, {2, 4, 5}}"
    assert z.Line.kEmptyTolerance == 1e-7


def test_triangles():
    tri = z.Triangle()
    assert (tri.p1, tri.p2, tri.p3) == (z.Pos(0, 0, 0), z.Pos(0, 1, 0), z.Pos(0, 0, 1))
    tri = z.Triangle(z.Pos(0, 0, 0), z.Pos(3, 0, 0), z.Pos(0, 3, 0))
    assert tri.get_centroid() == z.Pos(1, 1, 0)
    moved = tri.transformed(z.Pose(z.Pos(0, 0, 1), z.Orient()))
    assert moved.p2 == z.Pos(3, 0, 1)
    assert str(moved) == "{{0, 0, 1}, {3, 0, 1}, {0, 3, 1}}"
    assert repr(z.Trianglef()) == "<zorrob.Trianglef {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}>"


def test_wrong_argument_types_raise_type_error():
    with pytest.raises(TypeError):
        z.Vec3("a", 0, 0)
    with pytest.raises(TypeError):
        z.Rotation(1, 2)
    with pytest.raises(TypeError):
        z.Pose() * 3
