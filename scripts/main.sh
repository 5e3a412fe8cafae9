#!/usr/bin/env bash
# Sets up, builds and runs the library's main job: the zorrob tool's tour of the default arm.
# Arguments are passed to the tool (for example: scripts/main.sh fk 0 0 0 0 45 0).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZORROB_JOBS:-2}
scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$jobs" --target zorrob_cli >/dev/null
exec ./build/apps/zorrob/zorrob "$@"
