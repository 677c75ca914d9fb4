#!/usr/bin/env bash
# Builds examples/host-app out of tree against a fresh install prefix, as a host application
# would (find_package), runs it against a collector on free loopback ports, and checks what the
# collector received: the session start, the periodical reports and the final report.
#   test_host_app.sh BUILD_DIR SOURCE_DIR WORK_DIR COLLECTOR_BINARY
set -euo pipefail
build=$1 source=$2 work=$3 collector=$4
rm -rf "$work" && mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/examples/host-app" -B "$work/host-app" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/host-app" >/dev/null

"$collector" --port 0 --diag-ports 0,0 --db :memory: --quiet >"$work/collector.log" 2>&1 &
collector_pid=$!
trap 'kill $collector_pid 2>/dev/null; wait $collector_pid 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  grep -q 'listening on' "$work/collector.log" && break
  sleep 0.1
done
line=$(grep -o 'listening on http://[^ ]* (diagnostics [^,]*, [^)]*)' "$work/collector.log")
server=$(sed -E 's/listening on (http:[^ ]*) .*/\1/' <<<"$line")
diagnostics=$(sed -E 's/.*\(diagnostics ([^,]*), .*/\1/' <<<"$line")
session_events=$(sed -E 's/.*, ([^)]*)\)$/\1/' <<<"$line")

VEYRAKIT_DOCUMENTS_DIR="$work/documents" VEYRAKIT_DEFAULTS_PATH="$work/defaults.json" \
  "$work/host-app/host-app" "$server" 2 "$session_events" "$diagnostics" 2>"$work/host-app.log"

sessions=$(curl -sf "$server/api/sessions")
requests=$(curl -sf "$server/api/requests")
grep -q '"assetId":"asset-42"' <<<"$sessions" || { echo "no session for asset-42: $sessions"; exit 1; }
grep -q '"assetName":"Harbour Lights"' <<<"$sessions" || { echo "asset name missing: $sessions"; exit 1; }
grep -q '"type":"S"' <<<"$requests" || { echo "no session start report"; exit 1; }
grep -q 'playbackCompleted' <<<"$requests" || { echo "no final report"; exit 1; }
grep -q 'sessionEventsHandler' <<<"$requests" || { echo "no diagnostic post"; exit 1; }
echo "host-app built against $work/prefix and reported to $server"
