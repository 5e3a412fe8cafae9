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

def test_reach_slice_is_a_heat_map_of_the_plane(arm, picture_dir):
    reach = z.reach_map(arm, z.sphere_orientations(8, 2), box_min=(0, -900, 100),
                        box_max=(1500, 900, 1500), step=300)
    path = picture_dir / "reach_slice.png"
    figure = zorrob.plot.reach_slice(reach, axis="y", grid=(0, -900, 100, 300), path=path, dpi=80)
    image = figure.axes[0].images[0].get_array()
    # The middle y plane (index 3): x across, z up.
    np.testing.assert_array_equal(image, reach["index"].reshape(6, 7, 5)[:, 3, :].T)
    assert figure.axes[0].get_title() == "reach map, y = 0 mm"
    assert non_blank_share(path) > 0.05
    with pytest.raises(ValueError, match="index 9 lies outside the 5 positions along z"):
        zorrob.plot.reach_slice(reach, index=9)
    part = z.reach_map(arm, z.sphere_orientations(2), box_min=(0, 0, 0), box_max=(300, 0, 0),
                       step=300, end=1)
    with pytest.raises(ValueError, match="reach_slice needs the map of the whole grid"):
        zorrob.plot.reach_slice(part)


def test_placement_map_colours_the_best_score_at_each_base(arm, picture_dir):
    targets = [arm.get_rob_target(z.RobJoint(a, 20, -10, 0, 40, 0)).pose for a in (-30, 0, 30)]
    bases = z.base_grid_poses(-600, 600, -600, 600, 300, 0, 90, 90)
    ranking = z.rank_base_placements(arm, targets, bases)["ranked"]
    path = picture_dir / "placement.png"
    figure = zorrob.plot.placement_map(ranking, path=path, dpi=80)
    colours = figure.axes[0].collections[0].get_array()
    assert len(colours) == 25  # 5 x 5 positions, two turns each
    best = {}
    for s in ranking:
        key = (s["base"].pos.x, s["base"].pos.y)
        best[key] = max(best.get(key, 0.0), s["share"])
    assert sorted(colours) == sorted(best.values())
    assert non_blank_share(path) > 0.02
    with pytest.raises(ValueError, match="score must be one of"):
        zorrob.plot.placement_map(ranking, score="speed")
