#!/usr/bin/env bash
# Installs every Debian 12 package that building, testing and the demo need. Run by demo.sh and
# test.sh; does nothing, and needs no network, when all is there.
set -euo pipefail

packages=(
  # building
  g++ cmake ninja-build ccache pkg-config
  libxml2-dev libpcre2-dev libre2-dev libpugixml-dev zlib1g-dev
  # testing
  libgtest-dev libgmock-dev libbenchmark-dev libgumbo-dev clang-format-14 clang-tidy-14 python3-minimal curl
  libxml2-utils
  # the package
  file dpkg-dev
  # a web server and real sites for the demo, the tests and the benchmarks
  nginx-light python3-doc cmake-doc
  # a real proxy to crawl through; a real browser for the administration pages, a network for it
  tinyproxy-bin chromium iproute2
)
# What drives the browser. Some machines have Node.js, npm included, from elsewhere.
command -v node >/dev/null || packages+=(nodejs)
command -v npm >/dev/null || packages+=(npm)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
# Another package manager may be at work on a fresh machine; its lock is waited for.
"${as_root[@]}" apt-get install -y -qq --no-install-recommends -o DPkg::Lock::Timeout=300 \
  "${missing[@]}" >/dev/null
