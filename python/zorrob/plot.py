"""Pictures of joint paths, circular moves, reach maps and base placements, drawn with
matplotlib.

Every function builds a new :class:`matplotlib.figure.Figure` on the Agg canvas (no pyplot
state, so it works without a display and from several threads), returns it, and writes it as
PNG when given ``path``.
"""

import numpy as np
from matplotlib.backends.backend_agg import FigureCanvasAgg
from matplotlib.figure import Figure
from mpl_toolkits.mplot3d import Axes3D  # noqa: F401  (registers the 3D projection)

from . import _zorrob

__all__ = ["joints", "circle", "speed", "reach_slice", "placement_map"]

_LIMIT_COLOUR = "#d62728"
_PATH_COLOUR = "#1f77b4"


def _new_figure(size):
    figure = Figure(figsize=size, layout="constrained")
    FigureCanvasAgg(figure)
    return figure


def _finish(figure, path, dpi):
    if path is not None:
        figure.savefig(path, format="png", dpi=dpi)
    return figure


def _report_marks(report):
    """(sample index, label) of each event of an audit report: the first kept sample of the
    event's move (or corner) at or after the event's start."""
    samples = report.samples
    marks = []
    for event in report.events():
        for index, sample in enumerate(samples):
            if (sample.move_index == event.move_index and sample.corner == event.corner
                    and sample.fraction >= event.start_fraction):
                marks.append((index, event.kind.to_string()))
                break
    return marks


def _joint_samples(report_or_samples):
    """The (N, 6) joint values and the event marks of an audit report, of an object with
    ``joints`` and ``events``, or of plain samples."""
    if hasattr(report_or_samples, "sample_joints"):
        values = report_or_samples.sample_joints()
        if len(values) == 0:
            raise ValueError("joints: the report keeps no samples; audit with "
                             "AuditOptions.keep_samples = True")
        return values, _report_marks(report_or_samples)
    samples = getattr(report_or_samples, "joints", report_or_samples)
    events = getattr(report_or_samples, "events", None) or []
    values = np.asarray(samples, dtype=float)
    if values.ndim != 2 or values.shape[1] != 6:
        raise ValueError(
            f"joints: expected an (N, 6) array of joint values in degrees, got shape {values.shape}")
    return values, _event_marks(events)


def _event_marks(events):
    """(sample index, label) of each event: pairs, or objects with an index and a text."""
    marks = []
    for event in events:
        if isinstance(event, (tuple, list)):
            index, label = event[0], str(event[1])
        else:
            index = getattr(event, "index", getattr(event, "sample", None))
            label = str(getattr(event, "message", getattr(event, "kind", event)))
        if index is not None:
            marks.append((float(index), label))
    return marks


def joints(report_or_samples, robot=None, *, events=None, x=None, title=None, path=None,
           dpi=100):
    """Draws each of the six joints over a path, one panel per joint.

    ``report_or_samples`` is an (N, 6) array of joint values in degrees, a
    :class:`zorrob.AuditReport` audited with ``keepSamples`` (its samples are drawn and its
    events marked), or any object with a ``joints`` array and optional ``events``. With ``robot`` (a :class:`zorrob.RobotConfig`) each
    panel shades the joint's allowed range as a band and draws its limits. ``events`` (pairs of
    sample index and label, or objects with ``index`` and ``message``) are marked as vertical
    lines in every panel. ``x`` gives the abscissa of each sample (default: the sample index).
    Returns the figure; writes it as PNG to ``path`` when given.
    """
    values, report_marks = _joint_samples(report_or_samples)
    marks = _event_marks(events) if events is not None else report_marks
    abscissa = np.arange(len(values)) if x is None else np.asarray(x, dtype=float)
    if abscissa.shape != (len(values),):
        raise ValueError(f"x: expected {len(values)} values, got shape {abscissa.shape}")

    figure = _new_figure((10, 7))
    axes = figure.subplots(3, 2, sharex=True)
    for joint, ax in enumerate(axes.flat):
        if robot is not None:
            low, high = robot.joint_min[joint], robot.joint_max[joint]
            ax.axhspan(low, high, color=_PATH_COLOUR, alpha=0.08, label="allowed range")
            for bound in (low, high):
                ax.axhline(bound, color=_LIMIT_COLOUR, linewidth=1, linestyle="--")
        ax.plot(abscissa, values[:, joint], color=_PATH_COLOUR, linewidth=1.5)
        for index, label in marks:
            position = abscissa[int(index)] if x is not None else index
            ax.axvline(position, color="#ff7f0e", linewidth=1)
            if joint == 0:
                ax.annotate(label, (position, 1.0), xycoords=("data", "axes fraction"),
                            rotation=90, va="top", ha="right", fontsize=7)
        ax.set_ylabel(f"joint {joint + 1} (deg)")
        ax.grid(True, linewidth=0.3)
    for ax in axes[-1]:
        ax.set_xlabel("sample" if x is None else "path")
    figure.suptitle(title or "Joint values along the path")
    return _finish(figure, path, dpi)


def _frame_axes(quaternion):
    """The columns of the rotation matrix of a unit quaternion (q1 = w first)."""
    w, x, y, z = quaternion / np.linalg.norm(quaternion)
    return np.array([
        [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)],
        [2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)],
        [2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)],
    ])


def circle(arc, *, zone=None, orientations=None, mode="object", samples=200, frames=5,
           title=None, path=None, dpi=100):
    """Draws a circular move in 3D: the arc, its start, via and end points and centre.

    ``arc`` is a :class:`zorrob.TPCircle`. ``zone`` (a :class:`zorrob.ZoneData`, or a distance in
    mm) marks the entry and exit points of the zone at that arc length from each end.
    ``orientations`` (three :class:`zorrob.Orient`: start, via, end) draws ``frames`` tool frames
    along the arc, interpolated in ``mode`` ('cirpoint', 'path' or 'object'). Returns the
    figure; writes it as PNG to ``path`` when given.
    """
    t = np.linspace(0.0, 1.0, max(int(samples), 2))
    points = arc.get_points(t)

    figure = _new_figure((7, 6))
    ax = figure.add_subplot(projection="3d")
    ax.plot(points[:, 0], points[:, 1], points[:, 2], color=_PATH_COLOUR, linewidth=2,
            label="arc")
    for name, point, marker in (("start", arc.A, "o"), ("via", arc.B, "s"), ("end", arc.C, "^"),
                                ("centre", arc.R, "x")):
        ax.scatter(*[[c] for c in point], marker=marker, s=40, label=name)

    if zone is not None:
        distance = zone.pzone_tcp if hasattr(zone, "pzone_tcp") else float(zone)
        entry, exit_ = arc.get_start_zone_point(distance), arc.get_end_zone_point(distance)
        ax.scatter([entry.x, exit_.x], [entry.y, exit_.y], [entry.z, exit_.z], color=_LIMIT_COLOUR,
                   marker="D", s=30, label=f"zone {distance:g} mm")

    if orientations is not None and frames > 0:
        start, via, end = orientations
        fractions = np.linspace(0.0, 1.0, int(frames))
        places = arc.get_points(fractions)
        quaternions = arc.get_orientations(mode, fractions, start, via, end)
        length = 0.2 * arc.r
        for place, quaternion in zip(places, quaternions):
            axes = _frame_axes(quaternion)
            for column, colour in zip(range(3), ("#d62728", "#2ca02c", "#1f77b4")):
                tip = place + length * axes[:, column]
                ax.plot(*zip(place, tip), color=colour, linewidth=1.2)

    # Equal scales on the three axes, so that the arc looks round and the frames square.
    corners = np.vstack([points, [tuple(arc.A), tuple(arc.B), tuple(arc.C), tuple(arc.R)]])
    middle = (corners.min(axis=0) + corners.max(axis=0)) / 2
    half = max(float(np.ptp(corners, axis=0).max()) / 2, 1e-9) * 1.1
    ax.set_xlim(middle[0] - half, middle[0] + half)
    ax.set_ylim(middle[1] - half, middle[1] + half)
    ax.set_zlim(middle[2] - half, middle[2] + half)
    ax.set_box_aspect((1, 1, 1))
    ax.set_xlabel("x (mm)")
    ax.set_ylabel("y (mm)")
    ax.set_zlabel("z (mm)")
    ax.legend(loc="upper left", fontsize=7)
    ax.set_title(title or f"Circular move, radius {arc.r:.1f} mm")
    return _finish(figure, path, dpi)


_LIMIT_NAMES = ("none", "tcp speed", "orientation speed", "joint speed", "joint acceleration",
                "tcp acceleration")
_LIMIT_COLOURS = ("#bbbbbb", "#1f77b4", "#17becf", "#ff7f0e", "#d62728", "#9467bd")


def _timing_of(report):
    """The timing arrays and the cycle time of an audit report or of the tool's document."""
    if isinstance(report, dict):
        samples = report.get("samples", [])
        names = {name: index for index, name in enumerate(_LIMIT_NAMES)}
        timing = {
            "time": np.array([s["time"] for s in samples], dtype=float),
            "tcp_speed": np.array([s["tcpSpeed"] for s in samples], dtype=float),
            "speed_share": np.array([s["speedShare"] for s in samples], dtype=float),
            "allowed_share": np.array([s["allowedShare"] for s in samples], dtype=float),
            "move": np.array([s["move"] for s in samples], dtype=float),
            "limit": np.array([names[s["limit"]] for s in samples], dtype=float),
        }
        return timing, float(report["duration"])
    return report.sample_timing(), report.duration


def speed(report, *, title=None, path=None, dpi=100):
    """Draws the speed profile of an audited program against time.

    ``report`` is a :class:`zorrob.AuditReport` audited with ``keep_samples``, or the document
    of ``zorrob audit --json --timed-samples`` (a dict, e.g. from ``json.load``). The upper panel
    draws the share of the programmed speed reached (the tool's speed over vTcp, or its
    reorientation over vOri; on joint moves the path speed over the joints' fastest) and the
    share the arm's limits allow, the programmed speed as the line at 1, and colours each
    sample by the limit at its bound there. The lower panel draws the tool's speed in mm/s,
    with the move boundaries marked in both. Returns the figure; writes it as PNG to ``path``
    when given.
    """
    timing, duration = _timing_of(report)
    time = timing["time"]
    if len(time) == 0:
        raise ValueError("speed: the report keeps no samples; audit with "
                         "AuditOptions.keep_samples = True")
    limits = timing["limit"].astype(int)

    figure = _new_figure((10, 6))
    top, bottom = figure.subplots(2, 1, sharex=True, height_ratios=(3, 2))
    top.axhline(1.0, color=_LIMIT_COLOUR, linewidth=1, linestyle="--", label="programmed speed")
    top.plot(time, np.minimum(timing["allowed_share"], 1.0), color="#7f7f7f", linewidth=1,
             linestyle=":", label="allowed by the limits")
    top.plot(time, timing["speed_share"], color=_PATH_COLOUR, linewidth=1.2, label="reached")
    for value, (name, colour) in enumerate(zip(_LIMIT_NAMES, _LIMIT_COLOURS)):
        chosen = limits == value
        if np.any(chosen):
            top.scatter(time[chosen], timing["speed_share"][chosen], s=6, color=colour,
                        label=f"bound: {name}", zorder=3)
    bottom.plot(time, timing["tcp_speed"], color=_PATH_COLOUR, linewidth=1.2)
    moves = timing["move"]
    for index in np.nonzero(np.diff(moves))[0]:
        for ax in (top, bottom):
            ax.axvline(time[index + 1], color="#cccccc", linewidth=0.8)
    top.set_ylabel("share of programmed speed")
    top.set_ylim(-0.02, 1.1)
    top.legend(loc="lower right", fontsize=7, ncol=2)
    top.grid(True, linewidth=0.3)
    bottom.set_ylabel("tool speed (mm/s)")
    bottom.set_xlabel("time (s)")
    bottom.grid(True, linewidth=0.3)
    figure.suptitle(title or f"Speed profile, cycle time {duration:.3f} s")
    return _finish(figure, path, dpi)

_AXES = "xyz"


def reach_slice(reach, *, axis="z", index=None, value="index", grid=None, title=None,
                path=None, dpi=100):
    """A slice of a reach map (a dict from zorrob.reach_map or zorrob.distributed.reach_map over
    a whole box grid) as a heat map: `value` ("index", "reachable", "best_manipulability" or
    "worst_manipulability") over the two other axes, at position `index` along `axis` (the
    middle one by default). `grid` is (min x, min y, min z, step) in mm for labelled axes, as
    the .npz files of `zorrob reach` hold it; grid indices otherwise."""
    shape = tuple(reach["shape"])
    if reach["begin"] != 0 or reach["end"] != int(np.prod(shape)):
        raise ValueError("reach_slice needs the map of the whole grid")
    if axis not in _AXES:
        raise ValueError(f"axis must be one of x, y, z, got {axis!r}")
    k = _AXES.index(axis)
    index = shape[k] // 2 if index is None else index
    if not 0 <= index < shape[k]:
        raise ValueError(f"index {index} lies outside the {shape[k]} positions along {axis}")
    cube = np.asarray(reach[value]).reshape(shape)
    plane = np.take(cube, index, axis=k)
    across = [a for a in range(3) if a != k]
    extent = None
    if grid is not None:
        lo, step = np.asarray(grid[:3], dtype=float), float(grid[3])
        extent = [lo[across[0]] - step / 2, lo[across[0]] + (shape[across[0]] - 0.5) * step,
                  lo[across[1]] - step / 2, lo[across[1]] + (shape[across[1]] - 0.5) * step]
    figure = _new_figure((6, 5))
    ax = figure.add_subplot()
    image = ax.imshow(plane.T, origin="lower", extent=extent, cmap="viridis", aspect="equal",
                      interpolation="nearest")
    figure.colorbar(image, ax=ax, label=value.replace("_", " "))
    unit = " (mm)" if grid is not None else ""
    ax.set_xlabel(_AXES[across[0]] + unit)
    ax.set_ylabel(_AXES[across[1]] + unit)
    where = (f"{axis} = {grid[k] + index * grid[3]:g} mm" if grid is not None
             else f"{axis} index {index}")
    ax.set_title(title or f"reach map, {where}")
    return _finish(figure, path, dpi)


def placement_map(ranking, *, score="share", title=None, path=None, dpi=100):
    """The scores of candidate bases (the 'ranked' list of a placement call) over x and y: each
    base a dot coloured by `score` ("share", "worst_manipulability", "events" or
    "cycle_time"), the best of the bases at each x, y for bases that differ only in their turn,
    and the first of the ranking ringed."""
    if not ranking:
        raise ValueError("placement_map needs at least one scored base")
    better = {"share": max, "worst_manipulability": max, "events": min, "cycle_time": min}
    if score not in better:
        raise ValueError(f"score must be one of {', '.join(better)}, got {score!r}")
    best_at = {}
    for s in ranking:
        key = (s["base"].pos.x, s["base"].pos.y)
        best_at[key] = better[score](best_at.get(key, s[score]), s[score])
    xy = np.array(list(best_at.keys()))
    values = np.array(list(best_at.values()), dtype=float)
    figure = _new_figure((6, 5))
    ax = figure.add_subplot()
    dots = ax.scatter(xy[:, 0], xy[:, 1], c=values, cmap="viridis", s=60)
    figure.colorbar(dots, ax=ax, label=score.replace("_", " "))
    top = ranking[0]["base"].pos
    ax.scatter([top.x], [top.y], s=220, facecolors="none", edgecolors=_LIMIT_COLOUR,
               linewidths=2, label="best")
    ax.legend(loc="best")
    ax.set_xlabel("x (mm)")
    ax.set_ylabel("y (mm)")
    ax.set_aspect("equal", adjustable="datalim")
    ax.set_title(title or "base placement")
    return _finish(figure, path, dpi)
