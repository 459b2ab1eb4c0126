"""The menu bar, by its letters: what its items say, which of them can be chosen, and what they do."""
import shutil

import pytest
from places import windows_path
from window import CANCELLED, COMPLETE, OK, PROMPT, VOLUME_CHANGE, WS_OVERLAPPEDWINDOW



def choose(window, menu, letter, said):
    """Chooses an item of a menu; what is then said."""
    window.open_menu(menu)
    window.forget()
    window.keys(letter)
    window.wait_for_no_menu()
    window.wait_for_text(said)


def assert_items(window, menu, enabled, greyed):
    """Opens a menu and looks at its items. The mark is moved off the first, where it hides whether it is greyed."""
    window.open_menu(menu)
    window.keys("DOWN")
    for text in enabled:
        window.wait_for_item(text)
    for text in greyed:
        window.wait_for_item(text, enabled=False)


def close_menu(window):
    window.keys("ESC", "ESC")
    window.wait_for_no_menu()


def test_the_edit_menu_cuts_and_takes_back(edited):
    choose(edited, "E", "N", PROMPT)
    edited.keys("ESC")
    choose(edited, "E", "I", "Fade in 1.0 s — renders on export (re-encode)")
    edited.open_menu("E")
    edited.keys("UP", "ENTER")  # the last item: U alone is the first one's letter as well
    edited.wait_for_text("Fade out 1.0 s — renders on export (re-encode)")
    choose(edited, "E", "U", "Undid fade out — Ctrl+Y to redo")
    choose(edited, "E", "U", "Undid fade in — Ctrl+Y to redo")
    choose(edited, "E", "R", "Redid fade in")
    choose(edited, "E", "M", "Clip removed — Ctrl+Z to undo")
    choose(edited, "E", "U", "Undid remove clip — Ctrl+Y to redo")


def test_the_edit_menu_splits_and_names_the_steps(paused):
    paused.seek("RIGHT")
    assert_items(paused, "E", ["&Split at playhead", "Re&name clip", "Toggle fade &in on selected clip"],
                 ["&Undo", "&Redo", "Re&move selected clip"])
    close_menu(paused)
    choose(paused, "E", "S", "Split created")
    assert_items(paused, "E", ["&Undo split", "Re&move selected clip"], ["&Redo"])
    close_menu(paused)
    choose(paused, "E", "U", "Undid split — Ctrl+Y to redo")
    assert_items(paused, "E", ["&Redo split"], ["&Undo", "Re&move selected clip"])
    close_menu(paused)


def test_a_clip_with_little_more_than_its_fade_is_too_short_for_another(edited):
    before = len(edited.presents())
    edited.mouse("click", 6.03 / 12)
    edited.wait_for_landing(before)
    edited.forget()
    edited.keys("S")
    edited.wait_for_text("Split created")
    before = len(edited.presents())
    edited.mouse("click", 5.5 / 12)  # selects the middle one
    edited.wait_for_landing(before)
    choose(edited, "E", "I", "Fade in 1.0 s — renders on export (re-encode)")
    edited.open_menu("E")
    edited.keys("UP", "ENTER")
    edited.wait_for_text("This clip is too short to fade")
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid fade in — Ctrl+Y to redo")


def test_the_view_menu(paused):
    before = paused.place()
    paused.open_menu("V")
    paused.keys("F")
    paused.wait_for_fullscreen()
    paused.keys("ESC")
    paused.wait_for_place(before)
    assert paused.state()["style"] & WS_OVERLAPPEDWINDOW == WS_OVERLAPPEDWINDOW
    changes = paused.engine_events(VOLUME_CHANGE)
    paused.open_menu("V")
    paused.keys("M")
    paused.wait_for(lambda: paused.engine_events(VOLUME_CHANGE) > changes, "the engine's answer")


def test_without_a_video_there_is_little_to_choose(start):
    window = start()
    window.assert_is_empty()
    assert_items(window, "F", ["&Open video…", "E&xit"],
                 ["&Save (replace original)", "Export &As…", "&Optimise for editing (rebuild index)",
                  "Show &last export in Explorer"])
    close_menu(window)
    assert_items(window, "V", ["&Mute"], ["&Fullscreen", "&Auto-fix exposure", "&Reset exposure"])
    close_menu(window)
    window.open_menu("F")
    window.keys("X")
    assert window.exit_code() == 0


def open_settings(window):
    window.open_menu("F")
    window.keys("DOWN", "DOWN", "DOWN", "DOWN", "RIGHT")
    window.wait_for(lambda: "Separate &clips" in window.menu_items(), "the settings")


def test_separate_clips_are_chosen_by_menu(edited, tmp_path):
    open_settings(edited)
    edited.keys("C")
    edited.wait_for_no_menu()
    edited.open_menu("F")
    edited.keys("A")
    edited.wait_for_dialog()
    box = edited.box()
    assert box["choices"] == []  # of files there would be types
    assert box["title"] == "Choose clip output folder"
    edited.cancel_dialog()


def test_while_an_export_runs_menus_offer_to_cancel_it(hour, tmp_path):
    hour.export_to(tmp_path / "out.mp4")
    hour.wait_for_no_box()
    assert_items(hour, "F", ["&Open video…", "Cancel &export", "E&xit"],
                 ["&Save (replace original)", "&Optimise for editing (rebuild index)",
                  "Show &last export in Explorer"])
    close_menu(hour)
    assert_items(hour, "E", [], ["&Undo split", "&Split at playhead", "Re&move selected clip", "Re&name clip",
                                 "Toggle fade &in on selected clip"])
    close_menu(hour)
    open_settings(hour)
    hour.keys("DOWN")
    for text in ("One &joined file", "Separate &clips", "&Lossless — cuts snap to keyframes"):
        hour.wait_for_item(text, enabled=False)
    hour.keys("ESC")
    close_menu(hour)
    hour.open_menu("F")
    assert COMPLETE not in hour.drawn()
    hour.keys("E")
    hour.wait_for_text(CANCELLED)


# Recent files


def open_recents(window):
    window.open_menu("F")
    window.keys("R")
    window.wait_for(lambda: {"&Clear list", "(no recent videos)"} & set(window.menu_items()), "the recent files")


def recents(window):
    """The recent files' letters and names."""
    items = [text for text in window.menu_items() if text[0] == "&" and text[1].isdigit()]
    return {text[:2]: text.rsplit("\\", 1)[-1] for text in items}


@pytest.fixture
def two_recents(start, media, tmp_path):
    """one.mp4 was opened first, and R & D.mp4 then."""
    for name in ("one.mp4", "R & D.mp4"):
        shutil.copy(media / "closed.mp4", tmp_path / name)
    window = start(windows_path(tmp_path / "one.mp4"))
    window.wait_for_picture()
    window.drop(tmp_path / "R & D.mp4")
    window.wait_for_title("R & D.mp4")
    return window


def test_a_recent_file_is_opened_again(two_recents):
    open_recents(two_recents)
    assert recents(two_recents) == {"&1": "R && D.mp4", "&2": "one.mp4"}
    two_recents.keys("2")
    two_recents.wait_for_title("one.mp4")
    open_recents(two_recents)
    assert recents(two_recents) == {"&1": "one.mp4", "&2": "R && D.mp4"}
    close_menu_of_recents(two_recents)


def close_menu_of_recents(window):
    window.keys("ESC")
    close_menu(window)


def test_a_recent_file_that_is_gone_is_taken_off_the_list(two_recents, tmp_path):
    (tmp_path / "one.mp4").unlink()
    open_recents(two_recents)
    two_recents.keys("2")
    box = two_recents.wait_for_box()
    assert box["title"] == "Velkantrix"
    assert box["texts"] == [windows_path(tmp_path / "one.mp4") + "\n\nThis file no longer exists."]
    two_recents.answer(OK)
    assert two_recents.state()["title"] == "R & D.mp4 - Velkantrix"
    open_recents(two_recents)
    assert recents(two_recents) == {"&1": "R && D.mp4"}
    two_recents.keys("C")
    two_recents.wait_for_no_menu()
    open_recents(two_recents)
    two_recents.keys("DOWN")
    assert recents(two_recents) == {}
    assert "(no recent videos)" in two_recents.menu_items()
    close_menu_of_recents(two_recents)
