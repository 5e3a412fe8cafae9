"""The plots: drawn on the Agg canvas and written to PNG files that are read back and checked
for their size and for pixels that are not background."""

import numpy as np
import pytest

import matplotlib
import matplotlib.image

import zorrob as z
import zorrob.plot
from conftest import random_joints


def non_blank_share(path):
    image = matplotlib.image.imread(str(path))
    rgb = image[..., :3]
    return float(np.mean(np.any(rgb < 0.95, axis=-1)))


def test_joint_plot_is_written_as_png(arm, rng, picture_dir):
    path = picture_dir / "joints.png"
    samples = np.cumsum(rng.normal(scale=2.0, size=(200, 6)), axis=0)
    figure = zorrob.plot.joints(samples, arm, events=[(50, "near limit"), (120, "wrist")],
                                path=path, dpi=80)
    assert isinstance(figure, matplotlib.figure.Figure)
    assert len(figure.axes) == 6
    image = matplotlib.image.imread(str(path))
    assert image.shape[:2] == (7 * 80, 10 * 80)
    assert non_blank_share(path) > 0.02


def test_joint_plot_takes_a_report_with_joints_and_events(arm, rng, tmp_path):
    class Report:
        joints = random_joints(rng, arm, 30)
        events = [(3, "event")]

    figure = zorrob.plot.joints(Report(), arm, path=tmp_path / "report.png")
    assert (tmp_path / "report.png").stat().st_size > 1000
    assert figure.axes[0].lines  # path and limit lines


def test_joint_plot_rejects_wrong_samples():
    with pytest.raises(ValueError, match=r"^joints: expected an \(N, 6\) array"):
        zorrob.plot.joints(np.zeros((5, 4)))


def test_circle_plot_is_written_as_png(picture_dir):
    arc = z.TPCircle(z.Vec3(0, 0, 0), z.Vec3(100, 100, 20), z.Vec3(200, 0, 0))
    oris = (z.Orient(1, 0, 0, 0), z.Orient(0.92388, 0, 0, 0.382683), z.Orient(0.707107, 0, 0, 0.707107))
    path = picture_dir / "circle.png"
    figure = zorrob.plot.circle(arc, zone=z.z50, orientations=oris, path=path, dpi=80)
    assert isinstance(figure, matplotlib.figure.Figure)
    image = matplotlib.image.imread(str(path))
    assert image.shape[:2] == (6 * 80, 7 * 80)
    assert non_blank_share(path) > 0.02
    assert path.stat().st_size > 5000


def test_joint_plot_draws_an_audit_report_with_its_events(arm, picture_dir):
    forward = z.Orient(0.7071067811865476, 0, 0.7071067811865476, 0)
    first, second = z.MoveJ(), z.MoveL()
    first.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 840), forward), z.ConfData(0, 0, 0, 1))
    second.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 1040), forward), z.ConfData(0, 0, 0, 0))
    first.speed = second.speed = z.v500
    options = z.AuditOptions()
    options.keepSamples = True
    report = z.audit_program(arm, z.RobJoint(0, 0, 0, 0, 30, 0), [first, second], options)
    path = picture_dir / "audit.png"
    figure = zorrob.plot.joints(report, arm, path=path, dpi=80)
    labels = [text.get_text() for text in figure.axes[0].texts]
    assert "wrist singularity" in labels
    assert non_blank_share(path) > 0.02
    with pytest.raises(ValueError, match="keeps no samples"):
        zorrob.plot.joints(z.audit_program(arm, z.RobJoint(0, 0, 0, 0, 30, 0), [first, second]))


def test_speed_profile_is_drawn_against_time(tmp_path):
    import math
    forward = z.Orient(math.sqrt(0.5), 0, math.sqrt(0.5), 0)
    j = z.MoveJ()
    j.to_point = z.RobTarget(z.Pose(z.Pos(800, 0, 800), forward), z.ConfData(0, 0, 0, 1))
    j.speed = z.v500
    line = z.MoveL()
    line.to_point = z.RobTarget(z.Pose(z.Pos(900, 0, 800), forward), z.ConfData(0, 0, 0, 1))
    line.speed = z.v500
    opts = z.AuditOptions()
    opts.keep_samples = True
    report = z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), [j, line], opts)
    path = tmp_path / "speed.png"
    figure = zorrob.plot.speed(report, path=path, dpi=60)
    assert len(figure.axes) == 2
    image = matplotlib.image.imread(str(path))
    assert image.shape[:2] == (6 * 60, 10 * 60)
    assert non_blank_share(path) > 0.02
    with pytest.raises(ValueError, match="keeps no samples"):
        zorrob.plot.speed(z.audit_program(z.default_arm(), z.RobJoint(0, 0, 0, 0, 30, 0), [j]))
