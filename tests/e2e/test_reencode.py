"""Re-encoded exports of real recordings, judged by ffprobe and ffmpeg: their form, that every picture is the one
asked for at its time, and that sound stays with the picture."""
import os
import random
import sys

import encoded
import make_media
import places
import pytest

sys.path.insert(0, str(places.ROOT / "tests" / "support"))
from make_media import CLICKS, FRAGMENTED_NUMBERED, NUMBERED  # noqa: E402

LONG = "VELKANTRIX_LONG" in os.environ
RATES = {"25": "25", "2997": "30000/1001", "60": "60"}
SOURCE = ("--quality", "source")


def some(names, count, seed):
    return sorted(names) if LONG else random.Random(seed).sample(sorted(names), count)


def parts(spans):
    return [f"{start:.4f}-{end:.4f}" for start, end in spans]


def encode(cut, source, output, spans, *more):
    before = make_media.digest(source)
    result = cut(source, output, *parts(spans), more=more or SOURCE)
    assert result.returncode == 0, result.stderr
    assert result.stderr == ""
    assert make_media.digest(source) == before
    assert encoded.complaints(output) == ""
    return result


# ---- pictures -------------------------------------------------------------------------------------------

# One of each rate; and fragments with the program's own media source, and without.
ONE_OF_EACH_RATE = [random.Random(5).choice([name for name in sorted(NUMBERED) if f"-{rate}-" in name])
                    for rate in RATES]
FRAGMENTED = some(FRAGMENTED_NUMBERED, 1, 6)
CASES = [(name, "1") for name in (sorted(NUMBERED) if LONG else ONE_OF_EACH_RATE)] + \
        [(name, own_source) for name in FRAGMENTED for own_source in "10"]


def random_spans(choose, length, rate):
    """Anywhere, at pictures' own times as they are written with three digits, adjacent, again, and to the end."""
    spans = []
    for kind in ("any", "picture", "next", "again", "any", "end"):
        start = choose.uniform(0, length - 1.2)
        if kind == "picture":
            start = choose.randrange(int((length - 1.2) * rate)) / rate
        if kind == "next":
            start = spans[-1][1]
        end = start + choose.uniform(0.1, 1)
        if kind == "end":
            start, end = length - 0.4, length
        spans.append(spans[0] if kind == "again" else (round(start, 3), round(end, 3)))
    return spans


@pytest.mark.parametrize("name, own_source", CASES)
def test_spans_show_the_pictures_asked_for_and_no_others(cut, media, tmp_path, monkeypatch, name, own_source):
    monkeypatch.setenv("VELKANTRIX_MP4SRC", own_source)
    source, output = media / f"{name}.mp4", tmp_path / "cut.mp4"
    source_times = encoded.times(source)
    choose = random.Random(name)
    for _ in range(5 if LONG else 1):
        numerator, _, denominator = RATES[name.split("-")[1]].partition("/")
        rate = int(numerator) / int(denominator or 1)
        spans = random_spans(choose, len(source_times) / rate, rate)
        encode(cut, source, output, spans)
        encoded.times.cache_clear()
        encoded.pictures.cache_clear()
        wanted = encoded.expected(source_times, spans)
        assert encoded.numbers(output) == [shown.number for shown in wanted], spans
        encoded.check_times(encoded.times(output), wanted)
        encoded.check_end(output, spans)
        encoded.check_form(output, (640, 360), has_sound=False)


@pytest.mark.parametrize("name", ONE_OF_EACH_RATE)
def test_the_rate_is_the_sources(cut, media, tmp_path, name):
    encode(cut, media / f"{name}.mp4", tmp_path / "cut.mp4", [(0, 1)])
    encoded.check_form(tmp_path / "cut.mp4", (640, 360), RATES[name.split("-")[1]], has_sound=False)


# Sources of every kind: their size in the output, whether there is sound in it, and two spans.
USUAL = [(1.21, 1.8), (6.5, 7.105)]
KINDS = {
    "closed": ((320, 180), True, USUAL),
    "open": ((320, 180), True, USUAL),
    "pyramid": ((320, 180), True, USUAL),
    "one-keyframe": ((320, 180), True, [(9.1, 9.5)]),
    "variable-rate": ((320, 180), True, [(0.8, 1.4), (5.5, 6.2)]),
    "video-only": ((320, 180), False, USUAL),
    "audio-late": ((320, 180), True, [(2.1, 2.9)]),
    "audio-short": ((320, 180), True, [(4.4, 5.9), (8, 8.5)]),
    "video-late": ((320, 180), True, [(1.0, 2.2)]),
    "video-short": ((320, 180), True, [(6.5, 7.5)]),
    "mono": ((320, 180), True, USUAL),
    "burst-six": ((320, 180), True, USUAL),
    "two-audio": ((320, 180), True, USUAL),
    "fragmented": ((320, 180), True, USUAL),
    "fragmented-halves": ((320, 180), True, USUAL),
    "fragmented-sound-short": ((320, 180), True, [(4.4, 5.9)]),
    "reencode-uneven": ((322, 178), True, [(0.5, 1.2)]),
    "portrait": ((180, 320), True, [(0.5, 1.2)]),
    "anamorphic": ((768, 576), False, [(0.5, 1.2)]),
    "full-range": ((320, 180), False, USUAL),
}
USUAL_KINDS = ("video-only", "variable-rate", "audio-short", "video-short", "mono", "burst-six", "fragmented-halves",
               "reencode-uneven", "portrait", "anamorphic", "full-range")


@pytest.mark.parametrize("name, own_source", [
    (name, own_source) for name in (KINDS if LONG else USUAL_KINDS)
    for own_source in ("10" if name.startswith("fragmented") else "1")])
def test_sources_of_every_kind_come_out_as_they_are(cut, media, tmp_path, monkeypatch, name, own_source):
    monkeypatch.setenv("VELKANTRIX_MP4SRC", own_source)
    size, has_sound, spans = KINDS[name]
    source, output = media / f"{name}.mp4", tmp_path / "cut.mp4"
    encode(cut, source, output, spans)
    encoded.check_form(output, size, has_sound=has_sound)
    wanted = encoded.expected(encoded.times(source), spans)
    encoded.check_times(encoded.times(output), wanted)
    small = encoded.SMALL if size[0] > size[1] else encoded.SMALL[::-1]
    encoded.check_pictures(source, output, wanted, small)


@pytest.mark.parametrize("turn", [90, 180, 270] if LONG else [90])
def test_a_recording_that_is_turned_by_a_flag_comes_out_upright(cut, media, tmp_path, turn):
    source, output = media / f"reencode-turned-{turn}.mp4", tmp_path / "cut.mp4"
    encode(cut, source, output, [(0.5, 1.2)])
    size = (320, 180) if turn == 180 else (180, 320)
    assert encoded.shown_size(output) == encoded.shown_size(source) == size
    wanted = encoded.expected(encoded.times(source), [(0.5, 1.2)])
    encoded.check_pictures(source, output, wanted, encoded.SMALL if turn == 180 else encoded.SMALL[::-1])


@pytest.mark.parametrize("name, quality, size", [
    ("closed", "source", (320, 180)), ("closed", "1080", (1920, 1080)), ("closed", "720", (1280, 720)),
    ("closed", "480", (852, 480)), ("portrait", "480", (270, 480)), ("reencode-turned-90", "480", (480, 852)),
    ("reencode-uneven", "480", (854, 472)), ("reencode-720", "480", (852, 480)),
    ("reencode-720", "source", (1280, 720))])
def test_each_quality_has_its_size(cut, media, tmp_path, name, quality, size):
    """Small ones are scaled up. What is turned by a flag is fitted in as it is coded."""
    source, output, spans = media / f"{name}.mp4", tmp_path / "cut.mp4", [(1, 1.2)]
    encode(cut, source, output, spans, "--quality", quality)
    assert encoded.shown_size(output) == size
    wanted = encoded.expected(encoded.times(source), spans)
    encoded.check_times(encoded.times(output), wanted)
    small = encoded.SMALL if size[0] > size[1] else encoded.SMALL[::-1]
    for picture, shown in zip(encoded.pictures(output, small), wanted, strict=True):
        assert encoded.distance(picture, encoded.pictures(source, small)[shown.number]) < 6


# ---- sound ----------------------------------------------------------------------------------------------

SOURCE_FRAME = 1024 / 48000  # of the sound's coding


# Encoders of sound may look at its times, or count what they get.
BOTH_ENCODERS = pytest.mark.parametrize("counts", ["0", "1"])


@BOTH_ENCODERS
def test_sound_stays_with_the_picture_over_twenty_joins(cut, media, tmp_path, monkeypatch, counts):
    """Each span holds one flash, of one picture, that begins with a click."""
    monkeypatch.setenv("RIG_WRITER_COUNTS", counts)
    choose = random.Random(20)
    spans = []
    for second in range(1, CLICKS):
        start = round(second - choose.uniform(0.1, 0.4), 4)
        spans.append((start, round(start + choose.uniform(0.5, 0.55), 4)))
    assert len(spans) == 21
    output = tmp_path / "cut.mp4"
    encode(cut, media / "reencode-clicks.mp4", output, spans)
    samples, offsets, base = encoded.sound(output), [], 0.0
    flashes = [time for time, (luma, *_) in zip(encoded.times(output), encoded.pictures(output, (2, 2))) if luma > 128]
    assert len(flashes) == len(spans)
    for (start, end), second, flash in zip(spans, range(1, CLICKS), flashes):
        assert flash == pytest.approx(base + second - start, abs=0.0005)
        offsets.append(first_loud(samples, base, base + end - start) - flash)
        base += end - start
    assert max(map(abs, offsets)) <= SOURCE_FRAME, offsets
    early, late = sum(offsets[:7]) / 7, sum(offsets[-7:]) / 7
    assert abs(late - early) < 0.002, offsets


def first_loud(samples, begin, end):
    """When the sound of a time first reaches half of its greatest amplitude."""
    half = encoded.loudness(samples, begin, end) / 2
    assert half > 4000, f"no click between {begin} and {end}"
    first = round(begin * encoded.SOUND_RATE)
    return next(n for n in range(first, len(samples)) if abs(samples[n]) >= half) / encoded.SOUND_RATE


def test_nothing_is_heard_of_what_was_cut(cut, media, tmp_path):
    """The spans end just before a click, and begin just after one."""
    output = tmp_path / "cut.mp4"
    spans = [(second + 0.05, second + 0.97) for second in range(1, 8)]
    encode(cut, media / "reencode-clicks.mp4", output, spans)
    assert encoded.loudness(encoded.sound(output), 0, 0.92 * 7 - 0.05) < 1500


def test_sound_has_160_kilobits_a_second(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    encode(cut, media / "reencode-noise.mp4", output, [(0, 3)])
    assert int(encoded.probe(output)["audio"]["bit_rate"]) == pytest.approx(160_000, rel=0.05)
    assert encoded.end_of(encoded.probe(output)["audio"]) == pytest.approx(3, abs=SOURCE_FRAME)


@BOTH_ENCODERS
def test_sound_that_ends_early_ends_there_and_begins_again_in_its_place(cut, media, tmp_path, monkeypatch, counts):
    """Half a second of it, a second without, then half a second again."""
    monkeypatch.setenv("RIG_WRITER_COUNTS", counts)
    output = tmp_path / "cut.mp4"
    encode(cut, media / "audio-short.mp4", output, [(4.5, 6), (1, 1.5)])
    samples = encoded.sound(output)
    assert encoded.loudness(samples, 0.1, 0.4) > 1000
    assert encoded.loudness(samples, 0.6, 1.45) < 50
    assert encoded.loudness(samples, 1.55, 1.9) > 1000


@BOTH_ENCODERS
def test_sound_that_begins_late_is_heard_where_it_is(cut, media, tmp_path, monkeypatch, counts):
    """It begins 2.5 s into the recording."""
    monkeypatch.setenv("RIG_WRITER_COUNTS", counts)
    output = tmp_path / "cut.mp4"
    encode(cut, media / "audio-late.mp4", output, [(2.1, 2.9)])
    samples = encoded.sound(output)
    assert encoded.loudness(samples, 0, 0.35) < 50
    assert encoded.loudness(samples, 0.45, 0.75) > 1000
    assert float(encoded.probe(output)["audio"]["start_time"]) == pytest.approx(0, abs=0.001)


def test_where_there_is_no_sound_at_all_there_is_silence(cut, media, tmp_path):
    """The sound ends at 5 s; the pictures go on."""
    output = tmp_path / "cut.mp4"
    encode(cut, media / "audio-short.mp4", output, [(6, 9)])
    encoded.check_form(output, (320, 180))
    assert encoded.loudness(encoded.sound(output), 0, 3) < 50
    assert encoded.end_of(encoded.probe(output)["audio"]) == pytest.approx(3, abs=SOURCE_FRAME)
