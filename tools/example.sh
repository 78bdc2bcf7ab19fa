#!/usr/bin/env bash
# example.sh NAME [PROGRAMS PLACE]
#
# Runs examples/NAME.xml against a real site on loopback and everything that it asks for: nginx with
# Debian's python3-doc and the feed, a proxy, a pipeline server. PROGRAMS is a directory with the
# built programs; without it they are built. Everything is left in PLACE, which is removed first;
# build/examples/NAME without it. Where a port of the profile is taken, another stands in for it.
#
# Exit status: 0 when the profile has nothing suspicious, the crawl ended with 0 and documents came.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/nginx_site.sh

name=$1
programs=${2:-}
if [ -z "$programs" ]; then
  tools/setup.sh
  cmake --preset release >/dev/null
  cmake --build --preset release --target _zcrawler check_profile >/dev/null
  programs=build
fi
programs=$(realpath "$programs")
place=$(realpath -m "${3:-build/examples/$name}")
rm -rf "$place"
mkdir -p "$place"/{store,temp,checkpoint,nginx}
helper_pids=()

end_all() {
  [ ${#helper_pids[@]} -eq 0 ] || kill "${helper_pids[@]}" 2>/dev/null || true
  stop_site
}
trap end_all EXIT

# wait_for DESCRIPTION COMMAND...: until the command succeeds, for a minute.
wait_for() {
  local what=$1 tries=0
  shift
  until "$@"; do
    if [ $((tries += 1)) -gt 600 ]; then
      echo "waited a minute for $what" >&2
      return 1
    fi
    sleep 0.1
  done
}

# choose_port PORT: that port when it is free, or another one.
choose_port() {
  if port_is_free "$1"; then echo "$1"; else free_port; fi
}

port_is_taken() {
  ! port_is_free "$1"
}

site_port=$(choose_port 8731)
proxy_port=$(choose_port 8888)
pipeline_port=$(choose_port 8740)
ports="s/:8731/:$site_port/g; s/:8888/:$proxy_port/g; s/\"8740\"/\"$pipeline_port\"/g"
sed "$ports" "examples/$name.xml" >"$place/$name.xml"
sed "$ports" examples/site/feed.xml >"$place/feed.xml"

directives="location = /feed.xml { alias $place/feed.xml; }"
for host in 2 3 4; do directives+=" listen 127.0.0.$host:$site_port;"; done
case $name in
  proxy_mirror)
    echo 'reader:{PLAIN}example' >"$place/nginx/passwords"
    directives+=" location /howto/ { auth_basic example;"
    directives+=" auth_basic_user_file $place/nginx/passwords; }"
    printf 'Port %s\nListen 127.0.0.1\nAllow 127.0.0.1\nLogFile "%s"\n' \
      "$proxy_port" "$place/proxy.log" >"$place/tinyproxy.conf"
    tinyproxy -d -c "$place/tinyproxy.conf" >/dev/null 2>&1 &
    helper_pids+=($!)
    wait_for "the proxy" port_is_taken "$proxy_port"
    ;;
  pipeline)
    python3 examples/pipeline_server/pipeline_server.py "$pipeline_port" "$place/documents" &
    helper_pids+=($!)
    wait_for "the pipeline" test -d "$place/documents"
    ;;
esac
start_site "$(readlink -f /usr/share/doc/python3-doc/html)" "$site_port" "$place/nginx" "$directives"

cd "$place"
"$programs/check_profile" "$name.xml"
if [ "$name" = checkpoint ]; then
  "$programs/_zcrawler" -conf "$name.xml" &
  crawl=$!
  helper_pids=("$crawl")  # until it has ended
  wait_for "a checkpoint" compgen -G "checkpoint/nfrontier.*" >/dev/null
  kill -INT "$crawl"
  wait "$crawl"
  helper_pids=()
  nb_before=$(wc -l <status.txt)
  "$programs/_zcrawler" -conf "$name.xml" -restore
  echo "pages before the end of the first run: $nb_before, after the second: $(wc -l <status.txt)"
  [ "$(wc -l <status.txt)" -gt "$nb_before" ]
else
  "$programs/_zcrawler" -conf "$name.xml"
fi
if [ "$name" = pipeline ]; then
  nb_documents=$(wc -l <documents/index.txt)
else
  nb_documents=$(cat store/flatsite-* | grep -ac '^FLATSITE_START$')
fi
echo "$name: $nb_documents documents in $place"
[ "$nb_documents" -gt 0 ]
