#!/bin/sh
# The tray program with 20 local sources: resident memory idle with the popover never opened, while
# it is open, and after it was opened and closed; then the start to the tray icon, timed from exec to
# the icon's registration with a StatusNotifierItem host (bench/SniWatcher.cpp), as the median of
# ten starts. Run inside scripts/with-session (it needs a display and a bus).
# usage: bench/tray_memory.sh BUILD_DIR
set -eu
BUILD=${1:-build/release}
WORK=$(mktemp -d)
APP=
WATCHER=
trap 'kill $APP $WATCHER $SERVER 2>/dev/null; wait $APP $WATCHER 2>/dev/null; rm -rf "$WORK"; true' EXIT
PORT=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 -m http.server "$PORT" --bind 127.0.0.1 --directory "$WORK" >/dev/null 2>&1 & SERVER=$!
mkdir -p "$WORK/data/Tidewatch" "$WORK/config/Tidewatch"
printf '{"onboardingCompleted": true}\n' > "$WORK/config/Tidewatch/preferences.json"
python3 - "$WORK/data/Tidewatch/sources.json" "$PORT" <<'PY'
import json, sys, uuid
port = int(sys.argv[2])
sources = []
for i in range(20):
    common = {"id": str(uuid.uuid4()).upper(), "displayName": f"Service {i}", "pollInterval": 5,
              "alertThreshold": 3, "alertsEnabled": True}
    if i % 2:
        sources.append({"tcpPort": {"_0": dict(common, host="127.0.0.1", port=port)}})
    else:
        sources.append({"httpPing": {"_0": dict(common, url=f"http://127.0.0.1:{port}/", expectedStatus=200)}})
json.dump(sources, open(sys.argv[1], "w"))
PY
export XDG_DATA_HOME="$WORK/data" XDG_CONFIG_HOME="$WORK/config" QT_QPA_PLATFORM=xcb
rss() { awk '/VmRSS/ {printf "%.1f MiB", $2/1024}' /proc/$APP/status; }
# The popover among the program's windows named Tidewatch: an XEmbed tray icon is one too.
popover() {
    for w in $(xdotool search --onlyvisible --pid "$APP" --name '^Tidewatch$' 2>/dev/null); do
        eval "$(xdotool getwindowgeometry --shell "$w")"; [ "$WIDTH" -gt 64 ] && echo "$w"
    done | tail -n 1
}
cpu() { awk '{print ($14+$15)/100 " s"}' /proc/$APP/stat; }

# Memory, with the XEmbed tray of the session.
"$BUILD/src/app/tidewatch" & APP=$!
sleep 12
echo "idle, popover never opened: RSS $(rss), CPU so far $(cpu)"
C0=$(awk '{print $14+$15}' /proc/$APP/stat); sleep 30; C1=$(awk '{print $14+$15}' /proc/$APP/stat)
echo "CPU over 30 s of polling 20 sources every 5 s: $(( (C1 - C0) * 10 )) ms"
"$BUILD/src/app/tidewatch"   # a second launch asks the first to show its popover
sleep 2
echo "popover open: RSS $(rss)"
# The popover closes on Escape, as a user closes it (or on a click elsewhere).
xdotool windowfocus --sync "$(popover)" key Escape
for cycle in 1 2 3; do
    sleep 8
    [ -z "$(popover)" ] || { echo "the popover did not close" >&2; exit 1; }
    echo "popover opened and closed $cycle time(s), 8 s later: RSS $(rss)"
    [ "$cycle" = 3 ] && break
    "$BUILD/src/app/tidewatch"; sleep 2
    xdotool windowfocus --sync "$(popover)" key Escape
done
# Code pages given back at the close come again as the polls run them: the figure that lasts.
sleep 52
echo "a minute after the last close, 12 polls later: RSS $(rss)"
kill "$APP"; wait "$APP" 2>/dev/null || true; APP=

# Start to tray icon, timed to the StatusNotifierItem's registration.
"${SNI_WATCHER:-$BUILD/bench/tw_sni_watcher}" > "$WORK/watcher.log" & WATCHER=$!
until grep -q ready "$WORK/watcher.log"; do sleep 0.05; done
: > "$WORK/starts"
for run in 1 2 3 4 5 6 7 8 9 10; do
    BEFORE=$(grep -c registered "$WORK/watcher.log" || true)
    START=$(date +%s%N)
    "$BUILD/src/app/tidewatch" & APP=$!
    until [ "$(grep -c registered "$WORK/watcher.log" || true)" -gt "$BEFORE" ]; do sleep 0.005; done
    AT=$(grep registered "$WORK/watcher.log" | tail -n 1 | awk '{print $2}')
    echo $(( (AT - START) / 1000 )) >> "$WORK/starts"
    sleep 1
    kill "$APP"; wait "$APP" 2>/dev/null || true; APP=
done
echo "start to tray icon (StatusNotifierItem registered), ten starts in µs: $(sort -n "$WORK/starts" | tr '\n' ' ')"
sort -n "$WORK/starts" | awk '{a[NR]=$1} END {printf "median start to tray icon: %.1f ms\n", (a[5]+a[6])/2000}'
