#!/usr/bin/env bash
# Frame-exact transport of velquin-bench against the ffmpeg tool's framemd5 of
# the same clip: jumps forwards and backwards (first and last frame, key frames,
# frames deep in a group of pictures), single steps back across a key frame,
# and reverse play down to frame 0. Line N of NAME.framemd5 is frame N's truth.
# Usage: check-seek.sh VELQUIN_BENCH MEDIA_DIR
set -uo pipefail
BENCH=$1
MEDIA=$2
status=0

fail() {
  echo "FAIL $*"
  status=1
}

# Compares the "N,MD5[,...]" lines of $3 with the truth and sets checked to
# their count; $1 = clip, $2 = what ran. Runs in this shell so fail() counts.
check_frames() {
  local clip=$1 what=$2 frame md5 rest want
  checked=0
  while IFS=, read -r frame md5 rest; do
    [[ $frame =~ ^[0-9]+$ ]] || continue
    want=${truth[$frame]:-}
    if [ -z "$want" ]; then
      fail "$clip $what: frame $frame does not exist"
    elif [ "$md5" != "$want" ]; then
      fail "$clip $what: frame $frame has hash $md5, the ffmpeg tool's is $want"
    fi
    checked=$((checked + 1))
  done <<<"$3"
}

for clip in h264_aac.mp4 ch01_20240315102030.ts; do
  mapfile -t truth < <(grep -v '^#' "$MEDIA/$clip.framemd5" | awk -F', *' '{print $6}')
  last=$((${#truth[@]} - 1))
  if [ "$last" -lt 40 ]; then
    fail "$clip: expected at least 41 frames of truth, found $((last + 1))"
    continue
  fi

  # Groups of 25 pictures: 25 is a key frame, 24 and 37 need their group decoded up to them.
  frames=(0 37 13 25 24 "$last" 3 "$last" 0)
  out=$("$BENCH" seek "$MEDIA/$clip" "${frames[@]}" --no-peer) || fail "$clip seek: exit status $?"
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1 | tr '\n' ' ')
  [ "$shown" = "${frames[*]} " ] || fail "$clip seek: showed frames '$shown', asked for '${frames[*]}'"
  check_frames "$clip" seek "$out"
  grep -q '^median_ms: ' <<<"$out" || fail "$clip seek: no median_ms line"
  echo "     $clip seek: $checked frames checked"

  out=$("$BENCH" stepback "$MEDIA/$clip" 30 10 --no-peer) || fail "$clip stepback: exit status $?"
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1 | tr '\n' ' ')
  [ "$shown" = "29 28 27 26 25 24 23 22 21 20 " ] || fail "$clip stepback: showed frames '$shown'"
  check_frames "$clip" stepback "$out"
  echo "     $clip stepback: $checked frames checked"

  # Real-time reverse may leave frames out when late, but never shows one out of order or a wrong picture.
  out=$("$BENCH" reverse "$MEDIA/$clip" --no-peer) || fail "$clip reverse: exit status $?"
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1)
  sort -n -r -u -c <<<"$shown" 2>/dev/null || fail "$clip reverse: frames not strictly descending"
  [ "$(tail -n1 <<<"$shown")" = 0 ] || fail "$clip reverse: did not end at frame 0"
  check_frames "$clip" reverse "$out"
  echo "     $clip reverse: $checked frames checked"
done

if "$BENCH" seek "$MEDIA/h264_aac.mp4" 100000 --no-peer >/dev/null 2>&1; then
  fail "seek: a frame past the end must exit non-zero"
fi
if "$BENCH" seek "$MEDIA/text.mp4" 0 --no-peer >/dev/null 2>&1; then
  fail "seek: an unopenable file must exit non-zero"
fi
[ $status -eq 0 ] && echo "ok   frame-exact jumps, steps back and reverse play match the ffmpeg tool"
exit $status
