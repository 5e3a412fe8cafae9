"""Motion programming and planning for six-axis serial robot arms.

The classes and functions come from the compiled extension ``zorrob._zorrob``; ``zorrob.plot``
draws joint paths and circular moves with matplotlib; ``zorrob.view`` writes the browser page of
an arm, a program and its audit. Lengths are in mm, joint values and joint
limits in degrees, angles of rotations in radians.

Names follow PEP 8: functions, methods and attributes in snake_case (``RobotConfig.joint_max``),
constants in capitals (``RobotConfig.JOINT_LIMIT_TOLERANCE``). The camelCase attribute names and
kName constants of earlier releases (``jointMax``, ``kJointLimitTolerance``) still work, are
deprecated and go in the next release.
"""

from ._zorrob import *  # noqa: F401,F403
from ._zorrob import __doc__ as _extension_doc  # noqa: F401
from . import _naming, _zorrob

__all__ = [name for name in dir(_zorrob) if not name.startswith("_")]

# The classes live in the extension; show them as members of the package they are used from.
for _name in __all__:
    _item = getattr(_zorrob, _name)
    if isinstance(_item, type):
        try:
            _item.__module__ = __name__
        except (AttributeError, TypeError):
            pass
        _naming.rename_class(_item)
del _name, _item
__all__ += _naming.rename_module(globals())

from ._view import View, view  # noqa: E402  (after the extension's names)

__all__ += ["View", "view"]
