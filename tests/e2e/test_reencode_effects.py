"""Exposure and fades as they are rendered: every luma and chroma against the formula, and the loudness of the sound.
The encoder of the rig is told to lose nothing."""
import math
import subprocess

import encoded
import pytest

LIMIT = 2  # code values
SMALLEST_STEP = 97  # of the bytes that are compared, in bytes


@pytest.fixture(autouse=True)
def lossless_encoder(monkeypatch):
    monkeypatch.setenv("RIG_WRITER_LOSSLESS", "1")


def frames(path):
    """Each picture's planes one after the other, as they are coded."""
    video = encoded.probe(path)["video"]
    size = video["width"] * video["height"]
    command = ["ffmpeg", "-v", "error", "-noautorotate", "-i", str(path), "-map", "0:v:0", "-fps_mode", "passthrough",
               "-pix_fmt", "yuv420p", "-f", "rawvideo", "-"]
    data = subprocess.run(command, check=True, capture_output=True).stdout
    whole = size * 3 // 2
    assert len(data) % whole == 0
    return size, [data[at:at + whole] for at in range(0, len(data), whole)]


def exposed(luma, stops):
    share = min(max((luma - 16) / 219, 0), 1)
    return int(min(max(share ** (1 / 3 ** stops) * 219 + 16 + 0.5, 16), 235))


def gain_at(seconds, length, fade_in, fade_out):
    """In parts of 256; all of it from 0.999 on."""
    gain = 1.0
    if fade_in > 0 and seconds < fade_in:
        gain = min(seconds / fade_in, 1)
    if fade_out > 0 and seconds > length - fade_out:
        gain = min(gain, (length - seconds) / fade_out)
    return 256 if gain >= 0.999 else int(max(gain, 0) * 256)


def rendered(stops, gain):
    """What luma and chroma of the source become."""
    table = [exposed(luma, stops) if stops else luma for luma in range(256)]
    lumas = bytes(((y - 16) * gain >> 8) + 16 if gain < 256 else y for y in (max(y, 16) for y in table))
    chromas = bytes(((c - 128) * gain >> 8) + 128 for c in range(256))
    return lumas, chromas


def worst(ours, theirs, step=SMALLEST_STEP):
    return max(abs(a - b) for a, b in zip(ours[::step], theirs[::step], strict=True))


def check_rendered(source, output, spans, stops, fades):
    """`fades`: (in, out) of each span. Compared are bytes all over each picture."""
    size, ours = frames(output)
    source_size, theirs = frames(source)
    assert size == source_size
    times, base, at, differing = encoded.times(source), 0.0, 0, 0
    for (start, end), (fade_in, fade_out) in zip(spans, fades, strict=True):
        for shown in encoded.expected(times, [(start, end)]):
            gain = gain_at(shown.time, end - start, fade_in, fade_out)
            lumas, chromas = rendered(stops, gain)
            picture = theirs[shown.number]
            where = f"picture {shown.number} at {base + shown.time}, gain {gain}"
            assert worst(ours[at][:size], picture[:size].translate(lumas)) <= LIMIT, where
            assert worst(ours[at][size:], picture[size:].translate(chromas)) <= LIMIT, where
            differing += worst(ours[at][:size], picture[:size]) > LIMIT
            at += 1
        base += end - start
    assert at == len(ours)
    return differing


@pytest.mark.parametrize("stops", [0.3, 1, -1])
def test_exposure_is_the_formulas(cut, media, tmp_path, stops):
    """Of pictures of many lumas."""
    source, output = media / "numbered-25-30-0.mp4", tmp_path / "cut.mp4"
    result = cut(source, output, "0-6.8", more=["--quality", "source", "--exposure", str(stops)])
    assert (result.returncode, result.stderr) == (0, "")
    assert check_rendered(source, output, [(0, 6.8)], stops, [(0, 0)]) > 160


@pytest.mark.parametrize("name, stops", [("closed", 0), ("closed", 0.4), ("reencode-uneven", -0.3)])
def test_fades_and_exposure_are_rendered_together(cut, media, tmp_path, name, stops):
    """In colours; sizes that are no whole macroblocks have lines that nobody sees."""
    source, output = media / f"{name}.mp4", tmp_path / "cut.mp4"
    spans, fades = [(0.31, 1.5), (1.5, 2.4)], [(0.5, 0.3), (0.2, 0.7)]
    words = ["--quality", "source", "--fade-in", "1:0.5", "--fade-out", "1:0.3", "--fade-in", "2:0.2", "--fade-out",
             "2:0.7", *(["--exposure", str(stops)] if stops else [])]
    result = cut(source, output, *(f"{start}-{end}" for start, end in spans), more=words)
    assert (result.returncode, result.stderr) == (0, "")
    assert check_rendered(source, output, spans, stops, fades) > 30


def test_without_effects_pictures_are_the_sources(cut, media, tmp_path):
    source, output = media / "closed.mp4", tmp_path / "cut.mp4"
    assert cut(source, output, "1.5-2.5", more=["--quality", "source"]).returncode == 0
    assert check_rendered(source, output, [(1.5, 2.5)], 0, [(0, 0)]) == 0


def test_sound_fades_with_the_picture(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    result = cut(media / "closed.mp4", output, "2-5", "7-8",
                 more=["--quality", "source", "--fade-in", "1:1.5", "--fade-out", "1:1", "--fade-out", "2:1"])
    assert (result.returncode, result.stderr) == (0, "")
    samples = encoded.sound(output)
    full = encoded.loudness(samples, 1.6, 1.9)
    assert full > 2000
    for middle in (0.2, 0.5, 1.0, 1.3, 2.2, 2.5, 2.8, 3.2, 3.5, 3.8):
        length, fade_in, fade_out = (3, 1.5, 1) if middle < 3 else (1, 0, 1)
        wanted = full * gain_at(middle % 3, length, fade_in, fade_out) / 256
        # A sample of the reader's has one gain, and lasts for 21 ms.
        assert encoded.loudness(samples, middle - 0.01, middle + 0.01) == pytest.approx(wanted, abs=full * 0.04), middle


@pytest.mark.parametrize("words", [["--fade-in", "1:0.5"], ["--exposure", "-0.5"],
                                   ["--quality", "lossless", "--fade-out", "1:0.5"]])
def test_what_can_not_be_copied_is_encoded_and_it_is_said(cut, media, tmp_path, words):
    source, output = media / "closed.mp4", tmp_path / "cut.mp4"
    result = cut(source, output, "0.31-1.5", more=words)
    assert result.returncode == 0
    assert result.stderr == "velkantrix-cut: Fades and exposure can't be copied: encoding anew, at the source's size.\n"
    stops = -0.5 if "--exposure" in words else 0
    fades = (0.5 * ("--fade-in" in words), 0.5 * ("--fade-out" in words))
    assert check_rendered(source, output, [(0.31, 1.5)], stops, [fades]) > 10


def test_full_scale_stays_in_range(cut, media, tmp_path):
    """The brightest exposure of the brightest luma is white, not beyond."""
    output = tmp_path / "cut.mp4"
    assert cut(media / "bright.mp4", output, "0-1", more=["--exposure", "1"]).returncode == 0
    size, ours = frames(output)
    assert max(max(picture[:size]) for picture in ours) <= 235
    assert math.isclose(min(min(picture[:size]) for picture in ours), exposed(230, 1), abs_tol=LIMIT)
