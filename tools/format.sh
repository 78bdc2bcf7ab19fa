#!/usr/bin/env bash
# Formats all C++ of the tree; with --check changes nothing and fails when something would change.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(-i)
if [ "${1:-}" = --check ]; then mode=(--dry-run --Werror); fi
find app bench crawler examples tests tools wk* -name node_modules -prune -o \
  \( -name '*.cc' -o -name '*.h' \) -print0 | sort -z | xargs -0 clang-format-14 "${mode[@]}"
