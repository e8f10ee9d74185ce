#!/usr/bin/env bash
# velquin-convert against the ffmpeg tool with the same settings (libx264
# preset medium, CRF 23, yuv420p; AAC 128 kb/s: the converter's defaults) on a
# generated 1-minute D1 recording with sound, MPEG-4 Visual and MP3 in
# Matroska. Prints `name: value` lines, the ratio (converter / ffmpeg) last.
# Usage: convert-bench.sh [WORK_DIR] (default /tmp/velquin-bench-media).
# VELQUIN_CONVERT names the converter if it is not on the PATH.
set -euo pipefail

OUT=${1:-/tmp/velquin-bench-media}
CONVERT=${VELQUIN_CONVERT:-velquin-convert}
mkdir -p "$OUT"
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)

SRC="$OUT/convert_d1_60s.mkv"
[ -s "$SRC" ] || "${FF[@]}" -f lavfi -i "testsrc2=size=704x576:rate=25:duration=60" \
  -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=60" -c:v mpeg4 -q:v 4 -c:a libmp3lame "$SRC"

seconds() { # runs "$@" and prints its wall-clock seconds; a failing program fails the bench
  local t0 t1
  t0=$(date +%s.%N)
  "$@" >/dev/null || { echo "convert-bench: failed: $*" >&2; return 1; }
  t1=$(date +%s.%N)
  awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.3f", b - a }'
}

command -v "$CONVERT" >/dev/null || { echo "convert-bench: no converter: $CONVERT (set VELQUIN_CONVERT)" >&2; exit 1; }
OURS="$OUT/convert_velquin.mp4"
PEER="$OUT/convert_ffmpeg.mp4"
rm -f "$OURS" "$OURS.part" "$PEER"
# An assignment from $(...) takes the exit status of the command inside, which
# set -e does not see through `local` or a pipeline: checked by hand.
t_ours=$(seconds "$CONVERT" --in "$SRC" --out "$OURS") || exit 1
t_peer=$(seconds "${FF[@]}" -i "$SRC" -c:v libx264 -preset medium -crf 23 -pix_fmt yuv420p \
  -c:a aac -b:a 128k "$PEER") || exit 1
for f in "$OURS" "$PEER"; do
  [ -s "$f" ] || { echo "convert-bench: no output $f" >&2; exit 1; }
done
printf 'velquin_convert_s: %.2f\n' "$t_ours"
printf 'ffmpeg_s: %.2f\n' "$t_peer"
printf 'velquin_size_bytes: %d\n' "$(stat -c %s "$OURS")"
printf 'ffmpeg_size_bytes: %d\n' "$(stat -c %s "$PEER")"
awk -v a="$t_ours" -v b="$t_peer" 'BEGIN { printf "ratio: %.3f\n", (b > 0 ? a / b : 0) }'
