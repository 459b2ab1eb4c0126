"""Scrubs on the screen: the picture under the resting hand is the one that the engine shows when the hand lets
go, and a drag shows pictures on its way. Each picture of the recordings carries its number."""
import os
import random
import subprocess
import time

import places
import pytest
from test_pictures import DRIVER, LONG, RATES, frame_at
from window import LOGGED, LONGEST_WAIT, pixel, screen

NAMES = ["numbered-25-1-0", "numbered-2997-30-3-fragmented", "numbered-2997-30-3-fragmented-late", "numbered-60-250-3"]
SCRUBS = 100 if LONG else 12
pytestmark = pytest.mark.usefixtures("own_screen")
WM_SIZE = 5


def number_in(left, top, right, bottom):
    """The number of the picture in that part of the screen; None where there is none."""
    pixels = screen()
    digits = []
    for share in (1, 3):  # the middle of each half
        grey = sum(pixel(pixels, left + (right - left) * share // 4, (top + bottom) // 2)) / 3
        luma = 16 + grey * 219 / 255
        digit = round((luma - 32) / 12)
        if abs(luma - 32 - 12 * digit) >= 4 or digit < 0:
            return None
        digits.append(digit)
    return digits[0] + 16 * digits[1]


def first_time(path):
    """When the first picture is shown."""
    words = ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time", "-of", "csv=p=0"]
    lines = subprocess.run([*words, str(path)], check=True, capture_output=True, text=True).stdout.split()
    return min(float(line.strip(",")) for line in lines)


@pytest.mark.parametrize("name", NAMES)
def test_the_preview_and_the_engine_show_the_same_picture(name, media, tmp_path):
    path = media / f"{name}.mp4"
    rate, begins = RATES[name.split("-")[1]], first_time(path)
    words = [places.RUN, str(DRIVER), places.windows_path(path), str(random.Random(name).randrange(1000)),
             str(SCRUBS), "scrub"]
    process = subprocess.Popen(words, cwd=tmp_path, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                               env={**os.environ, "VELKANTRIX_PRESENTLOG": "1"})
    try:
        seen = 0
        for line in process.stdout:
            target, shown, state = (int(word) for word in line.split())
            where = f"{name}, line {seen}: {'preview' if state == 2 else 'engine'} at {target / 1e7} s"
            wanted = max(0, frame_at(target / 1e7 - begins, rate))
            assert number_in(0, 0, 640, 360) == wanted, where
            assert shown / 1e7 == pytest.approx(begins + wanted / rate, abs=0.0006), where
            seen += 1
            process.stdin.write("\n")
            process.stdin.flush()
        assert seen == 2 * SCRUBS
        assert process.wait(LONGEST_WAIT) == 0
    finally:
        process.kill()  # its window covers the screen's corner
        process.wait()


def previews(window, after):
    return [float(line["preview"]) for line in window.presents()[after:] if line["picture"] == "preview"]


def test_a_drag_of_the_playhead_shows_pictures_on_its_way_and_the_exact_one_at_rest(play):
    window = play("numbered-25-250-3", environment=LOGGED)
    window.pause()
    before = len(window.presents())
    window.mouse("press", 0.05)
    for step in range(30):
        time.sleep(0.04)
        window.mouse("move", 0.1 + step * 0.02)
    on_the_way = previews(window, before)
    assert len(on_the_way) >= 3
    target = window.wait_for(lambda: rested(window, before), "the exact picture")
    number = frame_at(target + 0.001, 25)
    wait_for_number(window, number)
    keep_screenshot(window)
    assert target == pytest.approx(0.68 * 9.6, abs=0.08)  # a frame and a pixel
    landings = len(window.presents())
    window.mouse("release", 0.1 + 29 * 0.02)
    frame, _ = window.wait_for_landing(landings)
    assert frame == pytest.approx(target, abs=0.001)
    wait_for_number(window, number)


def wait_for_number(window, number):
    """On the rig's screen a picture that stands still is painted over when the window around it is painted; drawn
    again, as after a change of the window's size, it is there."""

    def is_there():
        window.post(WM_SIZE)
        time.sleep(0.1)
        return number_in(*window.video()["rect"]) == number

    window.wait_for(is_there, f"picture {number} on the screen")


def rested(window, before):
    """The time of the last preview, when that isn't the one keyframe there is."""
    last = previews(window, before)[-1]
    time.sleep(0.2)
    return last if last > 0 and previews(window, before)[-1] == last else None


def keep_screenshot(window):
    """For whoever wants to look."""
    subprocess.run([places.RUN, "--screenshot", str(window.folder / "drag.png")], check=True, timeout=LONGEST_WAIT)
