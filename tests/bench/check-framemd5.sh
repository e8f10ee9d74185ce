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
# Encrypted copies of h264_aac.mp4 played with their keys give the source's pictures.
truth=$(grep -v '^#' "$MEDIA/h264_aac.mp4.framemd5" | awk -F', *' '{print $6}')
for key in velquin123 abcdefghijklmnop; do
  ours=$("$BENCH" framemd5 "$MEDIA/enc_$key.mp4" --key "$key" | cut -d, -f2)
  if [ "$ours" != "$truth" ]; then
    echo "FAIL enc_$key.mp4 with its key: frame hashes differ from the unencrypted source's"
    status=1
  else
    echo "ok   enc_$key.mp4 with its key: $(echo "$ours" | wc -l) frames equal to the source's"
  fi
done
wrong=$("$BENCH" framemd5 "$MEDIA/enc_velquin123.mp4" --key wrongkey 2>/dev/null | cut -d, -f2 || true)
if [ "$wrong" = "$truth" ]; then
  echo "FAIL enc_velquin123.mp4 with a wrong key: the source's pictures came out"
  status=1
fi
if "$BENCH" framemd5 "$MEDIA/text.mp4" >/dev/null 2>&1; then
  echo "FAIL text.mp4: an unopenable file must exit non-zero"
  status=1
fi
exit $status
