#!/usr/bin/env bash
# profile_files_test.sh PROFILE_TABLES SOURCES: the committed DTD and manual are what the table of
# profiles gives, and every profile that we hand out is valid.
set -euo pipefail
profile_tables=$1
cd "$2"
"$profile_tables" dtd | diff packaging/wkcrawler.dtd -
"$profile_tables" manual | diff docs/profile.md -
profiles=(examples/*.xml)
[ ${#profiles[@]} -ge 7 ]
xmllint --nonet --noout --valid "${profiles[@]}"
# A slip is found; else the line above would say nothing.
! sed 's/nb-spiders/nb-spider/' examples/demo.xml |
  xmllint --nonet --noout --dtdvalid packaging/wkcrawler.dtd - 2>/dev/null
