#!/usr/bin/env bash
# Live streams through velquin-bench stream against a local RTSP server:
# sixteen ports on one shared live source must show pictures with none
# dropped as late, and the clock source must give latency figures.
# Usage: check-streams.sh VELQUIN_BENCH MEDIA_DIR [SECONDS]
set -euo pipefail
BENCH=$1
MEDIA=$2
SECONDS_LIVE=${3:-${VELQUIN_STREAM_SECONDS:-10}}
HERE=$(cd "$(dirname "$0")" && pwd)
OUT=$(mktemp -d)
SERVER_PID=""
cleanup() {
  if [ -n "$SERVER_PID" ]; then
    kill "$SERVER_PID" 2>/dev/null || true
    wait "$SERVER_PID" 2>/dev/null || true
  fi
  rm -rf "$OUT"
}
trap cleanup EXIT

# Debian's own interpreter: the GStreamer bindings belong to it.
/usr/bin/python3 "$HERE/../../scripts/rtsp-server.py" --port 0 --clip "$MEDIA/stream_d1.ts" >"$OUT/server.log" 2>&1 &
SERVER_PID=$!
PORT=""
for _ in $(seq 1 100); do
  PORT=$(awk '/^READY/ {print $2; exit}' "$OUT/server.log")
  [ -n "$PORT" ] && break
  kill -0 "$SERVER_PID" 2>/dev/null || break
  sleep 0.1 # polling for the READY line, at most 10 s
done
if [ -z "$PORT" ]; then
  echo "check-streams: the RTSP server did not start"; cat "$OUT/server.log"; exit 1
fi

fail=0
"$BENCH" stream "rtsp://127.0.0.1:$PORT/live" --ports 16 --seconds "$SECONDS_LIVE" --no-peer | tee "$OUT/live.txt" || fail=1
late=$(awk -F': ' '$1 == "late_frames" {print $2}' "$OUT/live.txt")
if [ "${late:-x}" != "0" ]; then
  echo "check-streams: sixteen live streams dropped ${late:-?} late pictures"; fail=1
fi
"$BENCH" stream "rtsp://127.0.0.1:$PORT/clock" --seconds 5 --no-peer | tee "$OUT/clock.txt" || fail=1
if ! grep -q '^latency_median_ms: ' "$OUT/clock.txt"; then
  echo "check-streams: no picture of the clock source carried a readable time"; fail=1
fi
exit $fail
