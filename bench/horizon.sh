#!/usr/bin/env bash
# Builds the horizon's benchmark and runs it three times: with its usual settings, with URLs that
# the filter tells apart well, and (for a million URLs, as it is slow) without the memory of known
# URLs. Arguments are given to one run instead: bench/horizon.sh -urls 1000000 -memory 16
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target horizon >/dev/null

if [ $# -gt 0 ]; then exec build/bench/horizon "$@"; fi
for options in "" "-random-ends" "-memory 0 -urls 1000000"; do
  echo "horizon $options"
  # shellcheck disable=SC2086 # several words
  build/bench/horizon $options
done
