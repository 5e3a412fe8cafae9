"""Every value type of the module pickles, copies and deep-copies: the copy has every field equal
(floats bit for bit) and is independent of the original."""

import copy
import math
import pickle

import numpy as np
import pytest

import zorrob


def fields(cls):
    """The read-write properties, without the deprecated camelCase aliases."""
    names = [name for name in dir(cls)
             if isinstance(getattr(cls, name, None), property) and getattr(cls, name).fset]
    return [name for name in names if zorrob._naming.snake_name(name) == name
            or zorrob._naming.snake_name(name) not in names]


def fill(record, rng, depth=0):
    """Sets every float field to a random value and fills nested records the same way; fields
    that refuse a value (checked setters) keep theirs."""
    for name in fields(type(record)):
        value = getattr(record, name)
        try:
            if isinstance(value, float):
                setattr(record, name, float(rng.uniform(-1000, 1000)))
            elif isinstance(value, list) and value and isinstance(value[0], float):
                setattr(record, name, [float(v) for v in rng.uniform(-1000, 1000, len(value))])
            elif type(value) in zorrob.PICKLED_RECORDS and depth < 3:
                setattr(record, name, fill(value, rng, depth + 1))
            elif isinstance(value, list) and value and type(value[0]) in zorrob.PICKLED_RECORDS:
                setattr(record, name, [fill(v, rng, depth + 1) for v in value])
        except (TypeError, ValueError):
            pass
    return record


def default_of(cls):
    """A default instance; records without one get their fields' default values."""
    try:
        return cls()
    except TypeError:
        if cls is zorrob.OrthoParallelParameters:
            return cls(zorrob.OrthoParallelGeometry())
        raise


def state(value):
    """Everything a value holds, recursively, with floats as their exact bits."""
    if type(value) in zorrob.PICKLED_RECORDS:
        return (type(value).__name__,
                tuple((n, state(getattr(value, n))) for n in fields(type(value))))
    if isinstance(value, float):
        return ("float", value.hex() if not math.isnan(value) else "nan")
    if isinstance(value, (list, tuple)):
        return tuple(state(v) for v in value)
    if isinstance(value, np.ndarray):
        return ("array", value.tobytes(), value.shape)
    return value


@pytest.mark.parametrize("cls", zorrob.PICKLED_RECORDS, ids=lambda c: c.__name__)
def test_every_record_round_trips(cls, rng):
    original = fill(default_of(cls), rng)
    for copied in (pickle.loads(pickle.dumps(original)), copy.copy(original),
                   copy.deepcopy(original)):
        assert type(copied) is cls
        assert state(copied) == state(original)
        assert copied is not original


@pytest.mark.parametrize("cls", zorrob.PICKLED_ENUMS, ids=lambda c: c.__name__)
def test_every_enumeration_round_trips(cls):
    for value in cls.__members__.values():
        assert pickle.loads(pickle.dumps(value)) == value
        assert copy.deepcopy(value) == value


def test_the_types_that_do_not_pickle_are_the_computation_objects():
    classes = {n for n in zorrob.__all__ if isinstance(getattr(zorrob, n), type)}
    covered = {c.__name__ for c in zorrob.PICKLED_RECORDS + zorrob.PICKLED_ENUMS}
    assert classes - covered == {"CircleError", "MoveRecord", "TPCircle", "View"}


def test_a_copied_arm_solves_like_the_original(arm):
    copied = pickle.loads(pickle.dumps(arm))
    pose = zorrob.Pose(zorrob.Pos(800, 100, 900), zorrob.Orient(0, 0, 1, 0))
    a = arm.get_all_joint_solutions(pose)
    b = copied.get_all_joint_solutions(pose)
    assert [str(j) for j in a.joints] == [str(j) for j in b.joints]
    assert str(copied) == str(arm)


def test_a_deep_copy_is_independent(rng):
    move = zorrob.MoveL()
    move.tool = fill(zorrob.ToolData(), rng)
    deep = copy.deepcopy(move)
    deep.tool.tframe = zorrob.Pose()
    assert str(move.tool.tframe) != str(deep.tool.tframe)
