#!/usr/bin/env bash
# What a new user does with the installed package: builds the two examples out of the tree against
# a fresh prefix (host-app and veyrakit-gst-player with find_package, the player once more with
# pkg-config), runs them against a collector on free loopback ports, and checks what the collector
# received and how the player exited.
#   test_installed_examples.sh BUILD_DIR SOURCE_DIR WORK_DIR COLLECTOR_BINARY
set -euo pipefail
build=$1 source=$2 work=$3 collector=$4
rm -rf "$work" && mkdir -p "$work"
fail() { echo "FAILED: $*"; exit 1; }

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/examples/host-app" -B "$work/host-app" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/host-app" >/dev/null
player=""
if [ -f "$work/prefix/lib/pkgconfig/veyrakit-gstreamer.pc" ]; then
  cmake -S "$source/examples/veyrakit-gst-player" -B "$work/player" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
  cmake --build "$work/player" >/dev/null
  player="$work/player/veyrakit-gst-player"
  c++ -std=c++20 -o "$work/player-pc" "$source/examples/veyrakit-gst-player/main.cpp" -Wl,-rpath,"$work/prefix/lib" \
    $(PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --cflags --libs veyrakit-gstreamer)
  "$source/scripts/make-test-media" "$work/media" 6
fi

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
port_of() { sed -E 's|http://[^:]*:([0-9]+)/.*|\1|' <<<"$1"; }
export VEYRAKIT_DOCUMENTS_DIR="$work/documents" VEYRAKIT_DEFAULTS_PATH="$work/defaults.json"

"$work/host-app/host-app" "$server" 2 "$session_events" "$diagnostics" 2>"$work/host-app.log"
requests=$(curl -sf "$server/api/requests")
grep -q '"assetId":"asset-42"' <<<"$(curl -sf "$server/api/sessions")" || fail "host-app: no session for asset-42"
grep -q '"type":"S"' <<<"$requests" || fail "host-app: no session start report"
grep -q 'sessionEventsHandler' <<<"$requests" || fail "host-app: no diagnostic post"
echo "host-app built against $work/prefix and reported to $server"
[ -n "$player" ] || exit 0

# Plays $2 with the player binary $1 and the options after, headless; echoes its exit status.
play() {
  local binary=$1 media=$2
  shift 2
  set +e
  "$binary" --server "$server" --diag-ports "$(port_of "$diagnostics"),$(port_of "$session_events")" \
    --headless "$@" "$media" >"$work/player.out" 2>"$work/player.err"
  echo $?
  set -e
}
# The requests of the newest session, as the collector stored them.
last_session() { curl -sf "$server/api/sessions" | grep -o '"sessionId":"[^"]*"' | tail -1 | cut -d'"' -f4; }
completed() { curl -sf "$server/api/requests?session=$(last_session)" | grep -q '"playbackCompleted":true'; }

[ "$(play "$player" "$work/media/clip.mp4")" = 0 ] || fail "player: a clean playback did not exit 0"
grep -q 'played to the end' "$work/player.out" || fail "player: no end of media"
completed || fail "player: no final report"

[ "$(play "$work/player-pc" "$work/media/clip.mp4" --player mpmovieplayer --playbin2)" = 0 ] ||
  fail "pkg-config player: a clean movie-player playback did not exit 0"
curl -sf "$server/api/sessions" | grep -q '"plugin":"iOS-MPMoviePlayer' || fail "pkg-config player: no movie player session"

"$player" --server "$server" --headless "$work/media/clip.mp4" >"$work/player.out" 2>"$work/player.err" &
pid=$!
sleep 2
kill -INT $pid
wait $pid || fail "player: SIGINT did not end it with 0"
grep -q 'stopped by the viewer' "$work/player.out" || fail "player: SIGINT not taken as the viewer's stop"
completed || fail "player: no final report after SIGINT"

[ "$(play "$player" "$work/media/no-such-file.mp4")" = 1 ] || fail "player: a playback error did not exit 1"
grep -q 'playback error' "$work/player.err" || fail "player: the error was not said"
echo "veyrakit-gst-player built against $work/prefix (CMake and pkg-config) and played headless"
