"""One naming style for the package: PEP 8 snake_case attributes and UPPER_CASE constants.

The extension binds the library's records with the C++ field names (``jointMax``,
``kJointLimitTolerance``). This module gives every such attribute its Python name
(``joint_max``, ``JOINT_LIMIT_TOLERANCE``) and keeps the old name as a deprecated alias for one
release: reading or writing an old attribute name works and raises a DeprecationWarning; the old
constant names stay plain class and module attributes. Names that are all capitals (``TPCircle.A``,
``TPCircle.RA``: the points and radii of the circle's maths) and names already in snake_case are
left as they are.
"""

import re
import warnings

_CAMEL = re.compile(r"^[a-z][a-z0-9]*(?:[A-Z][a-z0-9]*)+$")
_CONSTANT = re.compile(r"^k[A-Z][A-Za-z0-9]*$")
_WORD = re.compile(r"(?<=[a-z0-9])(?=[A-Z])")


def snake_name(name):
    """``jointMax`` -> ``joint_max``; any other name (constants too) unchanged."""
    if _CONSTANT.match(name) or not _CAMEL.match(name):
        return name
    return _WORD.sub("_", name).lower()


def constant_name(name):
    """``kJointLimitTolerance`` -> ``JOINT_LIMIT_TOLERANCE``; any other name unchanged."""
    return _WORD.sub("_", name[1:]).upper() if _CONSTANT.match(name) else name


def _deprecated_alias(owner, old, new, prop):
    message = f"{owner}.{old} is deprecated, use {new}"

    def get(self):
        warnings.warn(message, DeprecationWarning, stacklevel=2)
        return prop.fget(self)

    def set(self, value):
        warnings.warn(message, DeprecationWarning, stacklevel=2)
        prop.fset(self, value)

    doc = f"Deprecated alias of {new}, kept for one release."
    return property(get, set if prop.fset else None, None, doc)


def rename_class(cls):
    """Adds the Python names of cls's own camelCase properties and kName constants."""
    for old, item in list(vars(cls).items()):
        if not isinstance(item, property):
            continue
        if _CONSTANT.match(old):
            # Class constants (static properties of the extension) become plain values.
            setattr(cls, constant_name(old), getattr(cls, old))
        elif _CAMEL.match(old):
            new = snake_name(old)
            setattr(cls, new, property(item.fget, item.fset, None, item.__doc__))
            setattr(cls, old, _deprecated_alias(cls.__name__, old, new, item))


def rename_module(namespace):
    """Adds the Python names of the module's kName constants; returns the names added."""
    added = []
    for old in [name for name in namespace if _CONSTANT.match(name)]:
        namespace[constant_name(old)] = namespace[old]
        added.append(constant_name(old))
    return added
