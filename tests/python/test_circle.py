"""The circle of a circular move: geometry, failures, zones, orientation modes and sub-arcs,
compared with hand-derived values and the zorrob tool."""

import math

import numpy as np
import pytest

import zorrob as z


@pytest.fixture
def half():
    return z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))


def test_half_circle_members(half):
    assert half.R == z.Vec3(100, 0, 0)
    assert half.r == 100.0
    assert half.N == z.Vec3(0, 0, -1)
    assert half.arcRad == pytest.approx(math.pi)
    assert half.arcLen == pytest.approx(100 * math.pi)
    assert half.cirPointFraction == pytest.approx(0.5)
    assert (half.A, half.B, half.C) == (z.Vec3(0, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))
    assert tuple(half.RA) == (-100, 0, 0)
    assert half.get_cir_point_angle() == pytest.approx(math.pi / 2)
    assert repr(half) == "<zorrob.TPCircle centre {100, 0, 0}, radius 100, arc 3.14159 rad>"


def test_circle_from_positions_in_either_precision(half):
    from_pos = z.TPCircle(z.Pos(0, 0, 0), z.Pos(100, 100, 0), z.Pos(200, 0, 0))
    from_posf = z.TPCircle(z.Posf(0, 0, 0), z.Posf(100, 100, 0), z.Posf(200, 0, 0))
    for other in (from_pos, from_posf):
        assert (other.R, other.r, other.arcRad) == (half.R, half.r, half.arcRad)


def test_samples_follow_the_arc(half):
    for t in np.linspace(0, 1, 9):
        angle = math.pi * (1 - t)
        p = half.get_point(t)
        assert tuple(p) == pytest.approx((100 + 100 * math.cos(angle), 100 * math.sin(angle), 0),
                                         abs=1e-12)
        tangent = half.get_tangent(t)
        assert tuple(tangent) == pytest.approx((math.sin(angle), -math.cos(angle), 0), abs=1e-12)


def test_points_that_make_no_circle_raise_circle_error():
    assert issubclass(z.CircleError, RuntimeError)
    with pytest.raises(z.CircleError, match="^The points are collinear$"):
        z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(1, 1, 1), z.Vec3(2, 2, 2))
    with pytest.raises(z.CircleError, match="^The points coincide$"):
        z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(0, 0, 0), z.Vec3(2, 2, 2))
    with pytest.raises(RuntimeError):
        z.TPCircle(z.Vec3(1, 0, 0), z.Vec3(1, 0, 0), z.Vec3(1, 0, 0))


def test_queries_on_the_arc(half):
    assert half.point_on_arc(z.Vec3(100, 100, 0))
    assert not half.point_on_arc(z.Vec3(100, -100, 0))
    assert half.get_angle_from_start(z.Vec3(200, 0, 0)) == pytest.approx(math.pi)
    to_top = half.get_sub_arc_to_point(z.Vec3(100, 100, 0))
    assert isinstance(to_top, z.TPCircle)
    assert to_top.arcRad == pytest.approx(math.pi / 2)
    from_top = half.get_sub_arc_from_point(z.Vec3(100, 100, 0))
    assert tuple(from_top.C) == (200, 0, 0)
    assert half.get_sub_arc_to_point(z.Vec3(100, -100, 0)) is None
    assert half.get_sub_arc_to_point(z.Vec3(0, 0, 0)) is None


def test_intersections_of_two_arcs(half):
    other = z.TPCircle(z.Vec3(100, 0, 0), z.Vec3(200, 100, 0), z.Vec3(300, 0, 0))
    # The circles meet at (150, ±50√3, 0); only the upper point lies on both arcs.
    points = half.intersect_arcs(other)
    assert len(points) == 1
    assert tuple(points[0]) == pytest.approx((150, 50 * math.sqrt(3), 0))
    far = z.TPCircle(z.Vec3(1000, 0, 0), z.Vec3(1100, 100, 0), z.Vec3(1200, 0, 0))
    assert half.intersect_arcs(far) == []


def test_zones_match_the_tool(half, tool):
    out = tool("circle", "--start", 0, 0, 0, "--via", 100, 100, 0, "--end", 200, 0, 0,
               "--zone", "z10")
    lines = {line.split()[0]: line for line in out.splitlines() if line.strip()}
    d = z.z10.pzoneTcp
    entry, entry_dir = half.get_start_zone_point(d), half.get_start_zone_velocity(d)
    exit_, exit_dir = half.get_end_zone_point(d), half.get_end_zone_velocity(d)
    expected_entry = "(%.4f, %.4f, %.4f)  direction (%.6f, %.6f, %.6f)" % (*entry, *entry_dir)
    expected_exit = "(%.4f, %.4f, %.4f)  direction (%.6f, %.6f, %.6f)" % (*exit_, *exit_dir)
    assert lines["entry"].split(None, 1)[1] == expected_entry
    assert lines["exit"].split(None, 1)[1] == expected_exit
    # By hand: 10 mm of arc on a radius of 100 is 0.1 rad from A.
    assert tuple(entry) == pytest.approx((100 - 100 * math.cos(0.1), 100 * math.sin(0.1), 0))


ORIS = (z.Orient(1, 0, 0, 0), z.Orient(0.92388, 0, 0, 0.382683), z.Orient(0.707107, 0, 0, 0.707107))


@pytest.mark.parametrize("mode,method", [("cirpoint", "get_ori_in_cir_point_ori_mode"),
                                         ("path", "get_ori_in_path_frame"),
                                         ("object", "get_ori_in_object_frame")])
def test_orientation_modes_match_the_tool(half, tool, mode, method):
    out = tool("circle", "--start", 0, 0, 0, "--via", 100, 100, 0, "--end", 200, 0, 0,
               "--ori-mode", mode, "--ori", *[c for o in ORIS for c in o])
    rows = out.split("orientation in")[1].splitlines()[2:]
    rows = [row.split() for row in rows if row.strip()]
    assert len(rows) == 5
    for row in rows:
        t = float(row[0])
        q = getattr(half, method)(t, *ORIS)
        assert ["%.6f" % c for c in q] == row[1:]


def test_orientation_ends_are_returned_unchanged(half):
    start, cir, end = ORIS
    assert half.get_ori_in_object_frame(0, start, cir, end) == start
    assert half.get_ori_in_object_frame(1, start, cir, end) == end
    assert half.get_ori_in_cir_point_ori_mode(half.cirPointFraction, start, cir, end) == cir
    long_way = half.long_slerp(start, end, 0.5)
    assert z.Rotation.angular_distance(start, long_way) == pytest.approx(math.pi - math.pi / 4)


def test_rate_jump_at_the_circle_point(half):
    # The half circle turns the path frame by -θ about z; orientations about z then add angles.
    # Start 0, circle point 45°, end 0 degrees: relative to the frame 0, 135° and 180°, rates
    # 1.5π and 0.5π per unit fraction on either half: a jump of π. An end at 90° keeps the rate.
    def about_z(degrees):
        h = math.radians(degrees) / 2
        return z.Orient(math.cos(h), 0, 0, math.sin(h))
    assert half.get_cir_point_rate_jump(about_z(0), about_z(45), about_z(0)) == \
        pytest.approx(math.pi, rel=1e-12)
    assert half.get_cir_point_rate_jump(about_z(0), about_z(45), about_z(90)) == \
        pytest.approx(0, abs=1e-12)


def test_dump_writes_to_python_stdout(half, capsys):
    half.dump()
    out = capsys.readouterr().out
    assert out.splitlines()[0] == "A : 0 0 0"
    assert "r : 100" in out.splitlines()


def test_nan_points_give_an_exception_or_nan_circle():
    nan = float("nan")
    try:
        circle = z.TPCircle(z.Vec3(nan, 0, 0), z.Vec3(100, 100, 0), z.Vec3(200, 0, 0))
    except (RuntimeError, OverflowError):
        return
    assert math.isnan(circle.get_point(0.5).x) or circle.r >= 0
