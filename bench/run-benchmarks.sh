#!/usr/bin/env bash
# Generates H.264 clips and prints the engine's figures beside its peers' on
# the same files: single-port unpaced throughput, time to first frame and many
# ports in real time (the ffmpeg tool); frame-exact jumps (mpv and the ffmpeg
# tool), single steps back, reverse play (mpv), the frame index of a
# 10-minute recording in MP4, in one transport stream and in ten joined
# segments (ffprobe), and the playlist's thumbnails and file facts
# for 200 recordings (ffmpegthumbnailer); sound against picture over ten
# minutes; an encrypted recording played with its key is checked against
# the ffmpeg tool's decode of its source; recordings in lock step, fisheye
# views (the ffmpeg tool's v360), live streams and the converter.
# Usage: run-benchmarks.sh [MEDIA_DIR] (default /tmp/velquin-bench-media).
# VELQUIN_BENCH names the velquin-bench program if it is not on the PATH.
set -euo pipefail

OUT=${1:-/tmp/velquin-bench-media}
BENCH=${VELQUIN_BENCH:-velquin-bench}
mkdir -p "$OUT"
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)

# Peers only the benchmarks use; the program itself never needs them.
BENCH_PACKAGES=(mpv ffmpegthumbnailer)
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
# Ten 1-minute recorder segments joined by cat: the time stamps restart nine
# times, and the index numbers the frames across every restart.
if [ ! -s "$OUT/d1_joined_10min.ts" ]; then
  for i in $(seq 0 9); do
    src=testsrc2
    [ $((i % 2)) -eq 1 ] && src=testsrc
    "${FF[@]}" -f lavfi -i "$src=size=704x576:rate=25:duration=60" -c:v libx264 -preset ultrafast -g 50 -bf 2 \
      -pix_fmt yuv420p -f mpegts "$OUT/joined_part$i.ts"
  done
  cat $(for i in $(seq 0 9); do echo "$OUT/joined_part$i.ts"; done) > "$OUT/d1_joined_10min.tmp.ts"
  rm -f "$OUT"/joined_part?.ts
  mv "$OUT/d1_joined_10min.tmp.ts" "$OUT/d1_joined_10min.ts"
fi

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
# Continuous capture of every frame of 1080p in real time, JPEG and BMP,
# against plain play and the ffmpeg tool writing the same frames as JPEG.
run concap "$OUT/hd_25fps_10s.mp4" --seconds 10
run snapshot "$OUT/hd_25fps_10s.mp4" --format bmp --count 20
run snapshot "$OUT/hd_25fps_10s.mp4" --format jpeg --count 20
run index "$OUT/d1_25fps_10min.mp4"
run index "$OUT/d1_25fps_10min.ts"

# Sixteen D1 recordings with sound opened together in the sixteen-window stage
# of the real main dialog, to their sixteen first pictures, against sixteen
# ffmpeg tool processes started together (velquin-open-bench, beside
# velquin-bench; Qt offscreen and SDL's dummy sound unless set otherwise).
OPEN_BENCH=${VELQUIN_OPEN_BENCH:-velquin-open-bench}
if [ -z "${VELQUIN_OPEN_BENCH:-}" ] && [[ "$BENCH" == */* ]]; then
  OPEN_BENCH="$(dirname "$BENCH")/velquin-open-bench"
fi
OPEN16=()
for i in $(seq 1 16); do
  name=$(printf 'open16_ch%02d_20240315120000.mp4' "$i")
  [ -s "$OUT/$name" ] || "${FF[@]}" -f lavfi -i "testsrc2=size=704x576:rate=25:duration=20" \
    -f lavfi -i "sine=frequency=$((300 + 40 * i)):duration=20" -c:v libx264 -preset veryfast -g 50 -bf 2 \
    -pix_fmt yuv420p -c:a aac -shortest "$OUT/$name"
  OPEN16+=("$OUT/$name")
done
echo "== velquin-open-bench (16 files)"
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} SDL_AUDIODRIVER=${SDL_AUDIODRIVER:-dummy} \
  "$OPEN_BENCH" "${OPEN16[@]}"
echo
run index "$OUT/d1_joined_10min.ts"
echo "== clip-bench"; VELQUIN_CLIP=${VELQUIN_CLIP:-$([[ "$BENCH" == */* ]] && echo "$(dirname "$BENCH")/../app/velquin-clip" || echo velquin-clip)} bash "$(dirname "$0")/clip-bench.sh" "$OUT/clip"; echo

# Playlist thumbnails and file facts: 200 short recordings of the usual sizes,
# each named with its channel and start as recorders write them, against
# ffmpegthumbnailer making a first-frame thumbnail of each.
THUMBS="$OUT/thumbs200"
mkdir -p "$THUMBS"
SIZES=(704x576 1280x720 352x288 1920x1080)
for i in $(seq 0 199); do
  name=$(printf 'ch%02d_20240315%02d%02d00.mp4' $((i % 16 + 1)) $((8 + i / 60)) $((i % 60)))
  echo "$name ${SIZES[$((i % 4))]} $(printf '2024-03-15T%02d:%02d:00Z' $((8 + i / 60)) $((i % 60)))"
done | while read -r name size stamp; do
  [ -s "$THUMBS/$name" ] && continue
  "${FF[@]}" -f lavfi -i "testsrc2=size=$size:rate=25:duration=1" -c:v libx264 -preset ultrafast -g 25 \
    -pix_fmt yuv420p -metadata creation_time="$stamp" "$THUMBS/$name"
done
run thumbs "$THUMBS"
# Sound against picture over ten minutes, in real time through SDL's disk
# driver: a beep and a white flash at every second; av_drift_ms is how far the
# beep-to-flash offset of the last ten seconds is from that of the first ten.
# The clip is the test media's (the sound test plays its 60 s sibling).
bash "$(dirname "$0")/../scripts/make-test-media.sh" "$OUT/media" --long >/dev/null
run avdrift "$OUT/media/beep_flash_600s.mkv"
# An encrypted recording played with its key, for the frame checksums.
ENC="$OUT/enc_velquin123.mp4"
if [ ! -s "$ENC" ]; then
  "${FF[@]}" -i "$OUT/d1_25fps_20s.mp4" -c copy -encryption_scheme cenc-aes-ctr \
    -encryption_key "$(printf '%s' velquin123 | od -An -tx1 | tr -d ' \n' | awk '{printf "%-32s", $0}' | tr ' ' 0)" \
    -encryption_kid 0123456789abcdef0123456789abcdef "$ENC"
fi
echo "== velquin-bench framemd5 $ENC --key velquin123 (against the source's decode)"
if diff <("$BENCH" framemd5 "$ENC" --key velquin123) \
        <(ffmpeg -hide_banner -loglevel error -nostdin -i "$OUT/d1_25fps_20s.mp4" -an -fps_mode passthrough \
            -pix_fmt yuv420p -f framemd5 - | grep -v '^#' | awk -F', *' '{print NR-1 "," $6}') >/dev/null; then
  echo "framemd5: same as the ffmpeg tool"
else
  echo "framemd5: DIFFERS from the ffmpeg tool"
fi

# Cameras of one scene in lock step by their creation times: four and nine
# D1 recordings, begins 0 to 16 s apart, at 25, 30 and 12.5 frames a second,
# 60 s of real time each.
SYNC=()
RATES=(25 30 12.5 25 30 12.5 25 30 25)
for i in $(seq 0 8); do
  name=$(printf 'sync_d1_cam%d.mp4' "$i")
  [ -s "$OUT/$name" ] || "${FF[@]}" -f lavfi -i "testsrc2=size=704x576:rate=${RATES[$i]}:duration=80" \
    -c:v libx264 -preset veryfast -g 50 -bf 2 -pix_fmt yuv420p \
    -metadata creation_time="2024-03-15T09:00:$(printf '%02d' $((i * 2))).000000Z" "$OUT/$name"
  SYNC+=("$OUT/$name")
done
run sync "${SYNC[@]:0:4}" --seconds 60
run sync "${SYNC[@]}" --seconds 60

# Fisheye cameras de-warped to a flat view in real time, beside the ffmpeg tool
# running the same v360 chain on the same file: one 1920x1920 camera shown at
# 1280x720, and four 1280x1280 cameras at 640x360; each once with a steady view
# and once turning a step on every picture (a new remap table each picture).
# The clips: testsrc2 as a 2:1 world seen through a 180-degree lens, 20 s.
fisheye_clip() { # $1 = name, $2 = side
  [ -s "$OUT/$1" ] && return
  "${FF[@]}" -f lavfi -i "testsrc2=size=$(($2 * 2))x$2:rate=25:duration=20" \
    -vf "v360=input=e:output=fisheye:h_fov=180:v_fov=180:w=$2:h=$2" \
    -c:v libx264 -preset veryfast -crf 23 -g 50 -bf 2 -pix_fmt yuv420p "$OUT/$1.tmp.mp4"
  mv "$OUT/$1.tmp.mp4" "$OUT/$1"
}
fisheye_clip hall_fisheye_1920.mp4 1920
fisheye_clip hall_fisheye_1280.mp4 1280
run fisheye "$OUT/hall_fisheye_1920.mp4" --size 1280x720 --seconds 20
run fisheye "$OUT/hall_fisheye_1920.mp4" --size 1280x720 --seconds 20 --turn
run fisheye "$OUT/hall_fisheye_1280.mp4" --ports 4 --size 640x360 --seconds 20
run fisheye "$OUT/hall_fisheye_1280.mp4" --ports 4 --size 640x360 --seconds 20 --turn

# Live streams from a local RTSP server (GStreamer's, scripts/rtsp-server.py):
# the clock source draws its wall clock into every picture, so the time to
# the first picture and the latency to display stand beside the ffmpeg tool
# reading the same URL; then sixteen ports on one shared 704x576 25 fps live
# source for a minute.
bash "$(dirname "$0")/../scripts/make-test-media.sh" "$OUT/media" >/dev/null
/usr/bin/python3 "$(dirname "$0")/../scripts/rtsp-server.py" --port 0 --clip "$OUT/media/stream_d1.ts" \
  >"$OUT/rtsp-server.log" 2>&1 &
RTSP_PID=$!
trap 'kill $RTSP_PID 2>/dev/null || true' EXIT
RTSP_PORT=""
for _ in $(seq 1 100); do
  RTSP_PORT=$(awk '/^READY/ {print $2; exit}' "$OUT/rtsp-server.log")
  [ -n "$RTSP_PORT" ] && break
  sleep 0.1
done
for mode in 0 1 2; do
  run stream "rtsp://127.0.0.1:$RTSP_PORT/clock" --mode "$mode" --seconds 20
done
run stream "rtsp://127.0.0.1:$RTSP_PORT/live" --ports 16 --seconds 60 --no-peer
kill "$RTSP_PID"
# The converter against the ffmpeg tool with the same settings: the built one
# beside velquin-bench's build (app/convert/), unless VELQUIN_CONVERT names it.
echo "== convert-bench"; VELQUIN_CONVERT=${VELQUIN_CONVERT:-$([[ "$BENCH" == */* ]] && echo "$(dirname "$BENCH")/../app/convert/velquin-convert" || echo velquin-convert)} bash "$(dirname "$0")/convert-bench.sh" "$OUT"; echo
