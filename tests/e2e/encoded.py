"""A re-encoded file as ffprobe and ffmpeg see it, and what must be in it, worked out from the source alone. All
times are seconds."""
import array
import functools
import json
import subprocess
from dataclasses import dataclass
from fractions import Fraction

EARLY = 100  # microseconds; spans take pictures so much before their ends
SOUND_RATE = 48000


def probe(path):
    """The streams by kind, as ffprobe describes them."""
    command = ["ffprobe", "-v", "error", "-show_streams", "-of", "json", str(path)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    return {stream["codec_type"]: stream for stream in found["streams"]}


def end_of(stream):
    return float(stream["start_time"]) + float(stream["duration"])


def complaints(path):
    """What ffmpeg says when it decodes the whole file. Pictures may come as close together as they like."""
    command = ["ffmpeg", "-v", "error", "-i", str(path), "-fps_mode", "passthrough", "-enc_time_base", "1/90000", "-f",
               "null", "-"]
    return subprocess.run(command, capture_output=True, text=True, check=False).stderr


@functools.cache
def times(path):
    """When each picture is shown, in that order."""
    command = ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pts_time", "-of", "json",
               str(path)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    return sorted(float(packet["pts_time"]) for packet in found["packets"])


@functools.cache
def pictures(path, size=None):
    """The luma of each picture in video range, upright, as it is or brought to a size (width, height)."""
    width, height = size or shown_size(path)
    scale = f"scale={width}:{height}:flags=area:out_range=tv,"
    command = ["ffmpeg", "-v", "error", "-i", str(path), "-map", "0:v:0", "-fps_mode", "passthrough", "-vf",
               f"{scale}format=yuv420p,extractplanes=y", "-f", "rawvideo", "-"]
    data = subprocess.run(command, check=True, capture_output=True).stdout
    assert len(data) % (width * height) == 0
    return [data[at:at + width * height] for at in range(0, len(data), width * height)]


def shown_size(path):
    video = probe(path)["video"]
    size = video["width"], video["height"]
    turned = any(data.get("rotation", 0) % 180 for data in video.get("side_data_list", ()))
    return size[::-1] if turned else size


@dataclass
class Shown:
    number: int  # of the source's picture, in the order of showing
    time: float  # in the output


def micros(seconds):
    """As sharp as recordings' times are told: sums of seconds aren't."""
    return round(seconds * 1e6)


def expected(source_times, spans):
    """The pictures that an export of `spans` [(start, end)] must show."""
    shown, base = [], 0.0
    for start, end in spans:
        first, behind = micros(start) - EARLY, micros(end) - EARLY
        shown += [Shown(n, base + max(0.0, time - start)) for n, time in enumerate(source_times)
                  if first <= micros(time) < behind]
        base += end - start
    return shown


def check_times(found, wanted, close=0.0005):
    assert len(found) == len(wanted)
    assert max((abs(a - b.time) for a, b in zip(found, wanted)), default=0) <= close


def check_end(path, spans, rate=None):
    """The last picture stands until the end of the last span, or as long as it does in the source."""
    left = sum(end - start for start, end in spans)
    assert abs(end_of(probe(path)["video"]) - left) <= (1 / rate if rate else 0.001)


def number_of(picture):
    """Of a numbered picture, brought to 2 x 2."""
    digits = []
    for luma in picture[:2]:
        digit = round((luma - 32) / 12)
        assert abs(luma - 32 - 12 * digit) <= 3, f"no number's grey: {luma}"
        digits.append(digit)
    return digits[0] + 16 * digits[1]


def numbers(path):
    return [number_of(picture) for picture in pictures(path, (2, 2))]


def distance(a, b):
    return sum(abs(x - y) for x, y in zip(a, b)) / len(a)


SMALL = (32, 18)


def check_pictures(source, output, wanted, size=SMALL):
    """Each picture looks like its own of the source, and more so than like the ones beside it."""
    theirs, ours = pictures(source, size), pictures(output, size)
    assert len(ours) == len(wanted)
    for picture, shown in zip(ours, wanted):
        own = distance(picture, theirs[shown.number])
        assert own < 6, f"picture {shown.number} looks otherwise: {own}"
        for beside in (shown.number - 1, shown.number + 1):
            if 0 <= beside < len(theirs):
                assert own < distance(picture, theirs[beside]), f"picture {shown.number} looks like {beside}"


@functools.cache
def sound(path):
    """One channel at 48 kHz, with the silence of gaps in it."""
    command = ["ffmpeg", "-v", "error", "-i", str(path), "-map", "0:a:0", "-af", "aresample=async=1:first_pts=0", "-ac",
               "1", "-ar", str(SOUND_RATE), "-f", "s16le", "-"]
    samples = array.array("h")
    samples.frombytes(subprocess.run(command, check=True, capture_output=True).stdout)
    return samples


def loudness(samples, begin, end):
    """The greatest amplitude between two times."""
    part = samples[max(0, round(begin * SOUND_RATE)):round(end * SOUND_RATE)]
    return max((abs(sample) for sample in part), default=0)


def check_form(path, size, rate=None, has_sound=True):
    streams = probe(path)
    video = streams["video"]
    assert (video["codec_name"], video["profile"], video["pix_fmt"]) == ("h264", "High", "yuv420p")
    assert (video["width"], video["height"]) == size
    assert video.get("sample_aspect_ratio", "1:1") == "1:1"
    if rate:
        assert abs(Fraction(video["r_frame_rate"]) - Fraction(rate)) < Fraction(1, 1000)
    assert ("audio" in streams) == has_sound
    if has_sound:
        audio = streams["audio"]
        assert (audio["codec_name"], audio["profile"]) == ("aac", "LC")
        assert (audio["sample_rate"], audio["channels"]) == ("48000", 2)
