"""A recording as ffprobe reads it, and what a lossless cut of it must be, worked out independently of the
program from the packets alone. All times are seconds."""
import functools
import json
import subprocess
from dataclasses import dataclass, field


@dataclass
class Packet:
    pts: float
    dts: float
    duration: float
    key: bool
    digest: str

    @property
    def end(self):
        return self.pts + self.duration


@dataclass
class Stream:
    kind: str
    codec: str
    packets: list = field(default_factory=list)  # as stored: in decode order


def read(path):
    """The streams of a file, in its order."""
    command = ["ffprobe", "-v", "error", "-show_streams", "-show_packets", "-show_data_hash", "MD5",
               "-of", "json", str(path)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    streams = [Stream(s["codec_type"], s["codec_name"]) for s in found["streams"]]
    for p in found["packets"]:
        # Data behind the last access unit of an edit list is marked to be thrown away.
        streams[p["stream_index"]].packets.append(
            Packet(float(p["pts_time"]), float(p["dts_time"]), float(p.get("duration_time", 0)),
                   "K" in p["flags"], p["data_hash"]))
    return streams


def first(streams, kind):
    return next((s for s in streams if s.kind == kind), None)


def decoding_complaints(path):
    """What ffmpeg says when it decodes the whole file."""
    command = ["ffmpeg", "-v", "error", "-i", str(path), "-f", "null", "-"]
    return subprocess.run(command, capture_output=True, text=True, check=False).stderr


@functools.cache
def pictures(path):
    """The checksums of all decoded pictures, in the order in which the decoder gives them. They are
    numbered anew, for ffmpeg drops those whose times don't ascend."""
    command = ["ffmpeg", "-v", "quiet", "-i", str(path), "-map", "0:v", "-vf", "setpts=N/100/TB",
               "-fps_mode", "passthrough", "-f", "framemd5", "-"]
    text = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return [line.split(",")[-1].strip() for line in text.splitlines() if not line.startswith("#")]


def expected_pictures(source, packets, cuts):
    """What the output must show: the source's own pictures."""
    shown = dict(zip(sorted(p.pts for p in packets), pictures(source), strict=True))
    return [shown[time] for cut in cuts for time in sorted(p.pts for p in cut.video)]


@dataclass
class SpanCut:
    """One span of a cut: its packets, and its place in the source and in the output."""
    start: float  # time of its first keyframe
    end: float    # where its material ends in the source
    base: float   # where it begins in the output
    video: list
    audio: list = field(default_factory=list)

    def on_output(self, time):
        return self.base + max(0.0, time - self.start)


def expected_cut(streams, spans):
    """The spans that a lossless export of `spans` [(start, end)] must hold."""
    video, audio = first(streams, "video"), first(streams, "audio")
    cuts, base = [], 0.0
    for start, end in spans:
        cut = cut_video(video.packets, start, end, base)
        if audio:
            cut.audio = [p for p in audio.packets if p.end > max(cut.start, 0) + 1e-6 and p.pts < cut.end - 1e-6
                         and p.end > 1e-6]
        cuts.append(cut)
        base += cut.end - cut.start
    return cuts


def cut_video(packets, start, end, base):
    tick = 1e-6
    begins = [i for i, p in enumerate(packets) if p.key and p.pts <= start + tick] or [0]
    at = begins[-1]
    first_key = packets[at]
    taken, stop = [], None
    for i in range(at, len(packets)):
        p = packets[i]
        if p.key and p.pts >= end - tick and p.pts > first_key.pts:
            stop = i
            break
        if p.pts >= first_key.pts - tick:
            taken.append(p)
    if stop is None:
        return SpanCut(first_key.pts, max(p.end for p in taken), base, taken)
    # Pictures that are stored behind the next keyframe and shown before it can't be written.
    hanging = []
    for p in packets[stop + 1:]:
        if p.key or p.pts >= packets[stop].pts:
            break
        hanging.append(p.pts)
    return SpanCut(first_key.pts, min([packets[stop].pts, *hanging]), base, taken)
