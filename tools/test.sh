#!/usr/bin/env bash
# Sets up, builds and runs every test: formatting, all tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, the administration pages in a real browser, and what threads share under
# ThreadSanitizer as well.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh

say() { printf '\n== %s (%ss)\n' "$1" "$SECONDS"; }

say "formatting"
tools/format.sh --check

say "build with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake --preset asan >/dev/null
cmake --build --preset asan

say "tests with AddressSanitizer and UndefinedBehaviorSanitizer"
ctest --test-dir build-asan --output-on-failure -j2

say "administration pages in a browser, over a crawl with AddressSanitizer"
tests/browser/run.sh build-asan/_zcrawler

say "build with ThreadSanitizer"
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target _zcrawler shared_tests

# Tests that kill the program or refuse its calls are about files, not threads.
say "tests of what threads share, with ThreadSanitizer"
GTEST_FILTER='-disk_fault.*:restore.*' ctest --test-dir build-tsan --output-on-failure -j2 -L shared

say "all tests passed"
