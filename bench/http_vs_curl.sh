#!/bin/sh
# Latency of one loopback HTTP target as Tidewatch measures it and as curl does, on the same server.
# usage: bench/http_vs_curl.sh BUILD_DIR [COUNT]
set -eu
BUILD=${1:-build/release}
COUNT=${2:-200}
DIR=$(mktemp -d)
KEEPALIVE=
trap 'kill $SERVER $KEEPALIVE 2>/dev/null; rm -rf "$DIR"' EXIT
head -c 2048 /dev/urandom > "$DIR/status"
PORT=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 -m http.server "$PORT" --bind 127.0.0.1 --directory "$DIR" >/dev/null 2>&1 & SERVER=$!
for _ in $(seq 1 100); do curl -s -o /dev/null "http://127.0.0.1:$PORT/status" && break; sleep 0.05; done
URL="http://127.0.0.1:$PORT/status"

"$BUILD/bench/http_latency_bench" "$URL" "$COUNT"
for _ in $(seq 1 "$COUNT"); do curl -s -o /dev/null -w '%{time_total}\n' "$URL"; done | sort -n |
    awk -v n="$COUNT" '{ v[NR] = $1 * 1000 } END { printf "curl       runs=%d  median_ms=%.3f  p90_ms=%.3f\n", n, v[int(n/2)+1], v[int(n*9/10)+1] }'
# curl's own CPU per request (user and system time of the curl processes, process start included).
python3 - "$URL" "$COUNT" <<'PY'
import resource, subprocess, sys
url, count = sys.argv[1], int(sys.argv[2])
for _ in range(count):
    subprocess.run(["curl", "-s", "-o", "/dev/null", url], check=True)
r = resource.getrusage(resource.RUSAGE_CHILDREN)
print("curl       cpu_ms_per_request=%.3f" % ((r.ru_utime + r.ru_stime) * 1000 / count))
PY
# The same check against a peer that keeps its connections open, as most real services do; curl, one
# process per request, cannot reuse a connection, so it has no counterpart here.
KPORT=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 "$(dirname "$0")/keepalive_peer.py" "$KPORT" & KEEPALIVE=$!
for _ in $(seq 1 100); do curl -s -o /dev/null "http://127.0.0.1:$KPORT/status" && break; sleep 0.05; done
printf 'keep-alive peer: '
"$BUILD/bench/http_latency_bench" "http://127.0.0.1:$KPORT/status" "$COUNT"
