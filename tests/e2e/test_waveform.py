"""The waveform on the timeline: loud where the sound is, of the file that is open, and of what is left of it."""
import struct

import pytest
from window import LOGGED, pixel, screen

WAVES = ((80, 76, 66), (150, 140, 120))  # of a clip, and of the selected one
MOST = 44  # pixels each way, at 96 dpi
SECONDS = 12


def heights(window):
    """How high the bars of the waveform are, by the share of the track where each begins: two pixels wide, the first a
    pixel from the left. Without those under the texts on the left, and at the right end with its bars."""
    left, top, right, bottom = window.track()
    pixels, middle, width = screen(), (top + bottom) // 2, right - left

    def height(x):
        return next(n for n in range(MOST + 2) if pixel(pixels, x, middle - n - 1) not in WAVES)

    return {offset / width: height(left + offset) for offset in range(width // 5 | 1, width - 12, 2)}


def wait_for_heights(window, is_right):
    """Waits until the waveform is right everywhere; what it is there."""
    seen = {}

    def is_there():
        seen.clear()
        seen.update(heights(window))
        return all(is_right(share, height) for share, height in seen.items())

    window.wait_for(is_there, lambda: f"the waveform; wrong: { {s: h for s, h in seen.items() if not is_right(s, h)} }")
    return seen


def heard(media, name, begin=0.0):
    """Whether the samples give that height at a share of the track, or those of a bucket beside do, where the track
    begins with that second."""
    samples = (media / f"{name}.pcm").read_bytes()
    values = struct.unpack(f"<{len(samples) // 2}h", samples)
    frames, bucket = len(values) // 2, SECONDS / 4096

    def peak(number):
        first, last = (min(frames, int((number + n) * bucket * 48000)) for n in (0, 1))
        return max((abs(value) for value in values[2 * first:2 * last]), default=0) / 32768

    def is_right(share, height):
        number = int((begin + share * (SECONDS - begin)) / bucket)
        peaks = [peak(n) for n in (number - 1, number, number + 1)]
        return max(1, int(MOST * min(peaks)) - 1) <= height <= max(1, int(MOST * max(peaks)) + 1)

    return is_right


def open_paused(play, name, **more):
    """A recording that stands still, without the pointer over its timeline."""
    window = play(name, environment={**LOGGED, **more})
    window.ask("move 5 5")
    window.pause()
    return window


@pytest.fixture
def window(play):
    """The recording with the tone."""
    return open_paused(play, "burst")


def test_it_is_loud_where_the_sound_is(window, media):
    window.seek("HOME")
    seen = wait_for_heights(window, heard(media, "burst"))
    # The tone, and the quiet before and after it, are far from each other.
    assert all(height > 12 for share, height in seen.items() if 0.43 < share < 0.74)
    assert all(height < 5 for share, height in seen.items() if not 0.41 < share < 0.76)


@pytest.mark.parametrize("own_source", ["1", "0"])
def test_a_fragmented_recording_has_its_own_in_its_place(play, own_source):
    window = open_paused(play, "burst-fragmented", VELKANTRIX_MP4SRC=own_source)
    # Such a file doesn't say how long the encoder's delay is, so it isn't compared sample by sample.
    wait_for_heights(window, lambda share, height: height > 12 if 0.43 < share < 0.74 else 0 < height < 5
                     or 0.41 < share < 0.76)


def test_it_is_that_of_what_is_left(window, media):
    window.seek("HOME")
    window.seek("RIGHT")  # 5 seconds
    window.forget()
    window.keys("S")
    window.wait_for_text("Split created")
    window.seek("LEFT")
    window.forget()
    window.mouse("click", 0.2, 70)
    window.keys("DELETE")
    window.wait_for_text("Clip removed — Ctrl+Z to undo")
    window.ask("move 5 5")
    window.keys("END")
    wait_for_heights(window, heard(media, "burst", begin=5))


def test_another_file_has_its_own(window, media):
    wait_for_heights(window, lambda share, height: height > 0)
    window.choose(media / "video-only.mp4")
    window.wait_for_title("video-only.mp4")
    wait_for_heights(window, lambda share, height: height == 0)
    window.choose(media / "burst-broken-off.mp4")
    window.wait_for_title("burst-broken-off.mp4")
    # It ends behind 7.7 seconds, in the midst of the tone that begins at 5.
    seen = wait_for_heights(window, lambda share, height: height > 12 if share > 0.7 else height > 0)
    assert all(height < 5 for share, height in seen.items() if share < 0.6)


def test_the_program_ends_while_it_listens(play):
    window = open_paused(play, "hour")

    def is_at_work():
        seen = heights(window)
        return max(seen.values()) > 0 and seen[max(seen)] == 0

    window.wait_for(is_at_work, "a waveform that has begun and not ended")
    assert window.close() == 0
