#!/usr/bin/env bash
# Installs the package in a clean Debian 12 root, boots that root's systemd, lets the service crawl
# the demo site as its own user, and removes the package without a trace but its data. Needs root
# rights, and Debian's archive for the root, which is kept in build/package-test for the next time.
#
# Usage: tools/package_test.sh [PACKAGE.deb]
set -euo pipefail
cd "$(dirname "$0")/.."

package=${1:-$(tools/package.sh)}
for needed in debootstrap systemd-container; do
  dpkg -s "$needed" >/dev/null 2>&1 || apt-get install -y -qq --no-install-recommends "$needed"
done
place=$PWD/build/package-test
base=$place/base root=$place/root
mkdir -p "$place"
if [ ! -e "$base/etc/debian_version" ]; then
  debootstrap --variant=minbase --include=systemd,systemd-sysv,dbus,logrotate,nginx-light \
    bookworm "$base" >"$place/debootstrap.log"
fi
rm -rf "$root"
cp -a "$base" "$root"

say() { printf '== %s\n' "$1"; }
run() { chroot "$root" "$@"; }
list_files() { (cd "$root" && find . -xdev -not -path './var/lib/dpkg/*' -not -path './var/cache/*' \
  -not -path './var/log/*' -not -path './root/*' | sort); }

say "install"
# What the package depends on comes first, so that the listing before and after differs by it alone.
cp "$package" "$root/root/wkcrawler.deb"
depends=$(dpkg-deb -f "$package" Depends | tr ',' '\n' | sed 's/ *(.*//; s/ *|.*//; s/^ *//')
grep -q '^libc6' <<<"$depends"
run apt-get install -y -qq --no-install-recommends $depends >"$place/apt.log" 2>&1
list_files >"$place/before"
run dpkg -i /root/wkcrawler.deb >/dev/null
run dpkg -L wkcrawler | grep -c . | xargs printf '%s paths installed\n'

say "hardening"
for program in _zcrawler flatsite check_horizon check_profile; do
  facts=$(readelf -W -h -l -d --dyn-syms "$root/usr/bin/$program")
  for needed in 'Position-Independent' BIND_NOW GNU_RELRO __stack_chk_fail; do
    grep -q -e "$needed" <<<"$facts" || { echo "$program: no $needed"; exit 1; }
  done
  ! grep -q 'GNU_STACK.*RWE' <<<"$facts" || { echo "$program: executable stack"; exit 1; }
done
grep -q '__snprintf_chk' <(readelf -W --dyn-syms "$root/usr/bin/_zcrawler")
echo "position independent, relocations read-only, stack protected, library calls checked"

say "the unit's exposure"
run systemd-analyze security --offline=true --threshold=20 wkcrawler@demo.service | tail -1

say "a crawl by the service, in the booted root"
mkdir -p "$root/srv/site"
cp -rL /usr/share/doc/python3-doc/html/. "$root/srv/site/"
cp examples/demo.xml "$root/etc/wkcrawler/demo.xml"
chmod 0640 "$root/etc/wkcrawler/demo.xml"
run chown root:wkcrawler /etc/wkcrawler/demo.xml
rm "$root/etc/nginx/sites-enabled/default"  # a link that leads out of the root
cat >"$root/etc/nginx/conf.d/site.conf" <<'SITE'
server { listen 127.0.0.1:8731; root /srv/site; index index.html; }
SITE
cat >"$root/etc/systemd/system/package-test.service" <<'UNIT'
[Unit]
After=nginx.service
Wants=nginx.service
[Service]
Type=oneshot
ExecStart=/root/package-test
ExecStopPost=systemctl --no-block poweroff
StandardOutput=append:/root/package-test.out
StandardError=inherit
[Install]
WantedBy=multi-user.target
UNIT
cat >"$root/root/package-test" <<'SCRIPT'
#!/bin/sh
systemctl start wkcrawler@demo || exit 1
stat -c 'runs as %U' "/proc/$(systemctl show -P MainPID wkcrawler@demo)"
n=0
while systemctl is-active -q wkcrawler@demo && [ $n -lt 60 ]; do sleep 1; n=$((n + 1)); done
systemctl show -p Result -p ExecMainStatus wkcrawler@demo
journalctl -u wkcrawler@demo --no-pager | tail -5
ls -l /var/lib/wkcrawler/demo
flatsite check /var/lib/wkcrawler/demo/store
SCRIPT
chmod +x "$root/root/package-test"
run systemctl enable -q package-test.service
timeout 180 systemd-nspawn -q -D "$root" -b --register=no --keep-unit --private-network \
  --console=read-only </dev/null >"$place/boot.log" 2>&1 || true
cat "$root/root/package-test.out"
grep -q '^Result=success' "$root/root/package-test.out"
grep -q '^ExecMainStatus=0' "$root/root/package-test.out"
grep -q '^runs as wkcrawler' "$root/root/package-test.out"

say "log rotation"
run logrotate -f /etc/logrotate.d/wkcrawler

say "removal"
rm "$root/etc/nginx/conf.d/site.conf" "$root/etc/wkcrawler/demo.xml" "$root/etc/systemd/system/package-test.service" \
  "$root/etc/systemd/system/multi-user.target.wants/package-test.service"
run dpkg -P wkcrawler >/dev/null 2>&1
list_files >"$place/after"
left=$(comm -13 "$place/before" "$place/after" |
  grep -v -e '^./var/lib/wkcrawler' -e '^./srv/site' -e '^./var/lib/\(systemd\|logrotate\|private\)' -e '^./etc/machine-id' \
    -e '^./etc/.*-$' -e '^./var/lib/nginx' -e '^./var/tmp' -e '^./tmp' -e '^./run' -e '^./dev' || true)
[ -z "$left" ] || { printf 'left behind:\n%s\n' "$left"; exit 1; }
test -s "$root/var/lib/wkcrawler/demo/store/flatsite-1"
echo "removed; the crawl's data is still there"
