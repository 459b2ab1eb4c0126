"""The exposure: what is drawn, what is said, and what is found from a video's own brightness."""
import time

import pytest
from window import LOGGED, WM_EXITSIZEMOVE, pixel, screen

LIMIT = 2  # code values that the screen may differ from the formula


def shown(luma, exposure):
    """A grey picture's code value on the screen, of its luma from 16 to 235."""
    return 255 * ((luma - 16) / 219) ** (1 / 3 ** exposure)


def grey_on_screen(window):
    left, top, right, bottom = window.video()["rect"]
    seen = pixel(screen(), (left + right) // 2, (top + bottom) // 2)
    return seen[1] if max(seen) - min(seen) <= LIMIT else 0


def wait_for_grey(window, luma, exposure):
    wanted = shown(luma, exposure)

    def is_seen():
        window.post(WM_EXITSIZEMOVE)  # has a picture that stands still presented once more, as the rig needs it
        time.sleep(0.2)
        return abs(grey_on_screen(window) - wanted) <= LIMIT

    window.wait_for(is_seen,
                    lambda: f"{wanted} on the screen, where there is {grey_on_screen(window)}")


@pytest.fixture
def still(play):
    """A recording that stands still at its beginning."""

    def open_still(name, environment=LOGGED):
        window = play(name, environment=environment)
        window.pause()
        window.seek("HOME")
        window.wait_until_still()
        return window

    return open_still


@pytest.mark.parametrize("name,luma", [("dark", 60), ("grey", 105)])
def test_each_step_is_drawn_as_it_is_said(still, name, luma):
    window = still(name)
    wait_for_grey(window, luma, 0)
    for key, count, exposure in (("BRACKET6", 3, 0.3), ("BRACKET4", 6, -0.3)):
        window.keys(*[key] * count)
        window.wait_for_text(f"Exposure {exposure * 100:+.0f}%")
        wait_for_grey(window, luma, exposure)


def test_eleven_steps_stop_at_a_hundred_percent(still):
    window = still("grey")
    for _ in range(11):
        window.keys("BRACKET6")
    window.wait_for_text("Exposure +100%")
    wait_for_grey(window, 105, 1)
    for _ in range(22):
        window.keys("BRACKET4")
    window.wait_for_text("Exposure -100%")
    wait_for_grey(window, 105, -1)


def auto_fix(window):
    """From the menu, as the bar may be narrow."""
    window.open_menu("V")
    window.keys("A")
    window.wait_for_no_menu()


@pytest.mark.parametrize("name,luma,exposure", [("dark", 60, 0.3156), ("bright", 230, -0.6),
                                                ("dark-second", 60, 0.3156), ("dark-with-lights", 60, 0.1578)])
def test_a_video_s_own_brightness_is_put_right(still, name, luma, exposure):
    window = still(name)
    auto_fix(window)
    window.wait_for_text(f"Exposure {exposure * 100:+.0f}%")
    wait_for_grey(window, luma, exposure)
    window.open_menu("V")
    window.wait_for_item("&Reset exposure")
    window.keys("R")
    window.wait_for_text("Exposure reset")
    wait_for_grey(window, luma, 0)


@pytest.mark.parametrize("own_source", ["1", "0"])
def test_so_is_that_of_a_file_of_fragments_whoever_reads_it(still, own_source):
    window = still("dark-fragmented", environment={**LOGGED, "VELKANTRIX_MP4SRC": own_source})
    auto_fix(window)
    window.wait_for_text("Exposure +32%")
    wait_for_grey(window, 60, 0.3156)


def test_a_grey_video_is_as_it_should_be(still):
    window = still("grey")
    auto_fix(window)
    window.wait_for_text("Exposure reset")
    wait_for_grey(window, 105, 0)


def test_while_playing_it_is_drawn_too(play):
    window = play("grey", environment=LOGGED)
    window.keys("BRACKET6", "BRACKET6")
    window.wait_for_text("Exposure +20%")
    wanted = shown(105, 0.2)
    window.wait_for(lambda: abs(grey_on_screen(window) - wanted) <= LIMIT, f"{wanted} on the screen")
    assert window.ask("access")["children"][2]["name"] == "Pause"


def test_another_video_begins_without_one(still, media):
    window = still("grey")
    window.keys("BRACKET6")
    wait_for_grey(window, 105, 0.1)
    window.choose(media / "dark.mp4")
    window.wait_for_title("dark.mp4")
    wait_for_grey(window, 60, 0)
    window.open_menu("V")
    window.wait_for_item("&Reset exposure", enabled=False)
