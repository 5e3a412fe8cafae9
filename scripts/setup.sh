#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests, the benchmarks and the tool need,
# when they are missing. Idempotent and non-interactive; runs apt-get update at most once.
# Prints nothing when everything is there, one line naming what it installs otherwise, and on a
# failure the name of the file that keeps apt-get's whole output.
set -euo pipefail

packages=(
  g++ cmake make pkgconf clang-format git clang libclang-rt-14-dev
  libeigen3-dev libgtest-dev libgmock-dev libbenchmark-dev
  liborocos-kdl-dev libcli11-dev nlohmann-json3-dev
  liburdfdom-dev libtinyxml-dev libkdl-parser-dev
  pybind11-dev python3-dev python3-numpy python3-pytest python3-matplotlib python3-tqdm
  python3-distributed python3-dask
  libjs-three chromium nodejs
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

# The browser tests drive Debian's chromium with playwright-core, pinned by its lockfile.
install_browser_driver() {
  local dir
  dir="$(dirname "$0")/../tests/browser"
  if [ ! -d "$dir/node_modules/playwright-core" ]; then
    echo "setup: installing playwright-core for the browser tests (npm ci in tests/browser)"
    local npm_log
    npm_log=$(mktemp "${TMPDIR:-/tmp}/zorrob-setup-npm.XXXXXX.log")
    if ! (cd "$dir" && npm ci --no-audit --no-fund) >"$npm_log" 2>&1; then
      echo "setup: npm ci failed; the full log is in $npm_log" >&2
      exit 1
    fi
    rm -f "$npm_log"
  fi
}

if [ ${#missing[@]} -eq 0 ]; then
  install_browser_driver
  exit 0
fi

echo "setup: installing the Debian packages ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
# Quiet on success; on failure the whole apt-get output stays in the log, which is named.
log=$(mktemp "${TMPDIR:-/tmp}/zorrob-setup.XXXXXX.log")
if ! { "${sudo[@]}" apt-get update -qq &&
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  echo "setup: installing failed; the full log is in $log" >&2
  exit 1
fi
rm -f "$log"
install_browser_driver
