"""The module as a whole: importable from the build tree, every class and function documented,
the classes shown as members of the package."""

import zorrob as z


def documentation_lines(item, name):
    """The lines of a docstring other than pybind11's generated signatures."""
    lines = []
    for line in (item.__doc__ or "").strip().splitlines():
        text = line.strip()
        generated = (text.startswith(name + "(") or text.startswith("Overloaded function")
                     or text[:2] in ("1.", "2.", "3.", "4.", "5."))
        if text and not generated:
            lines.append(text)
    return lines


def test_every_class_and_function_has_a_docstring():
    missing = []
    for name in z.__all__:
        item = getattr(z, name)
        if isinstance(item, type):
            if not (item.__doc__ or "").strip():
                missing.append(name)
            for attr, member in vars(item).items():
                if not attr.startswith("_") and callable(member) and not isinstance(member, type):
                    if not documentation_lines(member, attr):
                        missing.append(f"{name}.{attr}")
        elif callable(item) and not documentation_lines(item, name):
            missing.append(name)
    assert missing == []


def test_classes_belong_to_the_package():
    assert z.RobotConfig.__module__ == "zorrob"
    assert z.CircleError.__module__ == "zorrob"
    assert z.__doc__.startswith("Motion programming and planning")
