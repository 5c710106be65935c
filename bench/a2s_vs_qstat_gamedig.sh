#!/bin/sh
# One full Steam query (challenge, info, player list) of the same local Rust-like server, by
# Tidewatch, by Debian's qstat and by the npm gamedig client: wall time and CPU per query.
# usage: bench/a2s_vs_qstat_gamedig.sh BUILD_DIR [COUNT]
# The responder comes from the dev build (tests/tw_game_responders); qstat is installed from Debian
# and gamedig from npm into a scratch folder when they are missing.
set -eu
BUILD=${1:-build/release}
COUNT=${2:-200}
RESPONDERS=${RESPONDERS:-build/dev/tests/tw_game_responders}
DIR=$(mktemp -d)
trap 'kill $SERVER 2>/dev/null; rm -rf "$DIR"' EXIT

command -v quakestat >/dev/null || { sudo=""; [ "$(id -u)" -eq 0 ] || sudo=sudo; $sudo apt-get install -y -qq qstat >/dev/null; }
GAMEDIG=${GAMEDIG_DIR:-$HOME/.cache/tidewatch-bench/gamedig}
[ -d "$GAMEDIG/node_modules/gamedig" ] || { mkdir -p "$GAMEDIG" && (cd "$GAMEDIG" && npm install --silent gamedig@5 >/dev/null); }

"$RESPONDERS" 0 0 0 0 0 > "$DIR/ports" & SERVER=$!
for _ in $(seq 1 100); do grep -q '^cs2 ' "$DIR/ports" 2>/dev/null && break; sleep 0.05; done
PORT=$(awk '/^rust /{print $2}' "$DIR/ports")

"$BUILD/bench/a2s_query_bench" 127.0.0.1 "$PORT" rust "$COUNT"

# qstat is one process per query, as a script or a cron job would run it: its start is included.
# It sends the player request only at its next retry tick, so it runs with its shortest interval.
python3 - "$PORT" "$COUNT" <<'PY'
import resource, statistics, subprocess, sys, time
port, count = sys.argv[1], int(sys.argv[2])
times = []
for _ in range(count):
    start = time.perf_counter()
    out = subprocess.run(["quakestat", "-interval", "0.1", "-a2s", "127.0.0.1:" + port, "-P", "-raw", ",", "-nh"],
                         check=True, capture_output=True, text=True).stdout
    times.append((time.perf_counter() - start) * 1000)
names = len([l for l in out.splitlines()[1:] if l.count(",") == 2])
r = resource.getrusage(resource.RUSAGE_CHILDREN)
times.sort()
print("qstat      queries=%d  median_ms=%.3f  p90_ms=%.3f  cpu_ms_per_query=%.3f  names=%d  (process per query, -interval 0.1)"
      % (count, times[count // 2], times[count * 9 // 10], (r.ru_utime + r.ru_stime) * 1000 / count, names))
PY

# gamedig inside one node process, query after query, so that node's start is not counted.
cat > "$DIR/gamedig.mjs" <<'JS'
import { GameDig } from 'gamedig';
const [port, count] = [Number(process.argv[2]), Number(process.argv[3])];
const ask = () => GameDig.query({ type: 'rust', host: '127.0.0.1', port, givenPortOnly: true, maxRetries: 1 });
for (let i = 0; i < 5; i++) await ask();
const times = []; let names = 0;
const before = process.cpuUsage();
for (let i = 0; i < count; i++) {
    const start = process.hrtime.bigint();
    const state = await ask();
    times.push(Number(process.hrtime.bigint() - start) / 1e6);
    names = state.players.length;
}
const cpu = process.cpuUsage(before);
times.sort((a, b) => a - b);
console.log(`gamedig    queries=${count}  median_ms=${times[count >> 1].toFixed(3)}  p90_ms=${times[Math.floor(count * 0.9)].toFixed(3)}  cpu_ms_per_query=${((cpu.user + cpu.system) / 1000 / count).toFixed(3)}  names=${names}  (one node process)`);
JS
cp "$DIR/gamedig.mjs" "$GAMEDIG/bench.mjs"
node "$GAMEDIG/bench.mjs" "$PORT" "$COUNT"
