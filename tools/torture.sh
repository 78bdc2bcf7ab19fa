#!/usr/bin/env bash
# tools/torture.sh [--program FILE] [--sample N] [MODE...]
# tools/torture.sh [--program FILE] together
# Lets every call of the system that a small crawl makes fail in turn, and ends the crawl at every call
# (modes files, network, memory, kills; tests/torture/torture.py says what is asked of it then). Prints a
# table; fails when the program crashed, hung, lost something or kept silent about it. Beside FILE, if
# one is given, lie check_horizon, flatsite and tests/libfault_preload.so. All points take about half an hour.
# "together" lets two crawls of 20,000 pages meet everything at once (tests/torture/all_at_once.py).
set -euo pipefail
cd "$(dirname "$0")/.."

program=build/torture/_zcrawler
arguments=()
while [ $# -gt 0 ]; do
  if [ "$1" = --program ]; then
    program=$2
    shift 2
  else
    arguments+=("$1")
    shift
  fi
done

if [ "$program" = build/torture/_zcrawler ]; then
  cmake --preset release -B build/torture -DWK_TESTS=ON -DWK_BENCH=OFF >/dev/null
  cmake --build build/torture -j2 --target _zcrawler check_horizon flatsite fault_preload
fi
if [ "${arguments[0]:-}" = together ]; then
  exec python3 tests/torture/all_at_once.py --program "$program" "${arguments[@]:1}"
fi
exec python3 tests/torture/torture.py --program "$program" ${arguments[@]+"${arguments[@]}"}
