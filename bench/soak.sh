#!/bin/sh
# Soak run: tidewatch-cli watch with $SOURCES sources (300 by default) against local peers for
# MINUTES minutes, the HTTP peer stopped or restarted every minute (a fault the sources must ride
# out). Each minute prints the
# watcher's resident memory, open file descriptors and the CPU it used in that minute.
# usage: [SOURCES=N] [HTTP_PROTOCOL=HTTP/1.1 | HTTP_PEER=keepalive] bench/soak.sh BUILD_DIR [MINUTES]
set -eu
BUILD=${1:-build/release}
MINUTES=${2:-30}
SOURCES=${SOURCES:-300}
# The HTTP peer: python3's http.server with a new connection per check (HTTP/1.0, the default) or
# kept alive (HTTP/1.1), or HTTP_PEER=keepalive, which keeps connections and answers in one write
# as nginx does.
HTTP_PROTOCOL=${HTTP_PROTOCOL:-HTTP/1.0}
HTTP_PEER=${HTTP_PEER:-http.server}
HERE=$(cd "$(dirname "$0")" && pwd)
WORK=$(mktemp -d)
WATCH=; HTTP=; TCP=
cleanup() { kill $WATCH $HTTP $TCP 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$WORK"; }
trap cleanup EXIT
port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
HTTP_PORT=$(port); TCP_PORT=$(port)
serve_http() {
    if [ "$HTTP_PEER" = keepalive ]; then
        python3 "$HERE/keepalive_peer.py" "$HTTP_PORT" >/dev/null 2>&1 & HTTP=$!
    else
        python3 -m http.server --protocol "$HTTP_PROTOCOL" "$HTTP_PORT" --bind 127.0.0.1 --directory "$WORK" >/dev/null 2>&1 & HTTP=$!
    fi
}
python3 -c "
import socket, time
s = socket.socket(); s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
s.bind(('127.0.0.1', $TCP_PORT)); s.listen(512)
while True:
    c, _ = s.accept(); c.close()
" & TCP=$!
serve_http
python3 - "$WORK/sources.json" "$HTTP_PORT" "$TCP_PORT" "$SOURCES" <<'PY'
import json, sys, uuid
http, tcp = int(sys.argv[2]), int(sys.argv[3])
sources = []
for i in range(int(sys.argv[4])):
    common = {"id": str(uuid.uuid4()).upper(), "displayName": f"Source {i}", "pollInterval": 5,
              "alertThreshold": 2, "alertsEnabled": True}
    if i % 2:
        sources.append({"tcpPort": {"_0": dict(common, host="127.0.0.1", port=tcp)}})
    else:
        sources.append({"httpPing": {"_0": dict(common, url=f"http://127.0.0.1:{http}/", expectedStatus=200)}})
json.dump(sources, open(sys.argv[1], "w"))
PY
printf '{}' > "$WORK/secrets.json"; chmod 600 "$WORK/secrets.json"
XDG_CONFIG_HOME="$WORK/config" "$BUILD/src/cli/tidewatch-cli" watch --sources "$WORK/sources.json" \
    --credentials "$WORK/secrets.json" > "$WORK/alerts.log" 2>&1 & WATCH=$!
ticks() { awk '{print $14+$15}' /proc/$WATCH/stat; }
echo "minute  rss_MiB  fds  cpu_ms_in_minute  alert_lines"
LAST=$(ticks)
for m in $(seq 1 "$MINUTES"); do
    sleep 60
    NOW=$(ticks)
    RSS=$(awk '/VmRSS/ {printf "%.1f", $2/1024}' /proc/$WATCH/status)
    FDS=$(ls /proc/$WATCH/fd | wc -l)
    printf "%6d  %7s  %3d  %16d  %11d\n" "$m" "$RSS" "$FDS" $(( (NOW - LAST) * 10 )) "$(wc -l < "$WORK/alerts.log")"
    LAST=$NOW
    # The fault: the HTTP peer goes away for a minute, then comes back.
    if [ -n "$HTTP" ] && kill -0 "$HTTP" 2>/dev/null; then kill "$HTTP"; wait "$HTTP" 2>/dev/null || true; HTTP=; else serve_http; fi
done
