#!/usr/bin/env bash
# Crawls a real documentation site, served by nginx on loopback, with 1, 8 and 32 spiders (or the
# numbers given) and prints pages/s, CPU ms per page and peak memory of each crawl. Documents are
# stored and everything is logged.
#
# Usage: bench/crawl.sh [SITE-DIRECTORY] [SPIDERS...]
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/nginx_site.sh

site=$(readlink -f "${1:-/usr/share/doc/python3-doc/html}")
shift || true
spiders=("${@:-1}")
[ $# -gt 0 ] || spiders=(1 8 32)

tools/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target _zcrawler >/dev/null

place=$PWD/build/bench-crawl
rm -rf "$place"
mkdir -p "$place/nginx"
port=$(free_port)
start_site "$site" "$port" "$place/nginx"
trap stop_site EXIT

printf '%-8s %8s %8s %9s %9s %9s %9s\n' spiders pages failed seconds pages/s 'CPU ms/p' 'peak MB'
for n in "${spiders[@]}"; do
  run=$place/$n
  mkdir -p "$run"/{store,temp}
  sed -e "s/127\.0\.0\.1:8731/127.0.0.1:$port/g" -e "s/nb-spiders=\"[0-9]*\"/nb-spiders=\"$n\"/" \
    examples/demo.xml >"$run/crawl.xml"
  python3 bench/crawl_once.py "$PWD/build/_zcrawler" "$run" "$n"
done
