#!/usr/bin/env bash
# Drives the administration of the crawler given (a path) with a real browser. Pictures go to
# build/screenshots.
set -euo pipefail
export WK_ZCRAWLER=$(realpath "$1")
cd "$(dirname "$0")"
[ -d node_modules/playwright-core ] || npm ci --loglevel=error --no-audit --no-fund
export WK_SCREENSHOTS=${WK_SCREENSHOTS:-$(realpath ../..)/build/screenshots}
exec timeout 600 node --test --test-concurrency=1 console_test.mjs
