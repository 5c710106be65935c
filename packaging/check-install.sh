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
need lib/systemd/user/tidewatch-watch.service
need share/man/man1/tidewatch.1.gz
need share/man/man1/tidewatch-cli.1.gz
need share/doc/tidewatch/copyright
for page in tidewatch tidewatch-cli; do
    command -v man >/dev/null || break
    # groff's warnings name what a reader would see broken.
    warnings=$(man --warnings -l "$prefix/share/man/man1/$page.1.gz" 2>&1 >/dev/null) || status=1
    [ -z "$warnings" ] || { echo "$page.1: $warnings"; status=1; }
done
# The unit as systemd reads it, pointed at this scratch tree's program; any complaint fails.
if command -v systemd-analyze >/dev/null && [ -e "$prefix/lib/systemd/user/tidewatch-watch.service" ]; then
    units=$(mktemp -d)
    sed "s|^ExecStart=tidewatch-cli|ExecStart=$prefix/bin/tidewatch-cli|" \
        "$prefix/lib/systemd/user/tidewatch-watch.service" >"$units/tidewatch-watch.service"
    mkdir -p "$units/run" && chmod 700 "$units/run"
    complaints=$(MANPATH="$prefix/share/man" XDG_RUNTIME_DIR="$units/run" systemd-analyze verify --user "$units/tidewatch-watch.service" 2>&1) \
        || status=1
    [ -z "$complaints" ] || { echo "$complaints"; status=1; }
    grep -q '^ExecStart=tidewatch-cli watch --notify$' "$prefix/lib/systemd/user/tidewatch-watch.service" \
        || { echo "the user unit does not run the watcher"; status=1; }
    rm -rf "$units"
fi
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
