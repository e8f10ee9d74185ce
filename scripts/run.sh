#!/usr/bin/env bash
# Installs what is missing, builds Velquin (Ninja) into ./build, the folder the tests use,
# generates a sample clip and starts the player on it.
# Usage: scripts/run.sh [file...]   (from anywhere; with files, plays those instead)
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target velquin -j "${JOBS:-$(nproc)}"

# Without a display (a server, a container) the player still starts, on a virtual one.
LAUNCH=()
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found: starting on a virtual X display (xvfb-run)."
  LAUNCH=(xvfb-run -a -s "-screen 0 1280x800x24")
fi

if [ $# -gt 0 ]; then
  exec "${LAUNCH[@]}" build/app/velquin "$@"
fi

# One sample clip: a numbered test pattern with a 1 kHz tone.
MEDIA=build/media
CLIP=$MEDIA/sample_h264_aac.mp4
mkdir -p "$MEDIA"
if [ ! -s "$CLIP" ]; then
  ffmpeg -hide_banner -loglevel error -nostdin -y \
    -f lavfi -i "testsrc2=size=640x360:rate=25:duration=20,drawtext=fontfile=/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf:text='%{frame_num}':x=10:y=10:fontsize=48:fontcolor=white:box=1:boxcolor=black" \
    -f lavfi -i "aevalsrc=0.3*sin(2*PI*1000*t):s=48000:c=stereo:d=20" \
    -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 96k -shortest \
    "$CLIP.tmp.mp4"
  mv "$CLIP.tmp.mp4" "$CLIP"
fi
exec "${LAUNCH[@]}" build/app/velquin "$CLIP"
