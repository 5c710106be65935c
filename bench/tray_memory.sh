#!/bin/sh
# Start-up time to the tray icon and resident memory of the tray program with 20 local sources: idle with the popover never opened,
# then after it was opened once. Run inside scripts/with-session (it needs a display and a bus).
# usage: bench/tray_memory.sh BUILD_DIR
set -eu
BUILD=${1:-build/release}
WORK=$(mktemp -d)
APP=
trap 'kill $APP 2>/dev/null; wait $APP 2>/dev/null; kill $SERVER 2>/dev/null; rm -rf "$WORK"' EXIT
PORT=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 -m http.server "$PORT" --bind 127.0.0.1 --directory "$WORK" >/dev/null 2>&1 & SERVER=$!
mkdir -p "$WORK/data/Tidewatch" "$WORK/config/Tidewatch"
printf '[General]\nonboardingCompleted=true\n' > "$WORK/config/Tidewatch/Tidewatch.conf"
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
START=$(date +%s%N)
"$BUILD/src/app/tidewatch" & APP=$!
# Start-up: from exec to the icon's window docked in the tray.
while :; do
    for w in $(xdotool search --pid "$APP" 2>/dev/null); do
        xdotool getwindowgeometry "$w" 2>/dev/null | grep -q "Geometry: [0-9]*x[0-9]*" &&
            ! xdotool getwindowgeometry "$w" | grep -q "Geometry: 1x1" && break 2
    done
    sleep 0.01
done
echo "start to tray icon: $(( ($(date +%s%N) - START) / 1000000 )) ms"
rss() { awk '/VmRSS/ {print $2/1024 " MiB"}' /proc/$APP/status; }
cpu() { awk '{print ($14+$15)/100 " s"}' /proc/$APP/stat; }
sleep 12
echo "idle, popover never opened: RSS $(rss), CPU so far $(cpu)"
C0=$(awk '{print $14+$15}' /proc/$APP/stat); sleep 30; C1=$(awk '{print $14+$15}' /proc/$APP/stat)
echo "CPU over 30 s of polling 20 sources every 5 s: $(( (C1 - C0) * 10 )) ms"
"$BUILD/src/app/tidewatch"   # a second launch asks the first to show its popover
sleep 3
echo "after the popover was opened: RSS $(rss)"
