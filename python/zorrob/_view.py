"""The view: the arm, a program and its audit as one self-contained browser page (three.js
inside, nothing loaded from the network), as ``zorrob view`` writes it.

:func:`view` returns a :class:`View`, which notebooks show inline and :meth:`View.save` writes
to a file.
"""

import html as _html

from . import _zorrob

__all__ = ["View", "view"]


class View:
    """A written page. ``html`` is the whole document."""

    def __init__(self, html):
        self.html = html

    def _repr_html_(self):
        # In a frame of its own: the page is a whole document with its own scripts and style.
        return ('<iframe srcdoc="{}" style="width: 100%; height: 640px; border: 0" '
                'sandbox="allow-scripts"></iframe>').format(_html.escape(self.html, quote=True))

    def save(self, path):
        """Writes the page to ``path`` (UTF-8) and returns ``path``."""
        with open(path, "w", encoding="utf-8", newline="") as file:
            file.write(self.html)
        return path


def view(robot, report=None, program=None, *, start=None, title="zorrob", tool=None,
         joints=None, labels=None):
    """The page of ``robot`` (a RobotConfig), alone or running ``program`` (a list of MoveJ,
    MoveL, MoveC and MoveAbsJ).

    With a program and no ``report``, the program is audited from ``start`` (the arm's home
    joints by default) keeping every sample; a report given must be the audit of ``program``
    (with ``keep_samples`` for the path and the playback). ``labels`` names each move's target,
    circle point, tool and work object (a list of MoveLabels, one per move). ``tool`` (a
    ToolData) and ``joints`` (a RobJoint) set the tool and the pose of the arm alone.

    Raises ValueError for a report without its program or of another program, and for labels
    that are not one per move.
    """
    if report is not None and program is None:
        raise ValueError("a report needs the program it audited")
    options = _zorrob.ViewOptions()
    options.title = title
    if tool is not None:
        options.tool = tool
    if joints is not None:
        options.joints = joints
    if labels is not None:
        options.labels = list(labels)
    if program is None:
        return View(_zorrob.view_page(robot, options=options))
    program = list(program)
    if report is None:
        audit_options = _zorrob.AuditOptions()
        audit_options.keep_samples = True
        first = start if start is not None else robot.home_joint
        report = _zorrob.audit_program(robot, first, program, audit_options)
    return View(_zorrob.view_page(robot, program, report, options))
