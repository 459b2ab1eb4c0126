"""The menu of a clip: what it acts on, by mouse and by keys, and where there is none."""
import pytest
from window import PROMPT


def open_at(window, share):
    window.forget()
    window.mouse("rightclick", share)
    window.wait_for_menu()


def test_it_acts_on_the_clicked_clip_and_time(edited):
    open_at(edited, 8 / 12)
    edited.keys("E")  # trims the clip's end to here
    edited.wait_for_text("Clip 2 end trimmed to 00:08.0")
    edited.forget()
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid trim — Ctrl+Y to redo")
    open_at(edited, 7 / 12)
    edited.keys("T")
    edited.wait_for_text("Clip 2 start trimmed to 00:07.0")
    open_at(edited, 0.2)
    edited.keys("S")
    edited.wait_for_text("Split created")


def test_it_removes_the_clicked_clip_not_the_one_selected_before(edited):
    open_at(edited, 0.2)  # the right one is selected
    edited.keys("R")
    edited.wait_for_text("Clip removed — Ctrl+Z to undo")
    edited.wait_for(lambda: edited.length_of_first() == "00:07.000", "the right one, alone")
    edited.forget()
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid remove clip — Ctrl+Y to redo")


def test_it_names_the_clicked_clip(edited):
    open_at(edited, 0.2)
    edited.keys("N")
    edited.wait_for_text(PROMPT)
    field = edited.wait_for(lambda: edited.state()["children"].get("Edit"), "the field")
    assert field["rect"][2] <= edited.point(5 / 12)[0]
    edited.ask("type left one")
    edited.forget()
    edited.keys("ENTER")
    edited.wait_for_text("Clip renamed — Ctrl+Z to undo")
    edited.wait_for_text("left one")
    assert {"CLIP 1", "CLIP 2"} & set(edited.drawn()) == {"CLIP 2"}


@pytest.mark.parametrize("key", ["APPS", "SHIFT+F10"])
def test_keys_open_it_for_the_selected_clip_and_the_playhead(edited, key):
    assert edited.seek("RIGHT") == (10, 10)
    edited.keys(key)
    edited.wait_for_menu()
    edited.keys("T")
    edited.wait_for_text("Clip 2 start trimmed to 00:10.000 — Ctrl+Z to undo")
    edited.keys(key)
    edited.wait_for_menu()
    edited.keys("I")
    edited.wait_for_text("Fade in 1.0 s — renders on export (re-encode)")


def test_it_keeps_to_its_clip_while_the_video_plays_on(with_hole):
    with_hole.seek("HOME")
    with_hole.keys("SPACE")
    with_hole.wait_for(lambda: with_hole.time_on_screen() > 2, "two seconds")
    open_at(with_hole, 0.1)
    with_hole.wait_for(lambda: with_hole.time_on_screen() > 10.3, "the part behind the hole")
    with_hole.forget()
    with_hole.keys("R")
    with_hole.wait_for_text("Clip removed — Ctrl+Z to undo")
    with_hole.wait_for(lambda: with_hole.length_of_first() == "00:02.000", "the second clip, alone")


def test_there_is_none_over_the_video_the_bar_and_during_a_drag(edited):
    for child in (edited.video(), edited.transport()):
        left, top, right, bottom = child["rect"]
        edited.ask(f"rightclick {(left + right) // 2} {(top + bottom) // 2}")
        edited.settle()
        assert not edited.ask("menu")["menu"]
    edited.mouse("press", 5 / 12)
    edited.mouse("rightclick", 6 / 12)
    edited.mouse("move", 7 / 12)
    edited.wait_for_text("Cut 1–2  00:07.0")
    assert not edited.ask("menu")["menu"]
    edited.mouse("release", 7 / 12)
