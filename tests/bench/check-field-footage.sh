#!/usr/bin/env bash
# Recordings as they come from the field, through velquin-bench against the
# ffmpeg tool's framemd5 of the same file: segments joined end to end (the
# clock restarts), a transport stream clock that wraps, an MP4 cut in mid
# group, sound that turns from stereo to mono, an AVI of MPEG-4 Part 2 with
# B-frames cut mid-frame, and damaged copies (bytes zeroed, bits flipped, a
# stretch removed). On each: every picture in order, 20 jumps spread over the
# file (first and last frame and both sides of a segment boundary), 20 steps
# back, and reverse play of the whole file. No command may take more than 5 s.
#
# One decoding thread, as the ffmpeg tool's truth was made: what a decoder
# fills in for a damaged picture then repeats. Even so a damaged picture may
# differ where the decoder could not fill it at all, so a damaged clip may
# differ in at most as many pictures as the engine counted damaged. Frames
# are numbered by the packets in the file, and a packet that gives no picture
# at all cannot be shown: a jump or step to it shows the nearest picture that
# can be. So on a damaged clip jumps must land within 3 frames of the target
# and steps back must go down, and the concealment is not compared.
# Usage: check-field-footage.sh VELQUIN_BENCH MEDIA_DIR
set -uo pipefail
BENCH=$1
MEDIA=$2
LIMIT_S=5
status=0

fail() {
  echo "FAIL $*"
  status=1
}

# Runs velquin-bench with a bound; the output lands in $out.
run() { # $1 = what, rest = velquin-bench arguments
  local what=$1 rc
  shift
  out=$(timeout 60 "$BENCH" "$@" 2>"$err_file")
  rc=$?
  [ $rc -eq 124 ] && fail "$what: did not finish within 60 s"
  [ $rc -ne 0 ] && [ $rc -ne 124 ] && fail "$what: exit status $rc: $(tail -n 2 "$err_file")"
  return $rc
}

# Compares "N,MD5,MS" lines with the truth: the frame must exist, each
# command must have taken at most LIMIT_S, and (unless $4 is "numbers") the
# hash must be the truth's. Sets checked to the lines compared.
check_frames() { # $1 = clip, $2 = what, $3 = output, $4 = "hashes" | "numbers"
  local clip=$1 what=$2 mode=$4 frame md5 ms
  checked=0
  while IFS=, read -r frame md5 ms; do
    [[ $frame =~ ^[0-9]+$ ]] || continue
    checked=$((checked + 1))
    if [ "$mode" = hashes ] && [ "$frame" -ge "${#truth[@]}" ]; then
      fail "$clip $what: frame $frame does not exist"
    elif [ "$mode" = hashes ] && [ "$md5" != "${truth[$frame]}" ]; then
      fail "$clip $what: frame $frame has hash $md5, the ffmpeg tool's is ${truth[$frame]}"
    fi
    if [ -n "$ms" ] && [ "$what" != reverse ] && awk -v m="$ms" -v l="$LIMIT_S" 'BEGIN { exit !(m > l * 1000) }'; then
      fail "$clip $what: frame $frame took $ms ms"
    fi
  done <<<"$3"
}

err_file=$(mktemp)
trap 'rm -f "$err_file"' EXIT

clips=(joined_restart.ts clock_wrap.ts cut_fragmented.mp4 stereo_to_mono.ts xvid_ac3_cut.avi)
for f in "$MEDIA"/dmg_*; do
  case $f in *.framemd5) ;; *) clips+=("$(basename "$f")") ;; esac
done

for clip in "${clips[@]}"; do
  path=$MEDIA/$clip
  if [ ! -s "$path.framemd5" ]; then
    fail "$clip: no truth beside the clip"
    continue
  fi
  mapfile -t truth < <(grep -v '^#' "$path.framemd5" | awk -F', *' '{print $6}')
  last=$((${#truth[@]} - 1))
  damaged=0
  [[ $clip == dmg_* ]] && damaged=1

  # Every picture in order.
  run "$clip framemd5" framemd5 "$path" --threads 1 || continue
  ours=$(cut -d, -f2 <<<"$out")
  if [ "$(wc -l <<<"$ours")" -ne "${#truth[@]}" ]; then
    fail "$clip framemd5: $(wc -l <<<"$ours") pictures, the ffmpeg tool decodes ${#truth[@]}"
  else
    differ=$(paste -d' ' <(printf '%s\n' "${truth[@]}") <(echo "$ours") | awk '$1 != $2' | wc -l)
    counted=$(sed -n 's/.*damaged pictures: \([0-9]*\).*/\1/p' "$err_file")
    counted=${counted:-0}
    # Some decoders (Motion JPEG) fill in a damaged picture without saying
    # so to their caller; the ffmpeg tool's own complaints count those.
    if [ $damaged -eq 1 ]; then
      told=$(ffmpeg -nostdin -v error -threads 1 -i "$path" -an -f null - 2>&1 | grep -ci error)
      [ "$told" -gt "$counted" ] && counted=$told
    fi
    if [ "$differ" -gt "$counted" ]; then
      fail "$clip framemd5: $differ pictures differ from the ffmpeg tool's, $counted counted damaged"
    fi
  fi
  mode=hashes
  [ $damaged -eq 1 ] && mode=numbers

  # 20 jumps spread over the whole file, both ends and (for the joined
  # segments) both sides of the restart included.
  frames=(0 "$last")
  for i in $(seq 1 15); do frames+=($((i * last / 16))); done
  mid=$(((last + 1) / 2))
  frames+=($((mid - 1)) "$mid" $((mid + 1)))
  run "$clip seek" seek "$path" --threads 1 "${frames[@]}" --no-peer || continue
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1 | tr '\n' ' ')
  if [ $damaged -eq 0 ]; then
    [ "$shown" = "${frames[*]} " ] || fail "$clip seek: showed '$shown', asked for '${frames[*]}'"
  else
    read -r -a got <<<"$shown"
    [ ${#got[@]} -eq ${#frames[@]} ] || fail "$clip seek: showed ${#got[@]} frames for ${#frames[@]} jumps"
    for i in "${!got[@]}"; do
      d=$((got[i] - frames[i]))
      [ ${d#-} -le 3 ] || fail "$clip seek: asked for frame ${frames[i]}, showed ${got[i]}"
    done
  fi
  check_frames "$clip" seek "$out" $mode

  # 20 steps back from past the middle: across the restart of the joined clip.
  from=$((mid + 10 < last ? mid + 10 : last))
  count=$((from < 20 ? from : 20))
  run "$clip stepback" stepback "$path" --threads 1 "$from" "$count" --no-peer || continue
  want=$(seq $((from - 1)) -1 $((from - count)) | tr '\n' ' ')
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1 | tr '\n' ' ')
  if [ $damaged -eq 0 ]; then
    [ "$shown" = "$want" ] || fail "$clip stepback: showed '$shown', wanted '$want'"
  else
    tr ' ' '\n' <<<"$shown" | grep . | sort -n -r -u -c 2>/dev/null ||
      fail "$clip stepback: frames not strictly descending: $shown"
  fi
  check_frames "$clip" stepback "$out" $mode

  # The whole file backwards: never out of order, never a wrong picture, down to frame 0.
  run "$clip reverse" reverse "$path" --threads 1 --no-peer || continue
  shown=$(grep -E '^[0-9]+,' <<<"$out" | cut -d, -f1)
  sort -n -r -u -c <<<"$shown" 2>/dev/null || fail "$clip reverse: frames not strictly descending"
  [ "$(tail -n1 <<<"$shown")" = 0 ] || fail "$clip reverse: did not end at frame 0"
  check_frames "$clip" reverse "$out" $mode
  echo "     $clip: $(wc -l <<<"$ours") pictures, ${#frames[@]} jumps, $count steps back, reverse to 0"
done

[ $status -eq 0 ] && echo "ok   field recordings play, jump, step and reverse frame-exact"
exit $status
