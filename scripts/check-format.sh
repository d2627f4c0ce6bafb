#!/usr/bin/env bash
# Fails when a C++ source does not follow .clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -co --exclude-standard -- '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror
