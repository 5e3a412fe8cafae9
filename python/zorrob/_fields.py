"""List fields that write through, and a repr for every record.

The extension hands out a record's array and list fields (``RobotConfig.joint_min``,
``AuditSample.joint_speeds``, ``MoveAudit.events``) as fresh Python lists, so changing an element
(``arm.joint_min[0] = -10``) would change only that copy. Here each such field returns a
:class:`FieldList` instead: a list whose changes are written back to the record at once, through
the field's own setter, so they take effect or raise the setter's error (a six-value field
refuses a seventh value) and leave the record unchanged. Assigning the whole field works as
before.

Records that the extension gives no repr get one that lists their fields.
"""


class FieldList(list):
    """A copy of a record's list field whose changes are written back to the record.

    Each change is applied to the record's current value of the field and stored through the
    field's setter first, then mirrored here: a change the field cannot take raises and changes
    neither. Copies and pickles of it are plain lists.
    """

    __slots__ = ("_owner", "_get", "_set")

    def __init__(self, values, owner, get, set):
        super().__init__(values)
        self._owner, self._get, self._set = owner, get, set

    def _change(self, method, *args):
        values = list(self._get(self._owner))
        result = getattr(list, method)(values, *args)
        self._set(self._owner, values)
        list.__init__(self, values)
        return result

    def __reduce_ex__(self, protocol):
        return list, (list(self),)

    def __copy__(self):
        return list(self)

    def __deepcopy__(self, memo):
        import copy

        return copy.deepcopy(list(self), memo)

    def __iadd__(self, other):
        self._change("extend", list(other))
        return self

    def __imul__(self, count):
        self._change("__imul__", count)
        return self


def _changer(method):
    def change(self, *args):
        return self._change(method, *args)

    change.__name__ = method
    change.__doc__ = f"list.{method}, written back to the record."
    return change


for _method in ("__setitem__", "__delitem__", "append", "extend", "insert", "pop", "remove",
                "clear", "sort", "reverse"):
    setattr(FieldList, _method, _changer(_method))
del _method


def _list_getter(get, set):
    def read(self):
        value = get(self)
        return FieldList(value, self, get, set) if type(value) is list else value

    return read


def wrap_list_fields(cls):
    """Makes cls's own read-write properties return a FieldList where their value is a list."""
    for name, item in list(vars(cls).items()):
        # Plain properties only: the extension's static properties (constants) are a subclass.
        if type(item) is not property or item.fset is None:
            continue
        setattr(cls, name, property(_list_getter(item.fget, item.fset), item.fset, None,
                                    item.__doc__))


def _record_repr(fields):
    def __repr__(self):
        body = ", ".join(f"{name}={getattr(self, name)!r}" for name in fields(type(self)))
        return f"<{type(self).__module__}.{type(self).__name__} {body}>"

    return __repr__


def add_repr(cls, fields):
    """Gives cls a repr listing fields(cls) unless a class of the extension defines one."""
    if any("__repr__" in vars(base) for base in cls.__mro__ if base is not object
           and base.__module__ not in ("pybind11_builtins", "builtins")):
        return
    if fields(cls):
        cls.__repr__ = _record_repr(fields)
