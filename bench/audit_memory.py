"""Peak memory of `zorrob audit`: a program of many short moves (its text report, then its JSON
report), and one long move whose samples go to a file with --samples. Each run is a fresh
process; its peak resident set comes from wait4.
Usage: python3 bench/audit_memory.py TOOL [MOVES [SAMPLES]]."""

import json
import os
import subprocess
import sys
import tempfile

FORWARD = [0.7071067811865476, 0, 0.7071067811865476, 0]


def target(z):
    return {"position": [890, 0, z], "orientation": FORWARD, "conf": [0, 0, 0, 1]}


def peak_mb(args):
    """Runs args and returns its peak resident set in MB."""
    child = subprocess.Popen(args, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, _, usage = os.wait4(child.pid, 0)
    return usage.ru_maxrss / 1024


def main():
    tool = sys.argv[1]
    moves = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
    samples = int(sys.argv[3]) if len(sys.argv) > 3 else 100_000
    with tempfile.TemporaryDirectory() as folder:
        many = os.path.join(folder, "many.json")
        # Moves of 1 mm up and down: two samples each. Written move by move, so that this
        # process stays small: a child's peak counts the parent it was forked from.
        with open(many, "w") as f:
            f.write('{"start": [0, 0, 0, 0, 30, 0], "moves": [')
            for k in range(moves):
                move = {"type": "MoveL", "to": target(840 + k % 2), "speed": "v500",
                        "zone": "fine"}
                f.write((", " if k else "") + json.dumps(move))
            f.write("]}")
        print(f"{moves} short moves: {peak_mb([tool, 'audit', many]):.0f} MB")
        print(f"{moves} short moves, --json: {peak_mb([tool, 'audit', many, '--json']):.0f} MB")
        # One line of 100 mm sampled finely enough to give the samples asked for.
        long = os.path.join(folder, "long.json")
        program = {"start": [0, 0, 0, 0, 30, 0], "options": {"stepMm": 100 / samples},
                   "moves": [{"type": "MoveJ", "to": target(840), "speed": "v500",
                              "zone": "fine"},
                             {"type": "MoveL", "to": target(940), "speed": "v500",
                              "zone": "fine"}]}
        with open(long, "w") as f:
            json.dump(program, f)
        csv = os.path.join(folder, "samples.csv")
        print(f"one move of {samples} samples, --samples: "
              f"{peak_mb([tool, 'audit', long, '--samples', csv]):.0f} MB")


if __name__ == "__main__":
    main()
