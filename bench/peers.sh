#!/usr/bin/env bash
# Crawls Debian's openjdk-17-doc and python3-doc, served by nginx on loopback, with every crawler
# that Debian has for it (wget2, wget, httrack, scrapy) and with this one, three times each, and
# prints pages/s, CPU ms per page, peak memory, and the ratios to wget2's best and to a fetcher that
# does nothing but fetch (bench/ceiling.cc) in the same run.
#
# Usage: bench/peers.sh [ROUNDS]          PEERS=wget2 leaves the slow ones out
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/nginx_site.sh

tools/setup.sh
missing=()
for package in wget2 wget httrack python3-scrapy python3-doc; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] || apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
cmake --preset release >/dev/null
cmake --build --preset release --target _zcrawler ceiling >/dev/null

place=$(mktemp -d "${TMPDIR:-/tmp}/peers.XXXXXX")
# The package's own tree, without the Java that it depends on.
(cd "$place" && apt-get download -qq openjdk-17-doc && dpkg-deb -x openjdk-17-doc_*.deb site)
mkdir -p "$place/site/python" "$place/nginx"
cp -rL /usr/share/doc/python3-doc/html "$place/site/python/"
port=$(free_port)
start_site "$place/site" "$port" "$place/nginx"
trap 'stop_site; rm -rf "$place"' EXIT

printf '%-8s %-22s %7s %8s %8s %8s %8s\n' site crawler pages seconds pages/s CPU-ms/p peak-MB
for site in openjdk:/usr/share/doc/openjdk-17-jre-headless/api/ python:/python/html/; do
  python3 bench/peers.py "$PWD/build" "${site#*:}" "${site%%:*}" "$port" \
    "$place/nginx/access.log" "$place" "${1:-3}"
done
