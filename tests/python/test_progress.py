"""Progress of the audit: the callable sees the fraction of moves audited in order from 0 to 1,
False cancels into a partial report, exceptions propagate, tqdm can show it; the tool's progress
line appears on a terminal only, never in a pipe or with --json."""

import io
import os
import pathlib
import pty
import select
import subprocess

import pytest

import zorrob as z

CELL = pathlib.Path(__file__).resolve().parent.parent.parent / "examples" / "audit" / "cell.json"


def joint_moves(count):
    """count joint moves of the default arm, joint 1 to 10, 20, 30, ... degrees."""
    moves = []
    for k in range(count):
        m = z.MoveAbsJ()
        m.to_joint_pos = z.JointTarget(z.RobJoint([10.0 * (k + 1), 0, 0, 0, 30, 0]))
        m.speed = z.v500
        moves.append(m)
    return moves


def audit(count, progress):
    return z.audit_program(z.default_arm(), z.RobJoint([0, 0, 0, 0, 30, 0]), joint_moves(count),
                           z.AuditOptions(), progress=progress)


def test_fractions_come_in_order_from_zero_to_one():
    seen = []
    report = audit(8, seen.append)  # append returns None: go on
    assert seen == [k / 8 for k in range(8)] + [1.0]
    assert not report.partial and len(report.moves) == 8


def test_false_cancels_into_a_partial_report():
    seen = []

    def until_half(fraction):
        seen.append(fraction)
        return fraction < 0.5

    report = audit(4, until_half)
    assert seen == [0.0, 0.25, 0.5]
    assert report.partial
    assert len(report.moves) == 2
    assert repr(report).startswith("<zorrob.AuditReport partial, 2 moves, 0 events, ")
    whole = audit(4, lambda fraction: True)
    assert not whole.partial
    assert [m.end_joints for m in report.moves] == [m.end_joints for m in whole.moves[:2]]


def test_exceptions_of_the_callable_propagate():
    def fail(fraction):
        raise KeyError("stop here")

    with pytest.raises(KeyError, match="stop here"):
        audit(3, fail)


def test_without_a_callable_the_report_is_whole():
    report = z.audit_program(z.default_arm(), z.RobJoint([0, 0, 0, 0, 30, 0]), joint_moves(2))
    assert not report.partial


def test_a_tqdm_bar_follows_the_audit():
    tqdm = pytest.importorskip("tqdm").tqdm
    out = io.StringIO()
    with tqdm(total=1.0, file=out) as bar:
        audit(5, lambda fraction: bar.update(fraction - bar.n))
        assert bar.n == pytest.approx(1.0, abs=1e-12)
    assert "100%" in out.getvalue()


@pytest.fixture
def tool_path():
    path = os.environ.get("ZORROB_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("the zorrob tool is not built (ZORROB_TOOL unset)")
    return path


def env_after(seconds):
    return dict(os.environ, ZORROB_PROGRESS_AFTER=str(seconds))


def stderr_on_a_terminal(path, args, env):
    """Runs the tool with its standard error on a pseudo-terminal; returns (stdout, stderr)."""
    master, slave = pty.openpty()
    try:
        done = subprocess.run([path, *args], stdout=subprocess.PIPE, stderr=slave, env=env,
                              check=False)
    finally:
        os.close(slave)
    chunks = []
    while select.select([master], [], [], 1.0)[0]:
        try:
            chunk = os.read(master, 65536)
        except OSError:  # the terminal's other end is closed and drained
            break
        if not chunk:
            break
        chunks.append(chunk)
    os.close(master)
    assert done.returncode in (0, 3), done
    return done.stdout.decode(), b"".join(chunks).decode()


def test_tool_shows_the_progress_line_on_a_terminal(tool_path):
    out, err = stderr_on_a_terminal(tool_path, ["audit", CELL], env_after(0))
    # The terminal turns each "\n" into "\r\n".
    assert err.startswith("\raudit   0%")
    assert err.endswith("\raudit 100%\r\n")
    percents = [int(part.split()[-1].rstrip("%")) for part in err.strip().split("\r")]
    assert percents == sorted(percents)
    assert out.startswith("program")


def test_tool_shows_no_progress_before_the_threshold(tool_path):
    out, err = stderr_on_a_terminal(tool_path, ["audit", CELL], env_after(1000))
    assert err == ""
    assert out.startswith("program")


def test_tool_shows_no_progress_with_json(tool_path):
    out, err = stderr_on_a_terminal(tool_path, ["--json", "audit", CELL], env_after(0))
    assert err == ""
    assert out.startswith("{")


def test_tool_shows_no_progress_in_a_pipe(tool_path):
    done = subprocess.run([tool_path, "audit", CELL], capture_output=True, text=True,
                          env=env_after(0), check=False)
    assert done.stderr == ""
    assert done.stdout.startswith("program")
