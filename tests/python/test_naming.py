"""One naming style: every camelCase attribute and kName constant of the extension has its PEP 8
name, and the old names keep working as deprecated aliases."""

import re
import warnings

import pytest

import zorrob as z
from zorrob import _naming

CLASSES = [getattr(z, name) for name in z.__all__ if isinstance(getattr(z, name), type)]


@pytest.mark.parametrize("old, new", [
    ("jointMax", "joint_max"), ("bodyScrewAxes", "body_screw_axes"), ("vTcp", "v_tcp"),
    ("cirPointFraction", "cir_point_fraction"), ("cf1", "cf1"), ("joint_max", "joint_max"),
    ("A", "A"), ("RA", "RA"), ("kJointLimitTolerance", "kJointLimitTolerance"),
])
def test_snake_name(old, new):
    assert _naming.snake_name(old) == new


@pytest.mark.parametrize("old, new", [
    ("kJointLimitTolerance", "JOINT_LIMIT_TOLERANCE"), ("kUnsetRobJoint", "UNSET_ROB_JOINT"),
    ("kPureTranslationAngle", "PURE_TRANSLATION_ANGLE"), ("jointMax", "jointMax"), ("k", "k"),
    ("kind", "kind"),
])
def test_constant_name(old, new):
    assert _naming.constant_name(old) == new


def camel_properties():
    for cls in CLASSES:
        for name, item in vars(cls).items():
            if (isinstance(item, property) and re.match(r"^[a-z][a-z0-9]*[A-Z]", name)
                    and not re.match(r"^k[A-Z]", name)):
                yield cls, name


def test_every_camel_case_attribute_has_its_snake_case_twin():
    seen = list(camel_properties())
    assert (z.RobotConfig, "jointMax") in seen and (z.AuditEvent, "startFraction") in seen
    for cls, old in seen:
        new = _naming.snake_name(old)
        assert isinstance(vars(cls)[new], property), (cls, new)
        assert vars(cls)[old].__doc__.endswith(f"Deprecated alias of {new}, kept for one release.")


def test_new_names_read_and_write_the_fields_without_warnings():
    arm = z.default_arm()
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        arm.joint_max = [1, 2, 3, 4, 5, 6, 7]
        assert list(arm.joint_max) == [1, 2, 3, 4, 5, 6, 7]
        assert z.MoveL().to_point == z.RobTarget()  # inherited from MoveRecord
        assert z.v1000.v_tcp == 1000
        options = z.AuditOptions()
        options.keep_samples = True
        assert options.keep_samples


def test_old_names_are_the_same_fields_and_warn():
    arm = z.default_arm()
    with pytest.warns(DeprecationWarning, match=r"^RobotConfig\.jointMax is deprecated, use "
                                                r"joint_max$"):
        arm.jointMax = [7, 6, 5, 4, 3, 2, 1]
    assert list(arm.joint_max) == [7, 6, 5, 4, 3, 2, 1]
    with pytest.warns(DeprecationWarning, match=r"^SpeedData\.vTcp is deprecated, use v_tcp$"):
        assert z.v1000.vTcp == z.v1000.v_tcp
    with pytest.warns(DeprecationWarning, match=r"^AuditEvent\.moveIndex is deprecated"):
        assert z.AuditEvent().moveIndex == 0


def test_read_only_fields_stay_read_only_under_both_names():
    move = z.MoveL()
    assert move.move_type == z.MoveType.MoveL
    with pytest.raises(AttributeError):
        move.move_type = z.MoveType.MoveJ
    with pytest.raises(AttributeError), warnings.catch_warnings():
        warnings.simplefilter("ignore")
        move.moveType = z.MoveType.MoveJ


def test_constants_have_their_capital_names_and_keep_the_old_ones():
    assert z.RobotConfig.JOINT_LIMIT_TOLERANCE == z.RobotConfig.kJointLimitTolerance == 1e-6
    assert z.RobotConfig.SPHERICAL_WRIST_TOLERANCE == z.RobotConfig.kSphericalWristTolerance
    assert z.Transform.PURE_TRANSLATION_ANGLE == z.Transform.kPureTranslationAngle
    assert z.Rotationf.IDENTITY_TOLERANCE == z.Rotationf.kIdentityTolerance
    assert z.UNSET_ROB_JOINT == z.kUnsetRobJoint and z.UNSET_EXT_JOINT == z.kUnsetExtJoint
    assert "UNSET_ROB_JOINT" in z.__all__ and "kUnsetRobJoint" in z.__all__
