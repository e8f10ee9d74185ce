#!/usr/bin/env bash
# velquin-bench framemd5 must print, line for line, the hashes of the ffmpeg tool's
# framemd5 of the same clip. Usage: check-framemd5.sh VELQUIN_BENCH MEDIA_DIR
set -euo pipefail
BENCH=$1
MEDIA=$2
status=0
for clip in h264_aac.mp4 hevc.mkv ch01_20240315102030.ts mjpeg.avi mpeg4.mp4 silent_h264.mp4; do
  ours=$("$BENCH" framemd5 "$MEDIA/$clip" | cut -d, -f2)
  truth=$(grep -v '^#' "$MEDIA/$clip.framemd5" | awk -F', *' '{print $6}')
  if [ "$ours" != "$truth" ]; then
    echo "FAIL $clip: frame hashes differ from the ffmpeg tool's"
    diff <(echo "$truth") <(echo "$ours") | head -5
    status=1
  else
    echo "ok   $clip: $(echo "$ours" | wc -l) frames equal"
  fi
done
if "$BENCH" framemd5 "$MEDIA/text.mp4" >/dev/null 2>&1; then
  echo "FAIL text.mp4: an unopenable file must exit non-zero"
  status=1
fi
exit $status
