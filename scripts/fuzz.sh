#!/usr/bin/env bash
# Builds the two libFuzzer targets with clang (-fsanitize=fuzzer,address,undefined)
# in their own build folder and runs both at once, niced, for SECONDS each:
#   fuzz_media   a media file held in memory, opened, played, jumped in and
#                stepped both ways through the engine's flat interface;
#   fuzz_config  the bytes of PlayerConfig.xml read by the configuration store.
# Seeds: tiny clips made here the way scripts/make-test-media.sh makes the test
# clips, and the sample configuration files in tests/fuzz/seeds/config. What the
# fuzzers find (crash-*, timeout-*, leak-*, oom-*) is written to
# tests/fuzz/regressions/{media,config}/, which CTest replays under the
# sanitizers (fuzz_media_replay, fuzz_config_replay): keep what is found there.
# Usage: scripts/fuzz.sh [SECONDS]   (default 300)
#   VELQUIN_FUZZ_BUILD  build folder (default build-fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)
SECONDS_EACH=${1:-300}
BUILD=${VELQUIN_FUZZ_BUILD:-build-fuzz}
JOBS=${JOBS:-$(nproc)}

bash scripts/install-deps.sh

echo "== fuzz build ($BUILD)"
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELQUIN_FUZZ=ON \
      -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
nice -n 10 cmake --build "$BUILD" -j "$JOBS" --target fuzz_media fuzz_config

echo "== seeds"
SEEDS=$ROOT/$BUILD/seeds
mkdir -p "$SEEDS/media" "$BUILD/corpus/media" "$BUILD/corpus/config" \
         tests/fuzz/regressions/media tests/fuzz/regressions/config
FF=(ffmpeg -hide_banner -loglevel error -nostdin -y)
SRC="testsrc2=size=64x48:rate=25:duration=0.24"
SRC2="testsrc=size=64x48:rate=25:duration=0.24"
AUD="aevalsrc=0.5*sin(2*PI*1000*t):s=48000:c=mono:d=0.24"
seed() { # $1 = name, rest = ffmpeg arguments
  local name=$1; shift
  [ -s "$SEEDS/media/$name" ] || "${FF[@]}" "$@" "$SEEDS/media/$name"
}
H264=(-c:v libx264 -preset ultrafast -g 3 -bf 2 -pix_fmt yuv420p)
seed h264_aac.mp4 -f lavfi -i "$SRC" -f lavfi -i "$AUD" "${H264[@]}" -c:a aac -b:a 16k -shortest \
  -metadata creation_time=2024-03-15T10:20:30Z
seed ch01_20240315102030.ts -f lavfi -i "$SRC" -f lavfi -i "$AUD" "${H264[@]}" -c:a aac -b:a 16k -shortest
seed part2.ts -f lavfi -i "$SRC2" -f lavfi -i "$AUD" "${H264[@]}" -c:a aac -b:a 16k -shortest
[ -s "$SEEDS/media/joined_restart.ts" ] ||
  cat "$SEEDS/media/ch01_20240315102030.ts" "$SEEDS/media/part2.ts" > "$SEEDS/media/joined_restart.ts"
seed clock_wrap.ts -f lavfi -i "$SRC" "${H264[@]}" -output_ts_offset 95442.2
seed hevc.mkv -f lavfi -i "$SRC" -f lavfi -i "$AUD" -c:v libx265 -preset ultrafast \
  -x265-params log-level=error:keyint=3 -pix_fmt yuv420p -c:a aac -b:a 16k -shortest
seed mjpeg.avi -f lavfi -i "$SRC" -f lavfi -i "$AUD" -c:v mjpeg -q:v 20 -pix_fmt yuvj420p -c:a pcm_s16le -shortest
seed xvid_ac3.avi -f lavfi -i "$SRC" -f lavfi -i "$AUD" -c:v mpeg4 -vtag XVID -q:v 20 -g 3 -bf 2 \
  -c:a ac3 -b:a 32k -shortest
seed mono.ts -f lavfi -i "$SRC" -f lavfi -i "$AUD" "${H264[@]}" -c:a aac -b:a 16k -shortest
seed stereo.ts -f lavfi -i "$SRC" -f lavfi -i "${AUD/c=mono/c=stereo}" "${H264[@]}" -c:a aac -b:a 24k -shortest
if [ ! -s "$SEEDS/media/stereo_to_mono.ts" ]; then
  printf "file '%s'\n" "$SEEDS/media/stereo.ts" "$SEEDS/media/mono.ts" > "$SEEDS/list.txt"
  "${FF[@]}" -f concat -safe 0 -i "$SEEDS/list.txt" -c copy -f mpegts "$SEEDS/media/stereo_to_mono.ts"
fi
seed mpeg4.mp4 -f lavfi -i "$SRC" -c:v mpeg4 -q:v 20 -g 3 -bf 2
seed fragmented.mp4 -f lavfi -i "$SRC" -f lavfi -i "$AUD" "${H264[@]}" -c:a aac -b:a 16k -shortest \
  -movflags frag_keyframe+empty_moov
[ -s "$SEEDS/media/enc_velquin123.mp4" ] ||
  "${FF[@]}" -i "$SEEDS/media/h264_aac.mp4" -c copy -encryption_scheme cenc-aes-ctr \
    -encryption_key 76656c7175696e313233000000000000 -encryption_kid 0123456789abcdef0123456789abcdef \
    "$SEEDS/media/enc_velquin123.mp4"
rm -f "$SEEDS/media/part2.ts" "$SEEDS/media/stereo.ts" "$SEEDS/media/mono.ts" "$SEEDS/list.txt"
ls -l "$SEEDS/media"

echo "== fuzzing ${SECONDS_EACH} s each"
export ASAN_OPTIONS=detect_stack_use_after_return=0:allocator_may_return_null=1
export LSAN_OPTIONS=suppressions=$ROOT/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export SDL_AUDIODRIVER=dummy QT_QPA_PLATFORM=offscreen
# -fork keeps going after a finding, so one run can find several; the per-input
# limit (-timeout) turns a hang into a timeout-* file; a merely slow input
# (a busy machine) is not reported.
run() { # $1 = target, $2 = corpus name, $3 = longest input, rest = seed folders
  local target=$1 name=$2 maxlen=$3; shift 3
  nice -n 10 "$BUILD/tests/fuzz/$target" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 \
    -max_total_time="$SECONDS_EACH" -timeout=20 -report_slow_units=30 -rss_limit_mb=4096 -max_len="$maxlen" \
    -close_fd_mask=2 -print_final_stats=1 -artifact_prefix="$ROOT/tests/fuzz/regressions/$name/" \
    "$BUILD/corpus/$name" "$@" >"$BUILD/$target.log" 2>&1
}
run fuzz_media media 65536 "$SEEDS/media" &
media=$!
run fuzz_config config 16384 "$ROOT/tests/fuzz/seeds/config" &
config=$!
status=0
wait "$media" || status=$?
wait "$config" || status=$?

for target in fuzz_media fuzz_config; do
  echo "-- $target: $(grep -E '^#[0-9]+' "$BUILD/$target.log" | tail -1)"
  grep -E 'stat::|crash-|timeout-|leak-|oom-|ERROR' "$BUILD/$target.log" | sort | uniq | head -40 || true
done
echo "regressions: $(ls tests/fuzz/regressions/media | wc -l) media, $(ls tests/fuzz/regressions/config | wc -l) config"
exit "$status"
