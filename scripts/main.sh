#!/usr/bin/env bash
# Sets up, builds and runs the library's main job: the zorrob tool's tour of the default arm.
# Arguments are passed to the tool (for example: scripts/main.sh fk 0 0 0 0 45 0).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZORROB_JOBS:-2}
scripts/setup.sh
# The build is quiet: a line when there is work to do, its whole output in a log named on failure.
mkdir -p build
log=build/main-build.log
if [ ! -x build/apps/zorrob/zorrob ]; then
  echo "main: building the zorrob tool (the first build takes a few minutes)"
fi
if ! { cmake -S . -B build -DCMAKE_BUILD_TYPE=Release &&
  cmake --build build -j"$jobs" --target zorrob_cli; } >"$log" 2>&1; then
  echo "main: the build failed; its whole output is in $log" >&2
  exit 1
fi
exec ./build/apps/zorrob/zorrob "$@"
