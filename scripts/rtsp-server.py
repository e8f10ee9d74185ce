#!/usr/bin/python3
# Local RTSP server for the network tests and the latency benchmark (GStreamer).
# Listens on 127.0.0.1 only; RTSP over HTTP tunnelling is accepted on the same
# port. Prints one line "READY <port>" once it listens; SIGTERM stops it.
#
# Mounts:
#   /clip    the --clip file as it is (no re-encoding), from its start for every
#            client: each client sees every picture of the file in order.
#   /NAME    the same again under the clip's own name without its extension
#            (e.g. /still_fisheye), for players that go by the name in the URL.
#   /live    one shared live source (a moving test pattern, H.264 704x576 25 fps).
#   /secure  like /clip, for user "admin" with password "velquin1" only (Basic).
#   /clock   live 704x576 25 fps pictures, each carrying the wall clock at which
#            it was made: luma rows 0..31 hold 48 bits of milliseconds since the
#            epoch modulo 2^48, most significant bit first, bit i in the block
#            x = 8 + 14 * i .. 8 + 14 * i + 13, luma 235 for 1 and 16 for 0. Each
#            client has its own encoder, so it starts with a key frame.
#
# Usage: /usr/bin/python3 rtsp-server.py --port N --clip FILE.ts
#   (--port 0 lets the system choose; the distribution's python3 is needed for
#   the GStreamer bindings)
import argparse
import os
import signal
import sys
import threading
import time

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
gi.require_version("GstPbutils", "1.0")
from gi.repository import GLib, Gst, GstPbutils, GstRtspServer  # noqa: E402

WIDTH, HEIGHT, FPS = 704, 576, 25
CLOCK_BITS, CLOCK_ROWS, CLOCK_X0, CLOCK_W = 48, 32, 8, 14
X264 = "x264enc tune=zerolatency speed-preset=ultrafast key-int-max=25"
# The encoders put the parameter sets in front of every key frame themselves,
# so a client may join a shared stream at any key frame. (The payloader's own
# config-interval=-1 would put them in front of every slice of the key frame,
# and FFmpeg then takes each slice for a picture of its own.)
PAY = "rtph264pay name=pay0 pt=96"


def clip_has_audio(path):
    """True when the clip has a sound track (it is then sent as a second stream)."""
    info = GstPbutils.Discoverer.new(10 * Gst.SECOND).discover_uri(Gst.filename_to_uri(path))
    return len(info.get_audio_streams()) > 0


def clip_launch(path):
    audio = ""
    if clip_has_audio(path):
        audio = " d. ! queue ! aacparse ! rtpmp4gpay name=pay1 pt=97"
    return f"( filesrc location=\"{path}\" ! tsdemux name=d d. ! queue ! h264parse ! {PAY}{audio} )"


class ClockSource:
    """Feeds one /clock client's appsrc with frames made at 25 fps on the wall clock."""

    def __init__(self, appsrc):
        self.appsrc = appsrc
        self.stopped = threading.Event()
        grey = bytes([128]) * WIDTH
        self.grey_rows = grey * HEIGHT
        self.chroma = bytes([128]) * (WIDTH * HEIGHT // 2)
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def stop(self):
        self.stopped.set()

    def clock_rows(self, ms):
        row = bytearray([128]) * WIDTH
        for i in range(CLOCK_BITS):
            bit = (ms >> (CLOCK_BITS - 1 - i)) & 1
            x = CLOCK_X0 + CLOCK_W * i
            row[x:x + CLOCK_W] = bytes([235 if bit else 16]) * CLOCK_W
        return bytes(row) * CLOCK_ROWS

    def frame(self, n):
        ms = time.time_ns() // 1_000_000 % (1 << CLOCK_BITS)
        # A bright square runs across the grey below the clock rows.
        size, top = 64, CLOCK_ROWS + 200
        x = (n * 8) % (WIDTH - size)
        grey = bytes([128]) * WIDTH
        square_row = grey[:x] + bytes([220]) * size + grey[x + size:]
        y_plane = (self.clock_rows(ms) + grey * (top - CLOCK_ROWS) + square_row * size +
                   grey * (HEIGHT - top - size))
        return y_plane + self.chroma

    def run(self):
        start = time.monotonic()
        n = 0
        while not self.stopped.is_set():
            due = start + n / FPS
            delay = due - time.monotonic()
            if delay > 0 and self.stopped.wait(delay):
                break
            data = self.frame(n)
            # A copy into memory GStreamer owns: a wrapped Python object may
            # go away while the encoder still reads it.
            buf = Gst.Buffer.new_allocate(None, len(data), None)
            buf.fill(0, data)
            if self.appsrc.emit("push-buffer", buf) != Gst.FlowReturn.OK:
                break
            n += 1


class ClockFactory(GstRtspServer.RTSPMediaFactory):
    def __init__(self):
        super().__init__()
        caps = f"video/x-raw,format=I420,width={WIDTH},height={HEIGHT},framerate={FPS}/1"
        self.set_launch(f"( appsrc name=src is-live=true format=time do-timestamp=true caps={caps} ! "
                        f"{X264} bitrate=6000 ! {PAY} )")
        self.set_shared(False)
        self.connect("media-configure", self.on_configure)

    def on_configure(self, _factory, media):
        appsrc = media.get_element().get_child_by_name("src")
        source = ClockSource(appsrc)
        media.connect("unprepared", lambda _m: source.stop())


def allow(factory, role, construct=True):
    """Lets role see the mount and, with construct, play it."""
    factory.add_role_from_structure(Gst.Structure.new_from_string(
        f"{role}, media.factory.access=(boolean)true, media.factory.construct=(boolean){str(construct).lower()}"))


def factory(launch, shared):
    f = GstRtspServer.RTSPMediaFactory()
    f.set_launch(launch)
    f.set_shared(shared)
    return f


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--clip", required=True)
    args = parser.parse_args()
    Gst.init(None)

    server = GstRtspServer.RTSPServer()
    server.set_address("127.0.0.1")
    server.set_service(str(args.port))

    # Without credentials a client has the role "anonymous"; admin:velquin1
    # gives the role "admin", the only one that may play /secure.
    auth = GstRtspServer.RTSPAuth()
    anonymous = GstRtspServer.RTSPToken()
    anonymous.set_string(GstRtspServer.RTSP_TOKEN_MEDIA_FACTORY_ROLE, "anonymous")
    auth.set_default_token(anonymous)
    admin = GstRtspServer.RTSPToken()
    admin.set_string(GstRtspServer.RTSP_TOKEN_MEDIA_FACTORY_ROLE, "admin")
    auth.add_basic(GstRtspServer.RTSPAuth.make_basic("admin", "velquin1"), admin)
    server.set_auth(auth)

    clip = clip_launch(args.clip)
    live = (f"( videotestsrc is-live=true pattern=ball ! video/x-raw,width={WIDTH},height={HEIGHT},"
            f"framerate={FPS}/1 ! {X264} ! {PAY} )")
    mounts = server.get_mount_points()
    named = "/" + os.path.splitext(os.path.basename(args.clip))[0]
    served = [("/clip", factory(clip, False)), ("/live", factory(live, True)), ("/clock", ClockFactory())]
    if named not in ("/clip", "/live", "/clock", "/secure"):
        served.append((named, factory(clip, False)))
    for path, f in served:
        allow(f, "anonymous")
        mounts.add_factory(path, f)
    # Seen by everybody but played by admin only: the server answers 401 (a
    # mount nobody may see answers 404).
    secure = factory(clip, False)
    allow(secure, "anonymous", construct=False)
    allow(secure, "admin")
    mounts.add_factory("/secure", secure)

    if server.attach(None) == 0:
        print("cannot listen", file=sys.stderr)
        return 1
    loop = GLib.MainLoop()
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGTERM, loop.quit)
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGINT, loop.quit)
    print(f"READY {server.get_bound_port()}", flush=True)
    loop.run()
    return 0


if __name__ == "__main__":
    sys.exit(main())
