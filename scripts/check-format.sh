#!/usr/bin/env bash
# Fails when a C++ file of the repository differs from what .clang-format makes of it.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files --cached --others --exclude-standard -- '*.cpp' '*.hpp' | sort -u)
for f in "${files[@]}"; do [ -f "$f" ] && echo "$f"; done | xargs -r clang-format --dry-run --Werror
echo "format: ${#files[@]} files checked"
