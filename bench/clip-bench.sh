#!/usr/bin/env bash
# The clip tool against the ffmpeg tool's stream copy of the same span of a
# 10-minute recording with sound. velquin-clip also reads the source through
# for its SHA-256 and writes the manifest; the ffmpeg tool only copies. Best
# of three runs each. The frame-exact mode (lossless re-encoded edges) on a
# span that starts and ends mid-group stands beside the ffmpeg tool
# re-encoding that span (the usual way to cut on exact frames). The ratios
# (velquin-clip / ffmpeg) come last.
# Usage: clip-bench.sh [WORK_DIR] (default: a temporary folder).
# VELQUIN_CLIP names the velquin-clip program if it is not on the PATH.
set -euo pipefail

CLIP=${VELQUIN_CLIP:-velquin-clip}
WORK=${1:-}
if [ -z "$WORK" ]; then
  WORK=$(mktemp -d)
  trap 'rm -rf "$WORK"' EXIT
fi
mkdir -p "$WORK"
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)
SRC="$WORK/clipbench_cam1_20240315080000.mp4"
FROM=240
TO=300

[ -s "$SRC" ] || "${FF[@]}" -f lavfi -i "testsrc2=size=352x288:rate=25:duration=600" \
  -f lavfi -i "sine=frequency=440:duration=600" -c:v libx264 -preset ultrafast -g 50 -bf 2 \
  -pix_fmt yuv420p -c:a aac -shortest "$SRC"

now() { date +%s.%N; }
best() { # $1 = name of a function to time, $2 = the file it makes; prints the best of three in seconds
  local best="" t0 t1 dt
  for _ in 1 2 3; do
    # The clip tool never overwrites a clip or its manifest: each run starts clean.
    rm -f "$2" "$2.manifest.sha256"
    t0=$(now)
    # A run that fails or makes nothing fails the bench (exit inside $(...)
    # ends the substitution, and set -e the script).
    if ! "$1"; then echo "clip-bench: $1 failed" >&2; exit 1; fi
    t1=$(now)
    if [ ! -s "$2" ]; then echo "clip-bench: $1 made no $2" >&2; exit 1; fi
    dt=$(awk -v a="$t0" -v b="$t1" 'BEGIN { print b - a }')
    if [ -z "$best" ] || awk -v d="$dt" -v b="$best" 'BEGIN { exit !(d < b) }'; then best=$dt; fi
  done
  printf '%.3f' "$best"
}
run_clip() { "$CLIP" --in "$SRC" --from "$FROM" --to "$TO" --out "$WORK/velquin.mp4" >/dev/null; }
run_ffmpeg() { "${FF[@]}" -ss "$FROM" -to "$TO" -i "$SRC" -c copy "$WORK/ffmpeg.mp4"; }
EXACT_FROM=241.3
EXACT_TO=300.7
run_exact() {
  "$CLIP" --exact --in "$SRC" --from "$EXACT_FROM" --to "$EXACT_TO" --out "$WORK/velquin-exact.mp4" >/dev/null
}
run_reencode() {
  "${FF[@]}" -ss "$EXACT_FROM" -to "$EXACT_TO" -i "$SRC" -c:v libx264 -preset veryfast -c:a copy "$WORK/ffmpeg-exact.mp4"
}

t_clip=$(best run_clip "$WORK/velquin.mp4")
t_ffmpeg=$(best run_ffmpeg "$WORK/ffmpeg.mp4")
t_exact=$(best run_exact "$WORK/velquin-exact.mp4")
t_reencode=$(best run_reencode "$WORK/ffmpeg-exact.mp4")
echo "source_bytes: $(stat -c %s "$SRC")"
echo "span_s: $FROM-$TO"
echo "velquin_clip_s: $t_clip"
echo "ffmpeg_copy_s: $t_ffmpeg"
echo "velquin_clip_frames: $(ffprobe -v error -count_packets -select_streams v:0 -show_entries stream=nb_read_packets -of csv=p=0 "$WORK/velquin.mp4")"
echo "ffmpeg_copy_frames: $(ffprobe -v error -count_packets -select_streams v:0 -show_entries stream=nb_read_packets -of csv=p=0 "$WORK/ffmpeg.mp4")"
echo "velquin_clip_exact_s: $t_exact"
echo "ffmpeg_reencode_s: $t_reencode"
echo "ratio_exact_to_reencode: $(awk -v a="$t_exact" -v b="$t_reencode" 'BEGIN { printf "%.2f", a / b }')"
echo "ratio_clip_to_ffmpeg: $(awk -v a="$t_clip" -v b="$t_ffmpeg" 'BEGIN { printf "%.2f", a / b }')"
