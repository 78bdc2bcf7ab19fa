#!/usr/bin/env bash
# Formats all C++ of the tree; with --check changes nothing and fails when something would change.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(-i)
if [ "${1:-}" = --check ]; then mode=(--dry-run --Werror); fi
git ls-files --cached --others --exclude-standard -- '*.cc' '*.h' | sort |
  xargs -d '\n' clang-format-14 "${mode[@]}"
