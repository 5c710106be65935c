#!/bin/sh
# Every measurement of bench/README.md in one run, on an optimised build:
#   bench/run_all.sh            (builds build/release first)
set -eu
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build build/release --target engine_bench popover_rows_bench http_latency_bench a2s_query_bench tidewatch tidewatch-cli
# The local game servers live with the tests, in the dev build.
[ -f build/dev/CMakeCache.txt ] || cmake --preset dev >/dev/null
cmake --build build/dev --target tw_game_responders
echo "== poll engine, 1000 instant sources";   build/release/bench/engine_bench
echo "== popover row model";                   build/release/bench/popover_rows_bench
echo "== HTTP check latency against curl";     bench/http_vs_curl.sh build/release 300
echo "== Steam query against qstat and gamedig"; bench/a2s_vs_qstat_gamedig.sh build/release 200
echo "== tray program (start, idle, popover)"; scripts/with-session bench/tray_memory.sh build/release
echo "== 500 sources every 5 s, 3 minutes";   SOURCES=500 bench/soak.sh build/release 3
