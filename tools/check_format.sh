#!/usr/bin/env bash
# Fails when a C++ file of the project differs from what clang-format (with .clang-format) makes
# of it. Fix with: clang-format -i $(git ls-files '*.cpp' '*.h')
set -u
cd "$(dirname "$0")/.." || exit 2
command -v clang-format >/dev/null || { echo "clang-format is not installed"; exit 2; }
files=$(git ls-files '*.cpp' '*.h' 2>/dev/null || find src tests tools bench -name '*.cpp' -o -name '*.h')
clang-format --dry-run --Werror $files
