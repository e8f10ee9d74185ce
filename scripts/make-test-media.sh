#!/usr/bin/env bash
# Generates every clip the tests use into the folder given as $1 (default: ./media).
# Each clip is a synthetic pattern with the frame number drawn in and, where the
# container allows, a 1 kHz sine and a creation time. Beside each playable clip
# NAME stands NAME.framemd5: the ffmpeg tool's framemd5 of its video as yuv420p,
# the truth the tests compare our pictures with. Re-running skips clips that exist.
# Usage: make-test-media.sh [DIR] [--long]
#   --long  also makes the 10-minute beep and flash clip (CI uses the 60 s one).
set -euo pipefail

OUT=media
LONG=0
for arg in "$@"; do
  case "$arg" in
    --long) LONG=1 ;;
    *) OUT=$arg ;;
  esac
done
mkdir -p "$OUT"
cd "$OUT"

FONT=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)
CREATION=2024-03-15T10:20:30.000000Z
W=320; H=240; RATE=25; SECONDS_=2

pattern() { # $1 = seconds, $2 = size, $3 = number drawn on the first frame, $4 = source
  echo "${4:-testsrc2}=size=${2:-${W}x${H}}:rate=${RATE}:duration=${1:-$SECONDS_},drawtext=fontfile=${FONT}:text='%{frame_num}':start_number=${3:-0}:x=10:y=10:fontsize=48:fontcolor=white:box=1:boxcolor=black"
}
tone() { # $1 = seconds, $2 = channel layout
  echo "aevalsrc=0.5*sin(2*PI*1000*t):s=48000:c=${2:-stereo}:d=${1:-$SECONDS_}"
}

# NAME.framemd5: the ffmpeg tool's decode of NAME's video, the truth for its pictures.
truth() { # $1 = clip name
  if [ ! -s "$1.framemd5" ]; then
    "${FF[@]}" -i "$1" -an -fps_mode passthrough -pix_fmt yuv420p -f framemd5 "$1.framemd5"
  fi
}
# The same for a damaged clip: what the ffmpeg tool decodes of it, however it
# ends; its complaints about the damage are expected and not shown. One decode
# thread: with frame threads the concealment of damage differs from run to run.
truth_damaged() { # $1 = clip name
  if [ ! -s "$1.framemd5" ]; then
    ffmpeg -hide_banner -loglevel quiet -nostdin -y -threads 1 -i "$1" -an -fps_mode passthrough -pix_fmt yuv420p \
      -f framemd5 ".tmp_$1.framemd5" || true
    [ -s ".tmp_$1.framemd5" ] || echo "#format: frame checksums" > ".tmp_$1.framemd5"
    mv ".tmp_$1.framemd5" "$1.framemd5"
  fi
}

make() { # $1 = output name, rest = ffmpeg arguments
  local name=$1; shift
  if [ ! -s "$name" ]; then
    "${FF[@]}" "$@" "$name.tmp.${name##*.}"
    mv "$name.tmp.${name##*.}" "$name"
  fi
  truth "$name"
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

# ---- Recordings as recorders really leave them -------------------------------

# Two 4 s recorder segments (H.264 with B-frames, AAC) joined by cat: the time
# stamps, the continuity counters and the tables start again in the middle.
# The second segment has another pattern; the drawn numbers run on (0..199).
if [ ! -s joined_restart.ts ]; then
  "${FF[@]}" -f lavfi -i "$(pattern 4 "" 0)" -f lavfi -i "$(tone 4)" \
    -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest joined_part1.tmp.ts
  "${FF[@]}" -f lavfi -i "$(pattern 4 "" 100 testsrc)" -f lavfi -i "$(tone 4)" \
    -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest joined_part2.tmp.ts
  cat joined_part1.tmp.ts joined_part2.tmp.ts > joined_restart.tmp.ts
  rm joined_part1.tmp.ts joined_part2.tmp.ts
  mv joined_restart.tmp.ts joined_restart.ts
fi
truth joined_restart.ts

# A transport stream whose 33-bit 90 kHz clock wraps in the middle: the offset
# puts the first picture about 2 s before 2^33 / 90000 s (95443.717 s), less the
# 1.4 s the muxer adds itself. The demuxer shows the wrap as a start below zero.
make clock_wrap.ts -f lavfi -i "$(pattern 4)" -f lavfi -i "$(tone 4)" \
  -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest \
  -output_ts_offset 95440.3
if ! ffprobe -v error -select_streams v -show_entries stream=start_time,duration -of csv=p=0 clock_wrap.ts |
    awk -F, '{ exit !($1 < -0.5 && $1 + $2 > 0.5) }'; then
  echo "clock_wrap.ts: the clock does not wrap in the middle" >&2
  exit 1
fi

# A fragmented MP4 (one fragment per group of pictures, as recorders write to
# survive a power cut) cut off in the middle of its third fragment.
if [ ! -s cut_fragmented.mp4 ]; then
  "${FF[@]}" -f lavfi -i "$(pattern 4)" -f lavfi -i "$(tone 4)" \
    -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest \
    -metadata creation_time=$CREATION -movflags frag_keyframe+empty_moov fragmented.tmp.mp4
  head -c $(( $(stat -c %s fragmented.tmp.mp4) * 3 / 5 )) fragmented.tmp.mp4 > cut_fragmented.tmp.mp4
  rm fragmented.tmp.mp4
  mv cut_fragmented.tmp.mp4 cut_fragmented.mp4
fi
truth_damaged cut_fragmented.mp4

# Sound that turns from stereo to mono after 2 s, time stamps running on: two
# segments put together by the concat demuxer into one transport stream.
if [ ! -s stereo_to_mono.ts ]; then
  "${FF[@]}" -f lavfi -i "$(pattern 2 "" 0)" -f lavfi -i "$(tone 2 stereo)" \
    -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest stereo_part.tmp.ts
  "${FF[@]}" -f lavfi -i "$(pattern 2 "" 50)" -f lavfi -i "$(tone 2 mono)" \
    -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 64k -shortest mono_part.tmp.ts
  printf "file '%s'\n" stereo_part.tmp.ts mono_part.tmp.ts > stereo_to_mono.tmp.txt
  "${FF[@]}" -f concat -safe 0 -i stereo_to_mono.tmp.txt -c copy -f mpegts stereo_to_mono.tmp.ts
  rm stereo_part.tmp.ts mono_part.tmp.ts stereo_to_mono.tmp.txt
  mv stereo_to_mono.tmp.ts stereo_to_mono.ts
fi
truth stereo_to_mono.ts
if [ "$(ffprobe -v error -select_streams a -show_entries frame=channels -of csv=p=0 stereo_to_mono.ts | uniq | tr '\n' ' ')" != "2 1 " ]; then
  echo "stereo_to_mono.ts: the sound does not go from two channels to one" >&2
  exit 1
fi

# MPEG-4 Part 2 with B-frames under the XVID tag and AC-3 sound in AVI, cut in
# the middle of its last video frame: no index at the end, a partial chunk.
if [ ! -s xvid_ac3_cut.avi ]; then
  "${FF[@]}" -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
    -c:v mpeg4 -vtag XVID -q:v 4 -g 25 -bf 2 -c:a ac3 -b:a 128k -shortest xvid_ac3.tmp.avi
  # The last video chunk from the index (idx1 offsets count from the 'movi' tag).
  cut=$(perl -e '
    local $/; open(my $f, "<:raw", $ARGV[0]) or die; my $d = <$f>;
    my $idx = rindex($d, "idx1"); my $movi = index($d, "movi"); die "no index" if $idx < 0 || $movi < 0;
    my ($n) = unpack("V", substr($d, $idx + 4, 4)); my $cut = 0;
    for (my $k = 0; $k < $n / 16; ++$k) {
      my ($id, $flags, $off, $size) = unpack("a4VVV", substr($d, $idx + 8 + 16 * $k, 16));
      $cut = $movi + $off + 8 + int($size / 2) if $id eq "00dc" && $size > 0;
    }
    print $cut;' xvid_ac3.tmp.avi)
  head -c "$cut" xvid_ac3.tmp.avi > xvid_ac3_cut.tmp.avi
  rm xvid_ac3.tmp.avi
  mv xvid_ac3_cut.tmp.avi xvid_ac3_cut.avi
fi
truth_damaged xvid_ac3_cut.avi

# Damaged copies, the same bytes on every run:
#   dmg_zero_NAME  4 KiB zeroed at 45 % of the file
#   dmg_flip_NAME  six bytes XOR'd, from 30 % to 80 % of the file
#   dmg_gap_NAME   8000 bytes taken out at 40 % of the file
damage() { # $1 = clip
  local src=$1 size
  size=$(stat -c %s "$src")
  if [ ! -s "dmg_zero_$src" ]; then
    cp "$src" "tmp_zero_$src"
    dd if=/dev/zero of="tmp_zero_$src" bs=1 seek=$(( size * 45 / 100 )) count=4096 conv=notrunc status=none
    mv "tmp_zero_$src" "dmg_zero_$src"
  fi
  truth_damaged "dmg_zero_$src"
  if [ ! -s "dmg_flip_$src" ]; then
    perl -e '
      local $/; open(my $f, "<:raw", $ARGV[0]) or die; my $d = <$f>; my $n = length($d);
      my @at = (30, 40, 50, 60, 70, 80); my @mask = (0x01, 0x80, 0x10, 0xff, 0x04, 0x40);
      for my $k (0 .. $#at) {
        my $o = int($n * $at[$k] / 100);
        substr($d, $o, 1) = chr(ord(substr($d, $o, 1)) ^ $mask[$k]);
      }
      open(my $g, ">:raw", $ARGV[1]) or die; print $g $d;' "$src" "tmp_flip_$src"
    mv "tmp_flip_$src" "dmg_flip_$src"
  fi
  truth_damaged "dmg_flip_$src"
  if [ ! -s "dmg_gap_$src" ]; then
    { head -c $(( size * 40 / 100 )) "$src"; tail -c +$(( size * 40 / 100 + 8000 + 1 )) "$src"; } > "tmp_gap_$src"
    mv "tmp_gap_$src" "dmg_gap_$src"
  fi
  truth_damaged "dmg_gap_$src"
}
for clip in h264_aac.mp4 ch01_20240315102030.ts mjpeg.avi xvid_ac3_cut.avi; do
  damage "$clip"
done

# A white picture and a 40 ms 1 kHz beep at the start of every second (frame
# 25k, sample 16000k), black and silent between: for checking sound against
# picture over a long play. 160x120 H.264 and 16 kHz mono PCM in Matroska.
beep_flash() { # $1 = seconds
  make "beep_flash_$1s.mkv" \
    -f lavfi -i "color=c=black:size=160x120:rate=${RATE}:duration=$1,drawbox=x=0:y=0:w=iw:h=ih:color=white:t=fill:enable='eq(mod(n\,${RATE})\,0)'" \
    -f lavfi -i "aevalsrc='if(lt(mod(t\,1)\,0.04)\,0.5*sin(2*PI*1000*t)\,0)':s=16000:c=mono:d=$1" \
    -c:v libx264 -preset veryfast -g 50 -bf 2 -pix_fmt yuv420p -c:a pcm_s16le -shortest
}
beep_flash 60
if [ "$LONG" = 1 ]; then beep_flash 600; fi

# No clock at all: no creation time in the container (the muxer writes none
# unless asked) and no time stamp in the name.
make no_clock.mp4 -f lavfi -i "$(pattern)" -f lavfi -i "$(tone)" \
  -c:v libx264 -preset veryfast -g 25 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 96k -shortest -map_metadata -1
if ffprobe -v error -show_entries format_tags=creation_time:stream_tags=creation_time -of csv=p=0 no_clock.mp4 |
    grep -q .; then
  echo "no_clock.mp4 has a creation time" >&2
  exit 1
fi

# Bad inputs: empty, a text file, random bytes, and a clip cut short.
: > empty.mp4
[ -s text.mp4 ] || printf 'This is not a video file.\n' > text.mp4
[ -s random.mp4 ] || head -c 65536 /dev/urandom > random.mp4
[ -s truncated.ts ] || head -c $(( $(stat -c %s ch01_20240315102030.ts) / 3 )) ch01_20240315102030.ts > truncated.ts
[ -s truncated.mp4 ] || head -c $(( $(stat -c %s h264_aac.mp4) / 3 )) h264_aac.mp4 > truncated.mp4

# ---- Streams for the network tests ------------------------------------------

# A D1 camera stream as the local servers send it: 12 s of H.264 without
# B-frames (a key frame every second) and AAC mono in MPEG-TS. Every frame
# differs, so a lost or repeated picture shows in the checksums.
make stream_d1.ts -f lavfi -i "$(pattern 12 704x576)" -f lavfi -i "$(tone 12 mono)" \
  -c:v libx264 -preset ultrafast -g 25 -bf 0 -pix_fmt yuv420p -c:a aac -b:a 64k -shortest
# The same stream as an HLS set of 1 s segments (a finished playlist).
if [ ! -s hls/stream.m3u8 ]; then
  rm -rf hls hls.tmp
  mkdir hls.tmp
  "${FF[@]}" -i stream_d1.ts -c copy -f hls -hls_time 1 -hls_list_size 0 -hls_playlist_type vod \
    -hls_segment_filename hls.tmp/stream_%03d.ts hls.tmp/stream.m3u8
  mv hls.tmp hls
fi

# ---- Fisheye material ------------------------------------------------------------

# A lens looking straight down sees a half sphere in a circle: testsrc2 laid
# out as a 2:1 equirectangular world (1280x640) through the tool's v360 gives
# such a circle, 640x640, 180 degrees across.
FISHEYE="v360=input=e:output=fisheye:h_fov=180:v_fov=180:w=640:h=640"
# Frame 0 of the world, 50 times (2 s): every picture the same, lossless, so a
# view of any frame can be compared with the tool's view of frame 0.
make still_fisheye.mkv -f lavfi \
  -i "testsrc2=size=1280x640:rate=${RATE},trim=end_frame=1,format=yuv420p,${FISHEYE},loop=loop=49:size=1:start=0,setpts=N/(${RATE}*TB)" \
  -frames:v 50 -c:v ffv1
# The same picture as a camera would send it, for the RTSP server: H.264, every
# frame a key frame at a fixed high quality (all frames decode alike), 8 s so
# that a slow client still gets pictures.
make still_fisheye.ts -stream_loop 3 -i still_fisheye.mkv -c:v libx264 -preset veryfast -g 1 -qp 18 -pix_fmt yuv420p
# 4 s of moving world with the frame number drawn in, H.264 in MP4.
make walk_fisheye.mp4 -f lavfi \
  -i "$(pattern 4 1280x640),format=yuv420p,${FISHEYE}" -c:v libx264 -preset veryfast -g 25 -bf 2 -pix_fmt yuv420p
# Fisheye by its tag only (fisheye=1), nothing in its name says so.
make ceiling.mkv -i still_fisheye.mkv -c copy -metadata fisheye=1
# Grainy pictures for the enhancement modules: testsrc2 with strong noise that
# changes every frame, lossless so the grain stays as made.
make noisy.mkv -f lavfi -i "testsrc2=size=320x240:rate=${RATE}:duration=2,format=yuv420p,noise=alls=24:allf=t+u" \
  -c:v ffv1

# ---- Pictures: snapshots, colour, orientation, capture ------------------------

# Colour bars (the hue and saturation checks need known colours), H.264 at a
# high quality so the bars keep their colours.
make bars.mp4 -f lavfi -i "smptebars=size=640x480:rate=25:duration=2" \
  -c:v libx264 -preset veryfast -crf 12 -g 25 -pix_fmt yuv420p
# 1080p at 20 frames a second for continuous capture of every frame.
make capture_1080p20.mp4 -f lavfi -i "testsrc2=size=1920x1080:rate=20:duration=12,drawtext=fontfile=${FONT}:text='%{frame_num}':x=20:y=20:fontsize=96:fontcolor=white:box=1:boxcolor=black" \
  -c:v libx264 -preset veryfast -g 40 -pix_fmt yuv420p
# Sound gain: a 1 kHz sine at 0.8 of full scale, which doubled must clip.
make sine1k_loud.mkv -f lavfi -i "color=c=gray:size=160x120:rate=25:duration=2" \
  -f lavfi -i "aevalsrc=0.8*sin(2*PI*1000*t):s=48000:c=stereo:d=2" \
  -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a pcm_s16le -shortest

# ---- Private data: analytics sidecar files and text tracks ----------------------

# 4 s at 25 fps from $CREATION, with its analytics sidecar: a Human box over
# picture pixels 80..160 x 60..180 from 1.0 s (frame 25) until the empty frame
# at 2.0 s (frame 50) ends it, and a motion zone on the right from 3.0 s until
# the end (a frame holds at most 1 s). ONVIF coordinates: -1..1, y upwards.
make overlay_boxes.mp4 -f lavfi -i "$(pattern 4)" \
  -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p -metadata creation_time=$CREATION
cat > overlay_boxes.analytics.xml <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<tt:MetadataStream xmlns:tt="http://www.onvif.org/ver10/schema">
  <tt:VideoAnalytics>
    <tt:Frame UtcTime="2024-03-15T10:20:31.000Z">
      <tt:Object ObjectId="1">
        <tt:Appearance>
          <tt:Shape>
            <tt:BoundingBox left="-0.5" top="0.5" right="0.0" bottom="-0.5"/>
            <tt:CenterOfGravity x="-0.25" y="0.0"/>
          </tt:Shape>
          <tt:Class><tt:Type Likelihood="0.9">Human</tt:Type></tt:Class>
        </tt:Appearance>
      </tt:Object>
    </tt:Frame>
    <tt:Frame UtcTime="2024-03-15T10:20:32.000Z"/>
    <tt:Frame UtcTime="2024-03-15T10:20:33.000Z">
      <tt:Object ObjectId="2">
        <tt:Appearance>
          <tt:Shape>
            <tt:Polygon>
              <tt:Point x="0.3" y="0.8"/><tt:Point x="0.9" y="0.8"/>
              <tt:Point x="0.9" y="-0.8"/><tt:Point x="0.3" y="-0.8"/>
            </tt:Polygon>
          </tt:Shape>
          <tt:Class><tt:Type>Motion</tt:Type></tt:Class>
        </tt:Appearance>
      </tt:Object>
    </tt:Frame>
  </tt:VideoAnalytics>
</tt:MetadataStream>
XML
# The ffmpeg tool's view of frame 30 cut to 160x120 at (80, 60) and scaled to
# 320x240, as 32-bit BGRA: what region 0 shows of that rectangle.
if [ ! -s overlay_crop30.bgra ]; then
  "${FF[@]}" -i overlay_boxes.mp4 -vf "select=eq(n\,30),crop=160:120:80:60,scale=320:240:flags=bilinear,format=bgra" \
    -frames:v 1 -f rawvideo overlay_crop30.bgra.tmp
  mv overlay_crop30.bgra.tmp overlay_crop30.bgra
fi

# Point-of-sale lines as a text track: "COFFEE 2.50" 0.5-1.5 s, "TOTAL 2.50" 2.0-3.0 s,
# as SubRip in Matroska and as mov_text in MP4.
printf '1\n00:00:00,500 --> 00:00:01,500\nCOFFEE 2.50\n\n2\n00:00:02,000 --> 00:00:03,000\nTOTAL 2.50\n' > pos_text.srt
make pos_text.mkv -f lavfi -i "$(pattern 4)" -i pos_text.srt -map 0:v -map 1:s \
  -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p -c:s srt -metadata creation_time=$CREATION
make pos_text.mp4 -f lavfi -i "$(pattern 4)" -i pos_text.srt -map 0:v -map 1:s \
  -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p -c:s mov_text -metadata creation_time=$CREATION

# ---- Recorder watermarks ------------------------------------------------------

# The watermark text in H.264 "user data unregistered" SEI under the player's
# UUID, written by h264_metadata into the first access unit and every one with
# a sequence header (in a transport stream libx264 repeats it at each key frame).
# The bitstream filter's options take no ':' in a value: the MAC is written with '-'.
WM_UUID=b60e8f6c-273d-414f-a5de-3b101d4d6de6
WM_SEI_TEXT='mac=00-1a-2b-3c-4d-5e;sn=AB1234567;chan=2;time=20260501102030;info=1;type=3'
make wm_sei.ts -f lavfi -i "$(pattern 3)" -c:v libx264 -preset veryfast -g 25 -bf 2 -pix_fmt yuv420p \
  -bsf:v "h264_metadata=sei_user_data=${WM_UUID}+${WM_SEI_TEXT}"
if [ "$(ffprobe -v error -select_streams v -show_entries frame_side_data=side_data_type -of csv=p=0 wm_sei.ts |
    grep -c 'User Data Unregistered')" -lt 3 ]; then
  echo "wm_sei.ts: the watermark SEI is not at every key frame" >&2
  exit 1
fi
# The same kind of text as a container tag, in Matroska (which keeps any tag).
make wm_tag.mkv -f lavfi -i "$(pattern 2)" -c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p \
  -metadata 'watermark=mac=a0:b1:c2:d3:e4:f5;sn=98765;chan=7;time=20240229235958;info=4;type=9'

# ---- Lock-step play: four cameras of one corridor --------------------------------

# Begins 0, 7.3 s, 20 s and 61 s after 2024-03-15 10:00:00 at 25, 30, 12.5 and
# 25 frames a second, in MP4, Matroska, MPEG-TS and MP4. The transport stream
# carries its begin in its name (the container has no creation time). Each
# frame shows its number; each clip has its own pattern.
sync_clip() { # $1 = name, $2 = seconds, $3 = rate, $4 = source, rest = ffmpeg output arguments
  local name=$1 secs=$2 rate=$3 src=$4; shift 4
  make "$name" -f lavfi -i "${src}=size=320x240:rate=${rate}:duration=${secs},drawtext=fontfile=${FONT}:text='%{frame_num}':x=10:y=10:fontsize=40:fontcolor=white:box=1:boxcolor=black" \
    -c:v libx264 -preset ultrafast -g 25 -bf 2 -pix_fmt yuv420p "$@"
}
sync_clip sync_a_25fps.mp4 75 25 testsrc2 -metadata creation_time=2024-03-15T10:00:00.000000Z
sync_clip sync_b_30fps.mkv 60 30 testsrc -metadata creation_time=2024-03-15T10:00:07.300000Z
sync_clip cam3_20240315100020.ts 45 12.5 smptebars
sync_clip sync_d_25fps.mp4 30 25 rgbtestsrc -metadata creation_time=2024-03-15T10:01:01.000000Z

echo "media ready in $(pwd)"
