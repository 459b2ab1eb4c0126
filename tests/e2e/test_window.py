"""The window: starting, opening, playing, and closing, by keys, mouse and messages."""
import shutil
import time

import conftest
import pytest
from window import HEIGHT, NO, OK, WIDTH, WS_OVERLAPPEDWINDOW, WS_POPUP, Window, YES, pixel, screen

CANNOT_OPEN = "Windows Media Foundation could not open this video."


@pytest.fixture
def start(tmp_path):
    """Starts the program, once or several times; what still runs in the end is ended."""
    windows = []

    def start_one(*arguments, **more):
        window = Window(tmp_path, *arguments, **more)
        windows.append(window)
        return window.__enter__()

    yield start_one
    for window in windows:
        window.__exit__()


@pytest.fixture
def play(start, media):
    """Starts the program with a recording and waits for its picture."""

    def start_playing(name="closed", **more):
        window = start(conftest.windows_path(media / f"{name}.mp4"), **more)
        window.wait_for(lambda: window.video()["visible"], "the picture")
        return window

    return start_playing


def middle(rect):
    return (rect[0] + rect[2]) // 2, (rect[1] + rect[3]) // 2


def assert_is_empty(window):
    window.wait_for_text("Cut the wait.")
    state = window.state()
    assert state["title"] == "Velkantrix"
    assert not state["children"]["Static"]["visible"]
    assert not state["children"]["VelkantrixTransport"]["visible"]
    assert window.box() is None


def test_without_a_file_the_window_is_empty_and_in_the_middle(start):
    window = start()
    assert_is_empty(window)
    left, top, right, bottom = window.state()["window"]
    assert (right - left, bottom - top) == (1320, 820)
    assert (left, top) == ((WIDTH - 1320) // 2, (HEIGHT - 820) // 2)
    for text in ("Open a video. Slice what you don't need. Export without losing a pixel.",
                 "Ctrl+O   ·   File ▸ Open video   ·   or drop a file anywhere in this window", "0 DEPS  ·  0 NET"):
        window.wait_for_text(text)
    assert window.close() == 0


def test_a_missing_file_and_a_folder_are_ignored(start, tmp_path):
    for path in (tmp_path / "missing.mp4", tmp_path):
        window = start(conftest.windows_path(path))
        assert_is_empty(window)
        assert window.close() == 0


def test_a_recording_is_played_from_the_command_line(play):
    window = play()
    assert window.state()["title"] == "closed.mp4 - Velkantrix"
    window.wait_for_text("Playing")
    assert window.transport()["visible"]
    assert window.close() == 0


def test_only_the_first_argument_counts(start, media):
    window = start(conftest.windows_path(media / "mono.mp4"), conftest.windows_path(media / "closed.mp4"))
    window.wait_for(lambda: window.video()["visible"], "the picture")
    assert window.state()["title"] == "mono.mp4 - Velkantrix"


def test_names_may_have_letters_of_all_the_world(start, media, tmp_path):
    name = "Ünïcode 映像 é.mp4"
    shutil.copy(media / "closed.mp4", tmp_path / name)
    window = start(conftest.windows_path(tmp_path / name))
    window.wait_for(lambda: window.video()["visible"], "the picture")
    assert window.state()["title"] == f"{name} - Velkantrix"


@pytest.mark.parametrize("name", ["text", "empty", "truncated", "audio-only"])
def test_what_is_no_video_is_reported_once(start, media, name):
    window = start(conftest.windows_path(media / f"{name}.mp4"))
    box = window.wait_for_box()
    assert box["title"] == "Velkantrix"
    assert box["texts"] == [CANNOT_OPEN]
    window.answer(OK)
    assert window.state()["title"] == "Velkantrix"
    assert not window.video()["visible"]
    assert window.close() == 0


def test_a_video_that_cannot_be_opened_leaves_nothing_of_the_one_before(play, media):
    window = play()
    window.drop(media / "text.mp4")
    window.wait_for_box()
    window.answer(OK)
    state = window.state()
    assert state["title"] == "Velkantrix"
    assert not state["children"]["Static"]["visible"]
    assert not state["children"]["VelkantrixTransport"]["visible"]


def test_a_recording_without_sound_plays(play):
    window = play("video-only")
    window.wait_for_text("Playing")


def test_the_window_takes_the_videos_size(play):
    window = play("large")  # 1280 x 720
    left, top, right, bottom = window.video()["rect"]
    assert (right - left, bottom - top) == (1280, 720)


def test_fullscreen_covers_the_screen_and_gives_the_window_back(play):
    window = play()
    before = window.state()
    window.keys("F11")
    window.wait_for(lambda: window.state()["window"] == [0, 0, WIDTH, HEIGHT], "fullscreen")
    state = window.state()
    assert state["style"] & WS_POPUP
    assert not state["style"] & WS_OVERLAPPEDWINDOW
    left, top, right, bottom = state["children"]["Static"]["rect"]
    assert (right - left, bottom - top) == (1920, 1080)
    window.keys("ESC")
    window.wait_for(lambda: window.state()["window"] == before["window"], "the window")
    after = window.state()
    assert after["style"] == before["style"]
    assert after["children"]["Static"]["rect"] == before["children"]["Static"]["rect"]


def test_without_a_video_there_is_no_fullscreen(start):
    window = start()
    before = window.state()["window"]
    window.keys("F11", "F")
    assert window.state()["window"] == before


def test_the_transport_bar_hides_in_fullscreen_until_the_mouse_moves(play):
    window = play()
    window.keys("F")
    window.wait_for(lambda: window.state()["window"] == [0, 0, WIDTH, HEIGHT], "fullscreen")
    window.wait_for(lambda: not window.transport()["visible"], "the bar to hide")
    window.ask("move 300 300")
    window.wait_for(lambda: window.transport()["visible"], "the bar")


def test_a_double_click_toggles_fullscreen_and_keeps_playing(play):
    window = play("large")
    x, y = middle(window.video()["rect"])
    window.ask(f"doubleclick {x} {y}")
    window.wait_for(lambda: window.state()["window"] == [0, 0, WIDTH, HEIGHT], "fullscreen")


def test_the_picture_is_on_screen(play):
    window = play()
    window.keys("SPACE")
    left, top, right, bottom = window.video()["rect"]
    pixels = screen()
    # The test picture's left third is red, its right end cyan.
    red = pixel(pixels, left + (right - left) // 20, (top + bottom) // 2)
    assert red[0] > 200 and red[1] < 80 and red[2] < 80, red


LOGGED = {"VELKANTRIX_PRESENTLOG": "1", "VELKANTRIX_ENGLOG": "1"}


@pytest.fixture
def paused(play):
    """A recording that stands still at its beginning, with a log."""
    window = play(environment=LOGGED)
    window.keys("SPACE")
    wait_until_still(window)
    seek(window, "HOME")
    return window


def wait_until_still(window):
    """Nothing is presented any more: for a quarter of a second, seven frames long."""
    while True:
        before = len(window.presents())
        time.sleep(0.25)
        if len(window.presents()) == before:
            return


def seek(window, key):
    """Presses the key; the time of the frame that the seek landed on, and the time asked for."""
    before = len(window.presents())
    window.keys(key)
    return window.wait_for_landing(before)


def test_space_pauses_and_plays_on(play):
    window = play(environment=LOGGED)
    window.keys("SPACE")
    wait_until_still(window)
    before = len(window.presents())
    window.keys("SPACE")
    window.wait_for(lambda: len(window.presents()) > before + 10, "frames")


def test_a_click_on_the_video_pauses(play):
    window = play(environment=LOGGED)
    x, y = middle(window.video()["rect"])
    window.ask(f"click {x} {y}")
    wait_until_still(window)


def test_keys_seek_to_the_frame_that_is_asked_for(paused):
    assert seek(paused, "RIGHT") == (5, 5)
    assert seek(paused, "RIGHT") == (10, 10)
    assert seek(paused, "LEFT") == (5, 5)
    frame, target = seek(paused, "END")
    assert target == 12
    assert frame == pytest.approx(12 - 1 / 30, abs=1e-3)
    assert seek(paused, "HOME") == (0, 0)
    assert seek(paused, "LEFT") == (0, 0)


def test_frame_steps_show_one_frame_after_the_other(paused):
    for number in range(1, 8):
        frame, _ = seek(paused, "PERIOD")
        assert frame == pytest.approx(number / 30, abs=1e-3)
    for number in range(6, 0, -1):
        frame, _ = seek(paused, "COMMA")
        assert frame == pytest.approx(number / 30, abs=1e-3)


def test_a_frame_step_pauses(play):
    window = play(environment=LOGGED)
    window.keys("PERIOD")
    wait_until_still(window)


def test_a_seek_while_playing_plays_on(play):
    window = play(environment=LOGGED)
    frame, target = seek(window, "RIGHT")
    assert abs(frame - target) <= 1.25 / 30
    before = len(window.presents())
    window.wait_for(lambda: len(window.presents()) > before + 10, "frames")


def test_play_at_the_end_starts_again(paused):
    seek(paused, "END")
    before = len(paused.presents())
    paused.keys("SPACE")
    _, target = paused.wait_for_landing(before)
    assert target == 0
    paused.wait_for(lambda: len(paused.presents()) > before + 10, "frames")


def test_it_pauses_at_the_end(play):
    window = play(environment=LOGGED)
    seek(window, "RIGHT")
    seek(window, "RIGHT")
    wait_until_still(window)
    assert float(window.presents()[-1]["tick"]) > 11.9


def wait_for_title(window, name):
    window.wait_for(lambda: window.state()["title"] == f"{name} - Velkantrix", f"the title of {name}")
    window.wait_for(lambda: window.video()["visible"], "the picture")


def test_the_dialog_opens_a_video(start, media):
    window = start()
    window.choose(media / "mono.mp4")
    wait_for_title(window, "mono.mp4")


def test_a_cancelled_dialog_opens_nothing(start):
    window = start()
    window.keys("CTRL+O")
    window.wait_for_box()
    time.sleep(0.3)
    window.keys("ESC")
    window.wait_for(lambda: window.box() is None, "the dialog to close")
    assert_is_empty(window)


def test_another_video_takes_the_place_of_the_first(play, media):
    window = play()
    window.choose(media / "mono.mp4")
    wait_for_title(window, "mono.mp4")


def test_of_several_dropped_files_the_first_is_opened(start, media):
    window = start()
    window.drop(media / "mono.mp4", media / "closed.mp4")
    wait_for_title(window, "mono.mp4")


def test_a_dropped_folder_is_no_video(start, tmp_path):
    window = start()
    window.drop(tmp_path)
    assert window.wait_for_box()["texts"] == [CANNOT_OPEN]
    window.answer(OK)


UNSAVED = "Your edits haven't been exported.\n\nOpen a new video without exporting?"
UNSAVED_AT_THE_END = "Your edits haven't been exported.\n\nClose without exporting?"


@pytest.fixture
def edited(play):
    """A recording with a cut in it."""
    window = play(environment=LOGGED)
    window.keys("SPACE")
    wait_until_still(window)
    seek(window, "RIGHT")
    window.keys("S")
    window.wait_for_text("Split created")
    return window


def test_unsaved_edits_are_kept_unless_the_answer_is_yes(edited, media):
    edited.drop(media / "mono.mp4")
    box = edited.wait_for_box()
    assert (box["title"], box["texts"]) == ("Velkantrix", [UNSAVED])
    assert sorted(box["buttons"]) == [YES, NO]
    assert box["focus"] == NO
    edited.answer(NO)
    assert edited.state()["title"] == "closed.mp4 - Velkantrix"
    edited.drop(media / "mono.mp4")
    edited.wait_for_box()
    edited.answer(YES)
    wait_for_title(edited, "mono.mp4")


def test_closing_with_unsaved_edits_asks(edited):
    edited.ask("post 16 0 0")
    box = edited.wait_for_box()
    assert (box["title"], box["texts"], box["focus"]) == ("Velkantrix", [UNSAVED_AT_THE_END], NO)
    edited.answer(NO)
    assert edited.state()["window"]
    edited.ask("post 16 0 0")
    edited.wait_for_box()
    edited.answer(YES)
    assert edited.ask("exit-code")["code"] == 0


def test_edits_that_were_undone_are_not_asked_about(edited):
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid split")
    assert edited.close() == 0


def test_a_file_that_vanishes_while_it_is_open_does_no_harm(start, media, tmp_path):
    shutil.copy(media / "closed.mp4", tmp_path / "short-lived.mp4")
    window = start(conftest.windows_path(tmp_path / "short-lived.mp4"), environment=LOGGED)
    window.wait_for(lambda: window.video()["visible"], "the picture")
    (tmp_path / "short-lived.mp4").unlink()
    window.keys("RIGHT", "LEFT", "SPACE", "END")
    time.sleep(0.5)
    window.drop(media / "mono.mp4")
    wait_for_title(window, "mono.mp4")
    assert window.close() == 0


def test_names_may_be_longer_than_the_old_limit(start, media, tmp_path):
    folder = tmp_path.joinpath(*["a folder with a long name, one of many" for _ in range(7)])
    folder.mkdir(parents=True)
    shutil.copy(media / "closed.mp4", folder / "long.mp4")
    assert len(str(folder)) > 260
    window = start(conftest.windows_path(folder / "long.mp4"))
    wait_for_title(window, "long.mp4")


def engine_events(window, number):
    log = window.folder / "engine.log"
    return log.read_text().count(f" ev={number} ") if log.exists() else 0


VOLUME_CHANGE = 22


@pytest.mark.parametrize("key", ["UP", "DOWN", "M"])
def test_keys_change_the_sound(paused, key):
    if key == "UP":
        paused.keys("DOWN", "DOWN")
        time.sleep(0.3)
    before = engine_events(paused, VOLUME_CHANGE)
    paused.keys(key)
    paused.wait_for(lambda: engine_events(paused, VOLUME_CHANGE) > before, "the engine's answer")


def size_of(rect):
    return rect[2] - rect[0], rect[3] - rect[1]


def test_zoom_doubles_the_video_and_halves_it_again(play):
    window = play("numbered-25-30-0")  # 640 x 360
    assert size_of(window.video()["rect"]) == (640, 360)
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (1280, 720), "twice the size")
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"]) == (640, 360), "its own size")


def test_a_minimised_window_comes_back_as_it_was(play):
    window = play()
    before = window.state()
    window.ask("minimise")
    window.wait_for(lambda: window.state()["iconic"], "the window to be minimised")
    window.ask("restore")
    window.wait_for(lambda: not window.state()["iconic"], "the window")
    after = window.state()
    assert (after["window"], after["children"]) == (before["window"], before["children"])


def test_the_window_has_a_least_size(start):
    window = start()
    window.ask("size 100 100")
    left, top, right, bottom = window.state()["window"]
    assert (right - left, bottom - top) == (820, 640)


WM_DPICHANGED = 0x02E0


def test_a_change_of_dpi_lays_the_window_out_anew(play):
    window = play()
    assert size_of(window.transport()["rect"])[1] == 62
    window.ask(f"post {WM_DPICHANGED} {144 << 16 | 144} 0")
    window.wait_for(lambda: size_of(window.transport()["rect"])[1] == 93, "the larger layout")


def test_logs_are_written_only_when_they_are_asked_for(start, media, tmp_path):
    for value in (None, "0", "12345678"):
        environment = {} if value is None else {"VELKANTRIX_ENGLOG": value, "VELKANTRIX_PRESENTLOG": value}
        window = start(conftest.windows_path(media / "closed.mp4"), environment=environment)
        window.wait_for(lambda: window.video()["visible"], "the picture")
        assert window.close() == 0
        assert not (tmp_path / "engine.log").exists()
        assert not (tmp_path / "present.log").exists()


def test_the_engines_log_has_its_events(play, tmp_path):
    window = play(environment={"VELKANTRIX_ENGLOG": "1"})
    assert window.close() == 0
    lines = (tmp_path / "engine.log").read_text().splitlines()
    assert lines[0].startswith("    0.000 ev=")
    assert any(" ev=10 " in line for line in lines)
    assert not (tmp_path / "present.log").exists()


def test_closing_while_playing_and_in_fullscreen(play):
    window = play()
    window.keys("F")
    assert window.close() == 0


def test_closing_at_once(start, media):
    window = start(conftest.windows_path(media / "closed.mp4"))
    assert window.close() == 0
