"""Draws the speed profile of examples/audit/cell.json as PNG.

Usage, from the repository root with the tool and the module built in build/:

    PYTHONPATH=build/python python3 examples/audit/plot_speed.py build/apps/zorrob/zorrob out.png
"""

import json
import pathlib
import subprocess
import sys

import zorrob.plot


def main(tool, out):
    program = pathlib.Path(__file__).with_name("cell.json")
    run = subprocess.run([tool, "audit", str(program), "--json", "--timed-samples"],
                         capture_output=True, text=True, check=False)
    if run.returncode not in (0, 3):  # 3: the program has events, the report is complete
        sys.exit(run.stderr)
    zorrob.plot.speed(json.loads(run.stdout), title="cell.json: speed profile", path=out, dpi=60)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
