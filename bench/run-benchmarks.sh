#!/usr/bin/env bash
# Generates two H.264 clips and prints the engine's figures beside the ffmpeg
# tool's: single-port unpaced throughput, time to first frame, and many ports
# in real time. Usage: run-benchmarks.sh [MEDIA_DIR] (default /tmp/velquin-bench-media).
# VELQUIN_BENCH names the velquin-bench program if it is not on the PATH.
set -euo pipefail

OUT=${1:-/tmp/velquin-bench-media}
BENCH=${VELQUIN_BENCH:-velquin-bench}
mkdir -p "$OUT"
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)

clip() { # $1 = name, $2 = size, $3 = seconds
  [ -s "$OUT/$1" ] && return
  "${FF[@]}" -f lavfi -i "testsrc2=size=$2:rate=25:duration=$3" \
    -c:v libx264 -preset veryfast -g 50 -bf 2 -pix_fmt yuv420p "$OUT/$1"
}
clip d1_25fps_20s.mp4 704x576 20
clip hd_25fps_10s.mp4 1920x1080 10

run() { echo "== velquin-bench $*"; "$BENCH" "$@"; echo; }
run throughput "$OUT/d1_25fps_20s.mp4"
run throughput "$OUT/hd_25fps_10s.mp4"
run first-frame "$OUT/d1_25fps_20s.mp4"
run first-frame "$OUT/hd_25fps_10s.mp4"
run throughput "$OUT/d1_25fps_20s.mp4" --ports 16 --realtime 10
run throughput "$OUT/hd_25fps_10s.mp4" --ports 4 --realtime 10
