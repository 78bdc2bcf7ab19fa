#!/usr/bin/env bash
# Drives the administration of the crawler given (a path) with a real browser. Pictures go to
# build/screenshots.
set -euo pipefail
export WK_ZCRAWLER=$(realpath "$1")
cd "$(dirname "$0")"
[ -d node_modules/playwright-core ] || npm ci --loglevel=error --no-audit --no-fund
export WK_SCREENSHOTS=${WK_SCREENSHOTS:-$(realpath ../..)/build/screenshots}

# In a network of its own the machine has an address that a browser does not take for its own.
outer=192.0.2.1
run="ip link set lo up && ip address add $outer/32 dev lo && exec \"\$@\""
enter=(env)
for namespace in --net "--net --user --map-root-user"; do
  # shellcheck disable=SC2086  # one word an option
  unshare $namespace bash -c "${run/exec*/true}" 2>/dev/null || continue
  # shellcheck disable=SC2086
  enter=(unshare $namespace bash -c "$run" - env WK_OUTER_ADDRESS="$outer")
  break
done
[ ${#enter[@]} -gt 1 ] || echo "run.sh: no network namespace can be made; loopback addresses alone are tried"
exec "${enter[@]}" timeout 600 node --test --test-concurrency=1 console_test.mjs
