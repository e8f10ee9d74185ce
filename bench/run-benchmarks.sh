#!/usr/bin/env bash
# Generates H.264 clips and prints the engine's figures beside its peers' on
# the same files: single-port unpaced throughput, time to first frame and many
# ports in real time (the ffmpeg tool); frame-exact jumps (mpv and the ffmpeg
# tool), single steps back, reverse play (mpv) and the frame index of a
# 10-minute recording (ffprobe).
# Usage: run-benchmarks.sh [MEDIA_DIR] (default /tmp/velquin-bench-media).
# VELQUIN_BENCH names the velquin-bench program if it is not on the PATH.
set -euo pipefail

OUT=${1:-/tmp/velquin-bench-media}
BENCH=${VELQUIN_BENCH:-velquin-bench}
mkdir -p "$OUT"
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)

# Peers only the benchmarks use; the program itself never needs them.
BENCH_PACKAGES=(mpv)
missing=()
for pkg in "${BENCH_PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=()
  [ "$(id -u)" -ne 0 ] && SUDO=(sudo)
  "${SUDO[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
fi

clip() { # $1 = name, $2 = size, $3 = seconds, $4 = x264 preset (default veryfast)
  [ -s "$OUT/$1" ] && return
  "${FF[@]}" -f lavfi -i "testsrc2=size=$2:rate=25:duration=$3" \
    -c:v libx264 -preset "${4:-veryfast}" -g 50 -bf 2 -pix_fmt yuv420p "$OUT/$1"
}
clip d1_25fps_20s.mp4 704x576 20
clip hd_25fps_10s.mp4 1920x1080 10
# A long recording for the frame index; only its packets matter, so encode fast.
clip d1_25fps_10min.mp4 704x576 600 ultrafast
# The same recording as a transport stream, as recorders write it: no sample
# table to read, so the index has to scan every packet.
[ -s "$OUT/d1_25fps_10min.ts" ] || "${FF[@]}" -i "$OUT/d1_25fps_10min.mp4" -c copy -f mpegts "$OUT/d1_25fps_10min.ts"

run() { echo "== velquin-bench $*"; "$BENCH" "$@"; echo; }
run throughput "$OUT/d1_25fps_20s.mp4"
run throughput "$OUT/hd_25fps_10s.mp4"
run first-frame "$OUT/d1_25fps_20s.mp4"
run first-frame "$OUT/hd_25fps_10s.mp4"
run throughput "$OUT/d1_25fps_20s.mp4" --ports 16 --realtime 10
run throughput "$OUT/hd_25fps_10s.mp4" --ports 4 --realtime 10

# 20 frames spread over the 250 of the HD clip, first and last included; the
# 50-frame groups of pictures put most of them mid-group.
HD_FRAMES=()
for i in $(seq 0 19); do HD_FRAMES+=($((i * 249 / 19))); done
run seek "$OUT/hd_25fps_10s.mp4" "${HD_FRAMES[@]}"
# 25 steps back from mid-group across a key frame (frame 100).
run stepback "$OUT/hd_25fps_10s.mp4" 124 25
run reverse "$OUT/hd_25fps_10s.mp4" --seconds 10
run index "$OUT/d1_25fps_10min.mp4"
run index "$OUT/d1_25fps_10min.ts"
