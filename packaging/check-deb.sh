#!/bin/sh
# Checks a built package as a distribution would: lintian finds no error, and apt can install it
# on this system, every dependency resolved.
# usage: check-deb.sh PACKAGE.deb
set -eu
deb=$(realpath "$1")
# Root is what CI runs as; lintian only says it would rather not.
lintian --fail-on error --tag-display-limit 0 "$deb"
apt-get install --simulate "$deb" >/dev/null
dpkg-deb --field "$deb" Package Version Depends
# Unpacked, the programs find their private libraries and the manual pages read.
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
dpkg-deb -x "$deb" "$tree"
"$tree/usr/bin/tidewatch-cli" --version
for page in tidewatch tidewatch-cli; do
    man -l "$tree/usr/share/man/man1/$page.1.gz" | head -n 4 | tail -n 1
done
