"""zorrob.view: the browser page of an arm, a program and its audit, read back from its data
document; the notebook form and the file; the errors. What the page shows is tested in a browser
(tests/browser)."""

import html
import json
import math
import re

import pytest

import zorrob as z

FORWARD = z.Orient(math.sqrt(0.5), 0, math.sqrt(0.5), 0)


def data_of(page):
    found = re.search(r'<script type="application/json" id="zorrob-data">(.*?)</script>', page,
                      re.S)
    assert found is not None
    return json.loads(found.group(1))


def through_the_wrist():
    # On x = 890 joint 5 passes zero at z = 940, half-way up the line from 840 to 1040.
    down = z.MoveJ()
    down.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 840), FORWARD), z.ConfData(0, 0, 0, 1))
    down.speed = z.v500
    up = z.MoveL()
    up.toPoint = z.RobTarget(z.Pose(z.Pos(890, 0, 1040), FORWARD), z.ConfData(0, 0, 0, 0))
    up.speed = z.v500
    return [down, up]


def test_arm_alone_at_home_and_at_given_joints():
    page = z.view(z.default_arm(), title="cell <1>").html
    assert page.startswith("<!DOCTYPE html>")
    assert "<title>cell &lt;1&gt;</title>" in page
    data = data_of(page)
    assert data["title"] == "cell <1>"
    assert data["joints"] == [0, 0, 0, 0, 0, 0]
    assert "samples" not in data
    data = data_of(z.view(z.default_arm(), joints=z.RobJoint(1, 2, 3, 4, 5, 6)).html)
    assert data["joints"] == [1, 2, 3, 4, 5, 6]


def test_program_is_audited_from_home_keeping_its_samples():
    robot = z.default_arm()
    data = data_of(z.view(robot, program=through_the_wrist()).html)
    options = z.AuditOptions()
    options.keep_samples = True
    report = z.audit_program(robot, z.RobJoint(0, 0, 0, 0, 0, 0), through_the_wrist(), options)
    assert data["samples"]["count"] == len(report.samples) > 100
    kinds = sorted(e["kind"] for e in data["events"])
    assert kinds == ["configuration change", "wrist singularity"]
    assert [m["type"] for m in data["moves"]] == ["MoveJ", "MoveL"]


def test_a_given_report_and_labels_are_shown():
    robot = z.default_arm()
    moves = through_the_wrist()
    report = z.audit_program(robot, z.RobJoint(0, 0, 0, 0, 30, 0), moves)  # no samples
    labels = [z.MoveLabels(target="below"), z.MoveLabels("</script>", tool="gun")]
    page = z.view(robot, report, moves, labels=labels).html
    assert page.count("</script>") == 4
    data = data_of(page)
    assert data["samples"]["count"] == 0
    assert [t["name"] for t in data["targets"]] == ["below", "</script>"]
    assert data["moves"][1]["tool"] == "gun"
    assert data["targets"][1]["pose"][:3] == [890, 0, 1040]
    assert len(data["events"]) == report.event_count() == 2


def test_notebooks_show_the_page_in_a_frame_and_save_writes_it(tmp_path):
    shown = z.view(z.default_arm())
    frame = shown._repr_html_()
    found = re.fullmatch(r'<iframe srcdoc="([^"]*)" [^>]*></iframe>', frame, re.S)
    assert found is not None
    assert html.unescape(found.group(1)) == shown.html
    path = tmp_path / "arm.html"
    assert shown.save(str(path)) == str(path)
    assert path.read_text(encoding="utf-8") == shown.html


def test_errors():
    robot = z.default_arm()
    moves = through_the_wrist()
    report = z.audit_program(robot, z.RobJoint(0, 0, 0, 0, 30, 0), moves)
    with pytest.raises(ValueError, match="^a report needs the program it audited$"):
        z.view(robot, report)
    with pytest.raises(ValueError, match="^the report does not belong to the program$"):
        z.view(robot, report, moves[:1])
    with pytest.raises(ValueError, match="^labels must be given for every move or none$"):
        z.view(robot, report, moves, labels=[z.MoveLabels()])
    with pytest.raises(ValueError, match="^a program and its audit report go together$"):
        z.view_page(robot, moves)
