#!/bin/sh
# Installs the build into a scratch prefix and checks what a distribution package would contain.
# usage: check-install.sh BUILD_DIR DESKTOP_FILE_VALIDATE APPSTREAMCLI
set -eu
build=$1; validate=$2; appstream=$3
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
status=0
need() { [ -e "$prefix/$1" ] || { echo "missing after install: $1"; status=1; }; }
need bin/tidewatch
need bin/tidewatch-cli
# The programs find their private libraries where they were installed, not in the build tree.
"$prefix/bin/tidewatch-cli" --version >/dev/null || { echo "installed tidewatch-cli does not start"; status=1; }
need share/applications/dev.ostrel.Tidewatch.desktop
need share/metainfo/dev.ostrel.Tidewatch.metainfo.xml
need share/icons/hicolor/scalable/apps/dev.ostrel.Tidewatch.svg
for state in up degraded down paused unknown; do
    need share/icons/hicolor/symbolic/apps/dev.ostrel.Tidewatch-$state-symbolic.svg
done
for size in 16 22 24 32 48 64 128 256; do
    png=share/icons/hicolor/${size}x${size}/apps/dev.ostrel.Tidewatch.png
    need "$png"
    if [ -e "$prefix/$png" ]; then
        got=$(python3 -c 'import struct,sys; d=open(sys.argv[1],"rb").read(24); print(*struct.unpack(">II", d[16:24]))' "$prefix/$png")
        [ "$got" = "$size $size" ] || { echo "$png is $got, not $size $size"; status=1; }
    fi
done
"$validate" "$prefix/share/applications/dev.ostrel.Tidewatch.desktop" || status=1
"$appstream" validate --no-net "$prefix/share/metainfo/dev.ostrel.Tidewatch.metainfo.xml" >/dev/null || status=1
# The desktop entry's icon and program must be what was installed.
grep -qx 'Icon=dev.ostrel.Tidewatch' "$prefix/share/applications/dev.ostrel.Tidewatch.desktop" || status=1
"$prefix/bin/tidewatch-cli" --version >/dev/null || { echo "the installed tidewatch-cli does not start"; status=1; }
[ $status -eq 0 ] && echo "install layout ok"
exit $status
