#!/usr/bin/env bash
# Generates every clip the tests use into the folder given as $1 (default: ./media).
# Each clip is a synthetic pattern with the frame number drawn in and, where the
# container allows, a 1 kHz sine and a creation time. Beside each playable clip
# NAME stands NAME.framemd5: the ffmpeg tool's framemd5 of its video as yuv420p,
# the truth the tests compare our pictures with. Re-running skips clips that exist.
set -euo pipefail

OUT=${1:-media}
mkdir -p "$OUT"
cd "$OUT"

FONT=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)
CREATION=2024-03-15T10:20:30.000000Z
W=320; H=240; RATE=25; SECONDS_=2

pattern() { # $1 = seconds, $2 = size
  echo "testsrc2=size=${2:-${W}x${H}}:rate=${RATE}:duration=${1:-$SECONDS_},drawtext=fontfile=${FONT}:text='%{frame_num}':x=10:y=10:fontsize=48:fontcolor=white:box=1:boxcolor=black"
}
tone() { # $1 = seconds
  echo "aevalsrc=0.5*sin(2*PI*1000*t):s=48000:c=stereo:d=${1:-$SECONDS_}"
}

make() { # $1 = output name, rest = ffmpeg arguments
  local name=$1; shift
  if [ ! -s "$name" ]; then
    "${FF[@]}" "$@" "$name.tmp.${name##*.}"
    mv "$name.tmp.${name##*.}" "$name"
  fi
  if [ ! -s "$name.framemd5" ]; then
    "${FF[@]}" -i "$name" -an -fps_mode passthrough -pix_fmt yuv420p -f framemd5 "$name.framemd5"
  fi
}

# H.264 with B-frames and AAC in MP4, creation time set.
make h264_aac.mp4 -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest \
  -metadata creation_time=$CREATION -movflags +faststart
# HEVC in Matroska, creation time set.
make hevc.mkv -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=25 -pix_fmt yuv420p \
  -c:a aac -b:a 96k -shortest -metadata creation_time=$CREATION
# H.264 with B-frames in MPEG-TS; the recorder's time stamp is in the name.
make ch01_20240315102030.ts -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest
# Motion JPEG in AVI.
make mjpeg.avi -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v mjpeg -q:v 5 -pix_fmt yuvj420p -c:a pcm_s16le -shortest -metadata creation_time=$CREATION
# MPEG-4 Part 2 in MP4.
make mpeg4.mp4 -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v mpeg4 -q:v 4 -g 25 -bf 2 -c:a aac -b:a 96k -shortest -metadata creation_time=$CREATION
# Video only, no sound track.
make silent_h264.mp4 -f lavfi -i "$(pattern)" -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p \
  -metadata creation_time=$CREATION
# Recordings named as recorders name them: channel, begin and end stamps. The
# creation time agrees with the name. D1 (704x576) is the usual recorder size;
# the 1080p one is short and encoded fast to keep generation quick.
make ch02_20240315103000_20240315103010.mp4 -f lavfi -i "$(pattern 10 704x576)" -f lavfi -i "$(tone 10)" \
  -c:v libx264 -preset ultrafast -g 25 -bf 2 -pix_fmt yuv420p -c:a aac -b:a 64k -shortest \
  -metadata creation_time=2024-03-15T10:30:00.000000Z
make ch03_20240315110000_20240315110002.mp4 -f lavfi -i "$(pattern 2 1920x1080)" \
  -c:v libx264 -preset ultrafast -g 25 -bf 2 -pix_fmt yuv420p \
  -metadata creation_time=2024-03-15T11:00:00.000000Z
# Sound test: 1 kHz sine at half scale, 4 s, with a still picture.
make sine1k.mkv -f lavfi -i "color=c=gray:size=160x120:rate=25:duration=4" -f lavfi -i "$(tone 4)" \
  -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a pcm_s16le -shortest

# Encrypted recordings: h264_aac.mp4 copied under MP4 Common Encryption (AES-128 CTR).
# The key is the key text zero-padded to 16 bytes, as the player pads what the user types:
#   enc_velquin123.mp4        key text "velquin123"
#   enc_abcdefghijklmnop.mp4  key text "abcdefghijklmnop" (all 16 characters, no padding)
# No fragmented clip: the ffmpeg tool writes encrypted fragments its own demuxer
# cannot read back ("saio atom found without saiz"), so there would be no truth.
# The pictures are the source's; the framemd5 beside each is made by decrypting
# with the key and must equal the source's, which proves the clip is right.
key_hex() { # $1 = key text -> 32 hex digits
  local hex
  hex=$(printf '%s' "$1" | od -An -tx1 | tr -d ' \n')
  printf '%-32s' "$hex" | tr ' ' 0
}
make_encrypted() { # $1 = key text
  local name="enc_$1.mp4" key
  key=$(key_hex "$1")
  # Recordings carry their creation time (a copy does not keep it by itself).
  # Clips made before it was written are made again; their pictures are the same.
  if [ -s "$name" ] && ! ffprobe -v error -show_entries format_tags=creation_time -of csv=p=0 "$name" 2>/dev/null |
      grep -q .; then
    rm -f "$name"
  fi
  if [ ! -s "$name" ]; then
    "${FF[@]}" -i h264_aac.mp4 -c copy -metadata creation_time=$CREATION -encryption_scheme cenc-aes-ctr \
      -encryption_key "$key" -encryption_kid 0123456789abcdef0123456789abcdef "$name.tmp.mp4"
    mv "$name.tmp.mp4" "$name"
  fi
  if [ ! -s "$name.framemd5" ]; then
    "${FF[@]}" -decryption_key "$key" -i "$name" -an -fps_mode passthrough -pix_fmt yuv420p \
      -f framemd5 "$name.framemd5.tmp"
    if ! cmp -s "$name.framemd5.tmp" h264_aac.mp4.framemd5; then
      echo "$name does not decrypt to h264_aac.mp4's pictures" >&2
      exit 1
    fi
    mv "$name.framemd5.tmp" "$name.framemd5"
  fi
}
make_encrypted velquin123
make_encrypted abcdefghijklmnop

# Bad inputs: empty, a text file, random bytes, and a clip cut short.
: > empty.mp4
[ -s text.mp4 ] || printf 'This is not a video file.\n' > text.mp4
[ -s random.mp4 ] || head -c 65536 /dev/urandom > random.mp4
[ -s truncated.ts ] || head -c $(( $(stat -c %s ch01_20240315102030.ts) / 3 )) ch01_20240315102030.ts > truncated.ts
[ -s truncated.mp4 ] || head -c $(( $(stat -c %s h264_aac.mp4) / 3 )) h264_aac.mp4 > truncated.mp4

echo "media ready in $(pwd)"
