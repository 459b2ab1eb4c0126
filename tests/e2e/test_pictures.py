"""The picture on screen is the one that was asked for, and no other was shown on the way.

Each picture of the recordings carries its number. Seeks at random times, paused and playing; after each the
screen is read, and the log of what was presented."""
import os
import random
import subprocess
import sys

import places
import pytest
from window import LONGEST_WAIT, PRESENT, pixel, screen

sys.path.insert(0, str(places.ROOT / "tests" / "support"))
from make_media import FRAGMENTED_NUMBERED, NUMBERED  # noqa: E402

DRIVER = places.BUILD / "tests" / "e2e" / "show-pictures.exe"
RATES = {"25": 25, "2997": 30000 / 1001, "60": 60}
LONG = "VELKANTRIX_LONG" in os.environ
NAMES = sorted(NUMBERED) if LONG else random.Random(3).sample(sorted(NUMBERED), 3)
FRAGMENTED = sorted(FRAGMENTED_NUMBERED) if LONG else random.Random(3).sample(sorted(FRAGMENTED_NUMBERED), 2)
# Files of fragments are tried with the program's own media source and without.
CASES = [(name, "1") for name in [*NAMES, *FRAGMENTED]] + [(name, "0") for name in FRAGMENTED]
SEEKS = 200 if LONG else 25
pytestmark = pytest.mark.usefixtures("own_screen")


def number_on_screen():
    pixels = screen()
    digits = []
    for x in (160, 480):  # the middle of each half
        grey = sum(pixel(pixels, x, 180)) / 3
        luma = 16 + grey * 219 / 255
        digit = round((luma - 32) / 12)
        assert abs(luma - 32 - 12 * digit) < 4, f"no number's grey: {grey}"
        digits.append(digit)
    return digits[0] + 16 * digits[1]


def frame_at(seconds, rate):
    """The picture that is shown at that time."""
    return int(seconds * rate + 1e-6)


def asked_frames(seconds, rate):
    """The picture of a time and, where the next begins within the engine's own 0.1 ms, that one."""
    return {frame_at(seconds, rate), frame_at(seconds + 0.0001, rate)}


def presents(folder):
    return [match for match in map(PRESENT.match, (folder / "present.log").read_text().splitlines()) if match]


@pytest.mark.parametrize("name, own_source", CASES)
def test_each_seek_shows_its_picture_and_no_other(name, own_source, media, tmp_path):
    rate = RATES[name.split("-")[1]]
    words = [places.RUN, str(DRIVER), places.windows_path(media / f"{name}.mp4"), "7", str(SEEKS)]
    process = subprocess.Popen(words, cwd=tmp_path, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                               env={**os.environ, "VELKANTRIX_PRESENTLOG": "1",
                                                                       "VELKANTRIX_MP4SRC": own_source})
    try:
        check_seeks(process, name, rate, tmp_path)
        assert process.wait(LONGEST_WAIT) == 0
    finally:
        process.kill()  # its window covers the screen's corner
        process.wait()
    check_log(presents(tmp_path), rate)


def last_presented(folder):
    """The last line of the log and the number on the screen, once no line comes while that is read."""
    while True:
        before = presents(folder)
        number = number_on_screen()
        if len(presents(folder)) == len(before):
            return before[-1], number


def check_seeks(process, name, rate, folder):
    seen = 0
    for line in process.stdout:
        target, settled, playing = (int(word) for word in line.split())
        asked = asked_frames(target / 1e7, rate)
        last, number = last_presented(folder)
        shown = frame_at(float(last["tick"]) + 0.001, rate)
        where = f"{name}, seek {seen} to {target / 1e7} s, playing {playing}"
        assert number == shown, where
        landed = frame_at(settled / 1e7 + 0.001, rate)
        # One that plays may be at the frame before when it is asked, and at the next when it is drawn.
        assert {landed - 1, landed, landed + 1} & asked if playing else landed in asked, where
        if not playing:
            assert shown in asked, where
        seen += 1
        process.stdin.write("\n")
        process.stdin.flush()
    assert seen == SEEKS


def check_log(lines, rate):
    """While a seek is awaited nothing is presented but the frame that it awaits."""
    landings = 0
    for line in lines:
        assert line["owner"] != "preview"
        if line["owner"] == "frozen":
            landings += 1
            assert abs(float(line["tick"]) - float(line["target"])) <= 1.25 / rate + 0.001
        else:
            assert line["target"] == "-0.000"
    assert landings == SEEKS
