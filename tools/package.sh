#!/usr/bin/env bash
# Builds the Debian package of the release build and prints its path.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/setup.sh
cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build --preset release >/dev/null
(cd build && cpack -G DEB >/dev/null)
ls -t "$PWD"/build/wkcrawler_*.deb | head -1
