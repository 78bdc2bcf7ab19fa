#!/usr/bin/env bash
# Builds the crawler, serves a real documentation site on loopback, crawls it with
# examples/demo.xml and shows what came out. Everything is left in build/demo.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/nginx_site.sh

tools/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target _zcrawler

site=$(readlink -f /usr/share/doc/python3-doc/html)
place=$PWD/build/demo
rm -rf "$place"
mkdir -p "$place"/{store,temp,nginx}

# The profile names a port; when something else has it, the site is served at another one.
port=8731
port_is_free $port || port=$(free_port)
sed "s/127\.0\.0\.1:8731/127.0.0.1:$port/g" examples/demo.xml >"$place/demo.xml"

start_site "$site" "$port" "$place/nginx"
trap stop_site EXIT

echo
echo "Crawling http://127.0.0.1:$port/ (nginx, $site)"
begin=$(date +%s.%N)
(cd "$place" && ../_zcrawler -conf demo.xml)
end=$(date +%s.%N)

stop_site
python3 tools/demo_report.py "$place" "$begin" "$end"
