"""Where the window is and how large: fullscreen, zoom, minimised and maximised, scale."""
import pytest
from places import windows_path
from window import (HEIGHT, LOGGED, OK, WIDTH, WM_COMMAND, WM_DPICHANGED, WS_OVERLAPPEDWINDOW, WS_POPUP, size_of)

SCREEN = [0, 0, WIDTH, HEIGHT]
WORK_AREA = SCREEN  # there is no taskbar
VIDEO = 121  # the video's number; what it says of clicks:
STN_CLICKED, STN_DBLCLK = 0, 1


def zoomed(window):
    window.ask("maximise")
    window.wait_for(lambda: window.state()["zoomed"], "the window to be maximised")
    return window.state()


def assert_bar_is_above_picture(window):
    order = list(window.state()["children"])
    assert order.index("VelkantrixTransport") < order.index("Static")


def test_the_window_takes_the_videos_size(play):
    window = play("large")  # 1280 x 720
    assert size_of(window.video()["rect"]) == (1280, 720)
    assert_bar_is_above_picture(window)


def test_the_window_has_a_least_size(start):
    window = start()
    window.ask("size 100 100")
    window.wait_for(lambda: size_of(window.place()) == (820, 640), "the least size")


# ---- fullscreen -------------------------------------------------------------------------------------------


def test_fullscreen_covers_the_screen_and_gives_the_window_back(play):
    window = play()
    before = window.state()
    window.keys("F11")
    window.wait_for_fullscreen()
    state = window.state()
    assert state["style"] & WS_POPUP
    assert not state["style"] & WS_OVERLAPPEDWINDOW
    assert size_of(state["children"]["Static"]["rect"]) == (1920, 1080)
    assert_bar_is_above_picture(window)
    window.keys("ESC")
    window.wait_for_place(before["window"])
    after = window.state()
    assert after["style"] == before["style"]
    assert after["children"]["Static"]["rect"] == before["children"]["Static"]["rect"]


def test_without_a_video_there_is_no_fullscreen(start):
    window = start()
    before = window.place()
    for key in ("F11", "F"):
        window.keys(key, "CTRL+O")
        window.wait_for_box()  # by now the key before has been handled
        assert window.place() == before
        window.cancel_dialog()


def test_in_fullscreen_the_bar_hides_until_the_mouse_moves_and_resources_are_not_shown(play):
    window = play()
    window.keys("F")
    window.wait_for_fullscreen()
    window.wait_for(lambda: window.transport()["visible"], "the bar")
    window.forget()
    window.wait_for(lambda: not window.transport()["visible"], "the bar to hide")  # longer than they take to change
    assert not [text for text in window.drawn() if "RAM" in text]
    window.ask("move 300 300")
    window.wait_for(lambda: window.transport()["visible"], "the bar")
    window.wait_for(lambda: not window.transport()["visible"], "the bar to hide")
    window.keys("ESC")
    window.wait_for(lambda: window.transport()["visible"], "the bar")  # the mouse hasn't moved
    assert window.state()["style"] & WS_OVERLAPPEDWINDOW == WS_OVERLAPPEDWINDOW


def test_a_double_click_toggles_fullscreen_and_keeps_playing(play):
    window = play("large", environment=LOGGED)
    before = window.place()
    window.click_video("doubleclick")
    window.wait_for_fullscreen()
    window.wait_until_playing()
    window.click_video("doubleclick")
    window.wait_for_place(before)
    window.wait_until_playing()


def test_a_double_click_toggles_fullscreen_and_keeps_still(play):
    window = play("large", environment=LOGGED)
    before = window.place()
    time_of_picture = window.pause()
    window.click_video("doubleclick")
    window.wait_for_fullscreen()
    assert window.wait_until_still() == pytest.approx(time_of_picture, abs=1)
    window.click_video("doubleclick")
    window.wait_for_place(before)
    assert window.wait_until_still() == pytest.approx(time_of_picture, abs=2)


def test_a_double_click_at_the_end_keeps_still(paused):
    paused.seek("END")
    for notification in (STN_CLICKED, STN_DBLCLK):  # faster than the seek lands that the first one begins
        paused.post(WM_COMMAND, notification << 16 | VIDEO)
    paused.wait_for_fullscreen()
    place = paused.wait_until_still()
    assert paused.wait_until_still() == place  # not one that only had to begin


def test_another_video_dropped_in_fullscreen_covers_the_screen_too(play, media):
    window = play()
    before = window.place()
    window.keys("F11")
    window.wait_for_fullscreen()
    window.drop(media / "large.mp4")
    window.wait_for_title("large.mp4")
    assert window.place() == SCREEN
    assert size_of(window.video()["rect"]) == (1920, 1080)
    window.keys("ESC")
    window.wait_for_place(before)


def test_a_broken_file_dropped_in_fullscreen_leaves_it(play, media):
    window = play()
    before = window.place()
    window.keys("F")
    window.wait_for_fullscreen()
    window.drop(media / "text.mp4")
    window.wait_for_box()
    window.answer(OK)
    window.wait_for_place(before)
    window.forget()
    window.ask("move 300 300")
    window.ask("move 310 310")
    window.wait_for_text("RAM")  # a second's tick, and with it some of the bar's
    window.ask("size 1000 800")  # all is drawn anew
    window.assert_is_empty()


# ---- maximised, minimised ---------------------------------------------------------------------------------


def test_a_maximised_window_stays_so_whatever_is_opened(play, media):
    window = play()
    before = zoomed(window)
    window.drop(media / "numbered-25-30-0.mp4")
    window.wait_for_title("numbered-25-30-0.mp4")
    assert window.place() == before["window"]
    window.keys("Z", "F11")
    window.wait_for(lambda: window.state()["style"] & WS_POPUP, "fullscreen")
    assert window.place() == SCREEN
    window.keys("ESC")
    window.wait_for(lambda: not window.state()["style"] & WS_POPUP, "the window")
    window.wait_for_place(before["window"])
    assert window.state()["zoomed"]


def test_a_minimised_window_comes_back_as_it_was(play):
    window = play()
    before = window.state()
    window.ask("minimise")
    window.wait_for(lambda: window.state()["iconic"], "the window to be minimised")
    window.ask("restore")
    window.wait_for(lambda: not window.state()["iconic"], "the window")
    after = window.state()
    assert (after["window"], after["children"]) == (before["window"], before["children"])


def test_a_video_that_is_ready_while_minimised_gives_the_window_its_size_later(start, media):
    window = start(windows_path(media / "large.mp4"))
    window.ask("minimise")
    window.wait_for(lambda: window.state()["iconic"], "the window to be minimised")
    window.wait_for_title("large.mp4")
    window.ask("restore")
    window.wait_for(lambda: not window.state()["iconic"], "the window")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (1280, 720), "the video's size")
    left, top, right, bottom = window.place()
    assert 0 <= left < right <= WIDTH
    assert 0 <= top < bottom <= HEIGHT


# ---- zoom and scale ---------------------------------------------------------------------------------------


def test_zoom_doubles_the_video_and_halves_it_again(play):
    window = play("numbered-25-30-0")  # 640 x 360
    assert size_of(window.video()["rect"]) == (640, 360)
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (1280, 720), "twice the size")
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (640, 360), "its own size")


def test_zoom_ends_at_the_work_area(play):
    window = play("large")
    window.keys("Z")
    window.wait_for_place(WORK_AREA)
    state = window.state()
    left, top, right, bottom = state["children"]["Static"]["rect"]
    assert (right - left) * 720 == pytest.approx((bottom - top) * 1280, abs=1280)
    room = size_of(state["client"])[1] - 246
    assert bottom - top == room
    assert left - state["client"][0] == pytest.approx(state["client"][2] - right, abs=1)
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (1280, 720), "its own size")


def test_a_change_of_scale_lays_the_window_out_anew(play):
    window = play()
    assert size_of(window.transport()["rect"])[1] == 62
    window.post(WM_DPICHANGED, 144 << 16 | 144)
    window.wait_for(lambda: size_of(window.transport()["rect"])[1] == 93, "the larger layout")
