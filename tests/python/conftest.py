"""Shared fixtures of the Python tests: the default arm, a fixed-seed random source, the zorrob
tool and a folder for pictures."""

import os
import pathlib
import subprocess

import numpy as np
import pytest

import zorrob

DEFAULT_SEED = 20261123


def _seed():
    text = os.environ.get("ZORROB_TEST_SEED", "")
    try:
        return int(text)
    except ValueError:
        return DEFAULT_SEED


def pytest_report_header(config):
    return f"zorrob test seed: {_seed()} (set ZORROB_TEST_SEED to replay another)"


@pytest.fixture
def rng():
    """A numpy generator with the suite's fixed seed."""
    return np.random.default_rng(_seed())


@pytest.fixture(scope="session")
def arm():
    return zorrob.default_arm()


def random_joints(rng, arm, count):
    """count joint vectors (degrees) drawn uniformly inside the arm's limits."""
    low = np.array(arm.jointMin[:6])
    high = np.array(arm.jointMax[:6])
    return rng.uniform(low, high, size=(count, 6))


@pytest.fixture(scope="session")
def tool():
    """Runs the zorrob tool (its path comes from CTest) and returns its standard output."""
    path = os.environ.get("ZORROB_TOOL")
    if not path or not os.path.exists(path):
        pytest.skip("the zorrob tool is not built (ZORROB_TOOL unset)")

    def run(*args):
        done = subprocess.run([path, *map(str, args)], capture_output=True, text=True, check=True)
        return done.stdout

    return run


@pytest.fixture
def picture_dir(tmp_path):
    folder = os.environ.get("ZORROB_PLOT_DIR")
    if folder:
        path = pathlib.Path(folder)
        path.mkdir(parents=True, exist_ok=True)
        return path
    return tmp_path
