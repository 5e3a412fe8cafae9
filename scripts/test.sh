#!/usr/bin/env bash
# Sets up, builds and runs every test: the formatting check, the optimised build with warnings
# as errors (unit tests, the tool's tests, the install-and-use consumer build, the benchmark
# smoke run), the libFuzzer targets of every text and file reader for a bounded time each, then
# the whole suite again under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${ZORROB_JOBS:-2}

scripts/setup.sh
scripts/check-format.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DZORROB_WERROR=ON \
  -DPython3_EXECUTABLE=/usr/bin/python3
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

# Every reader of text and files under libFuzzer, for a bounded time each.
cmake -S fuzz -B build-fuzz -DCMAKE_CXX_COMPILER=clang++
cmake --build build-fuzz -j"$jobs"
ctest --test-dir build-fuzz --output-on-failure

cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DZORROB_WERROR=ON -DZORROB_SANITIZE=ON \
  -DZORROB_BUILD_BENCHMARKS=OFF -DPython3_EXECUTABLE=/usr/bin/python3
cmake --build build-sanitize -j"$jobs"
ctest --test-dir build-sanitize --output-on-failure -j"$jobs"
