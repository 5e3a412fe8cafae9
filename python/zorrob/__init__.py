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
from . import _fields, _naming, _zorrob

__all__ = [name for name in dir(_zorrob) if not name.startswith("_")]

# The classes live in the extension; show them as members of the package they are used from.
for _name in __all__:
    _item = getattr(_zorrob, _name)
    if isinstance(_item, type):
        try:
            _item.__module__ = __name__
        except (AttributeError, TypeError):
            pass
        _fields.wrap_list_fields(_item)
        _naming.rename_class(_item)
del _name, _item
__all__ += _naming.rename_module(globals())

from ._view import View, view  # noqa: E402  (after the extension's names)

__all__ += ["View", "view"]

# ---- Pickling, copy and deepcopy of the value types ----
#
# Arms, tools, programs and the other records must travel to worker processes. The extension's
# classes are plain records whose fields are read-write properties, so one reducer serves them
# all: the state is every read-write property's value (values that are records themselves are
# pickled the same way), and the rebuild sets them on a default-constructed instance. The list of
# fields is read from the class when it is pickled, so renamed fields and their aliases travel
# too. Enumerations travel as their integer values.

import copyreg as _copyreg
import inspect as _inspect


def _record_fields(cls):
    """The read-write properties of `cls`, without the deprecated aliases of renamed ones."""
    fields = []
    for name, member in _inspect.getmembers(cls):
        if not isinstance(member, property) or member.fset is None:
            continue
        new = _naming.snake_name(name)
        if new != name and isinstance(getattr(cls, new, None), property):
            continue
        fields.append(name)
    return fields


def _rebuild_record(cls, state):
    if cls in _BUILT_FROM_FIELDS:
        return cls(**dict(state))
    record = cls()
    for name, value in state:
        setattr(record, name, value)
    return record


def _reduce_record(record):
    cls = type(record)
    return _rebuild_record, (cls, tuple((name, getattr(record, name))
                                        for name in _record_fields(cls)))


def _reduce_enum(value):
    return type(value), (int(value),)


_BUILT_FROM_FIELDS = set()


def _picklable_types():
    """The extension's record classes (default-constructible, with fields) and enumerations."""
    records, enums = [], []
    for name in __all__:
        cls = globals()[name]
        if not isinstance(cls, type):
            continue
        if hasattr(cls, "__members__"):
            enums.append(cls)
            continue
        fields = _record_fields(cls)
        if not fields:
            continue
        try:
            cls()
        except TypeError:
            # Records without a default take their fields as the constructor's keywords.
            doc = cls.__init__.__doc__ or ""
            if not all(f" {name}: " in doc for name in fields):
                continue
            _BUILT_FROM_FIELDS.add(cls)
        records.append(cls)
    return records, enums


PICKLED_RECORDS, PICKLED_ENUMS = _picklable_types()
for _cls in PICKLED_RECORDS:
    _copyreg.pickle(_cls, _reduce_record)
for _cls in PICKLED_ENUMS:
    _copyreg.pickle(_cls, _reduce_enum)

# Every record without a repr of its own shows its fields.
for _name in __all__:
    _cls = globals()[_name]
    if isinstance(_cls, type) and not hasattr(_cls, "__members__") \
            and not issubclass(_cls, BaseException):
        _fields.add_repr(_cls, _record_fields)
del _cls, _name
