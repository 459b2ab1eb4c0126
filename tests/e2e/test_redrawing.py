"""When the picture is drawn again: the first one, after changes of the window, and of the device."""
import pytest
from window import LOADED_METADATA, SEEKING, WM_DPICHANGED, WM_EXITSIZEMOVE, pixel, screen

WM_PLAYBACK_NOTIFY = 0x8001
PLAYBACK_DEVICE_LOST = 4
SIZES = 20  # of a burst


def is_red(colour):
    return colour[0] > 200 and colour[1] < 80 and colour[2] < 80


def test_the_picture_is_on_screen(play):
    window = play()
    left, top, right, bottom = window.video()["rect"]
    # The test picture's left end is red.
    place = left + (right - left) // 20, (top + bottom) // 2
    window.wait_for(lambda: is_red(pixel(screen(), *place)), "red on the screen")


def test_the_first_picture_is_the_engines_own(playing):
    playing.wait_until_playing()
    assert playing.presents()[0]["owner"] == "engine"
    assert playing.landings() == []


# ---- the window's size ------------------------------------------------------------------------------------


@pytest.fixture
def at_five(paused):
    assert paused.seek("RIGHT") == (5, 5)
    paused.wait_until_still()
    return paused


def test_another_size_draws_the_picture_that_stands_still(at_five):
    before = len(at_five.presents())
    at_five.ask("size 1000 800")
    assert at_five.wait_for_landing(before) == (5, 5)


def test_many_sizes_in_a_row_seek_now_and_then_and_at_their_end(at_five):
    seeks = at_five.engine_events(SEEKING)
    at_five.ask(f"size 900 700 {SIZES}")
    at_five.wait_for(lambda: at_five.place()[2] - at_five.place()[0] == 900 + SIZES - 1, "the last size")
    at_five.wait_until_still()
    assert 1 <= at_five.engine_events(SEEKING) - seeks <= SIZES // 2
    before = len(at_five.presents())
    at_five.post(WM_EXITSIZEMOVE)
    assert at_five.wait_for_landing(before) == (5, 5)


def test_minimising_draws_nothing(at_five):
    before = len(at_five.presents())
    at_five.ask("minimise")
    at_five.wait_for(lambda: at_five.state()["iconic"], "the window to be minimised")
    at_five.wait_until_still()
    assert len(at_five.presents()) == before


def test_sizes_do_not_disturb_what_plays(playing):
    before = len(playing.presents())
    for width in (900, 1000, 1100):
        playing.ask(f"size {width} 800")
        playing.wait_for(lambda w=width: playing.place()[2] - playing.place()[0] == w, "the size")
        playing.wait_until_playing()
    assert playing.landings(before) == []


def test_another_scale_draws_the_picture_that_stands_still(at_five):
    before = len(at_five.presents())
    at_five.post(WM_DPICHANGED, 144 << 16 | 144)
    at_five.wait_for(lambda: len(at_five.presents()) > before, "the picture in its new place")


# ---- the device -------------------------------------------------------------------------------------------


def lose_device(window):
    """Says that the device is lost, as the presenter does. Gives how much had been presented by then."""
    before = len(window.presents())
    window.post(WM_PLAYBACK_NOTIFY, PLAYBACK_DEVICE_LOST)
    return before


def test_after_a_lost_device_the_same_picture_stands_still(at_five):
    opened = at_five.engine_events(LOADED_METADATA)
    before = lose_device(at_five)
    assert at_five.wait_for_landing(before) == (5, 5)
    assert at_five.engine_events(LOADED_METADATA) == opened + 1
    at_five.wait_for_picture()
    assert at_five.wait_until_still() == 5


def test_after_a_lost_device_it_plays_on_from_there(playing):
    playing.wait_for(lambda: playing.time_on_screen() > 2, "two seconds")
    seen = playing.time_on_screen()
    before = lose_device(playing)
    frame, target = playing.wait_for_landing(before)
    assert seen - 0.2 < target < 11  # the window's clock is a little behind the picture
    assert abs(frame - target) <= 1.25 / 30 + 0.001
    playing.wait_for_picture()
    playing.wait_until_playing()
