#!/usr/bin/env bash
# Installs the Debian packages Velquin needs to build, run and test.
# Skips apt entirely when everything is already there.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6core5compat6-dev qt6-svg-dev libqt6svg6
  qt6-image-formats-plugins
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libavfilter-dev
  libsdl2-dev libtinyxml-dev
  ffmpeg fonts-dejavu-core
  fonts-wqy-microhei  # Chinese texts of the Chinese language file
  xvfb xauth xdotool  # the full screen test clicks through a real X server
  ffmpegthumbnailer  # the peer of velquin-bench thumbs (benchmarks only)
  clang-14 libclang-rt-14-dev libfuzzer-14-dev  # scripts/fuzz.sh: libFuzzer with the sanitizers
  # scripts/rtsp-server.py, the RTSP server of the network tests: GStreamer's
  # RTSP server from Python; tsdemux and h264parse (bad), the RTP payloaders
  # and aacparse (good), x264enc (ugly), appsrc and videotestsrc (base)
  python3-gi gir1.2-gstreamer-1.0 gir1.2-gst-plugins-base-1.0 gir1.2-gst-rtsp-server-1.0
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly
  # velquin-stream builds on GStreamer's RTSP server (C API); at run time it
  # needs the demuxers, parsers and payloaders of the plugin sets above
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev libgstrtspserver-1.0-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "Installing: ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
