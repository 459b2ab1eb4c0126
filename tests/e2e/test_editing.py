"""Cutting in the window: split, remove, undo and redo, and how what is left is played."""
import pytest
from window import LOGGED


def test_what_was_undone_is_redone_by_either_key(edited):
    for redo in ("CTRL+Y", "CTRL+SHIFT+Z"):
        edited.forget()
        edited.keys("CTRL+Z")
        edited.wait_for_text("Undid split — Ctrl+Y to redo")
        edited.forget()
        edited.keys(redo)
        edited.wait_for_text("Redid split")


def test_the_letter_alone_undoes_nothing(play):
    window = play("numbered-25-30-0", environment=LOGGED)
    window.pause()
    window.seek("RIGHT")
    window.keys("S")
    window.wait_for_text("Split created")
    before = window.place()
    window.keys("Z")
    window.wait_for(lambda: window.place() != before, "the video in another size")
    window.keys("CTRL+Z")
    window.wait_for_text("Undid split")


@pytest.fixture
def with_hole(paused):
    """What lies between 5 and 10 seconds is removed."""
    paused.seek("RIGHT")
    paused.seek("RIGHT")
    paused.keys("S")
    paused.wait_for_text("Split created")
    paused.seek("LEFT")
    paused.forget()
    paused.keys("S")  # the piece behind it, which is the middle one, is selected
    paused.wait_for_text("Split created")
    assert paused.seek("DELETE") == (10, 10)
    paused.wait_for_text("Clip removed — Ctrl+Z to undo")
    return paused


def removed_pictures(lines):
    return [line["tick"] for line in lines if 5.04 < float(line["tick"]) < 9.999]


def test_playing_from_the_cut_shows_nothing_of_what_was_removed(with_hole):
    with_hole.seek("HOME")
    before = len(with_hole.presents())
    frame, target = with_hole.seek("RIGHT")
    assert frame == pytest.approx(target, abs=1.25 / 30)
    with_hole.keys("SPACE")
    with_hole.wait_for(lambda: with_hole.time_on_screen() > 10.2, "the part behind it")
    assert not removed_pictures(with_hole.presents()[before:])


def test_playing_goes_over_what_was_removed(with_hole):
    with_hole.seek("HOME")
    before = len(with_hole.presents())
    with_hole.keys("SPACE")
    with_hole.wait_for(lambda: with_hole.time_on_screen() > 10.2, "the part behind it")
    lines = with_hole.presents()[before:]
    assert not removed_pictures(lines)
    assert any(float(line["tick"]) > 4.9 for line in lines if float(line["tick"]) < 5.04)
    assert [float(line["target"]) for line in lines if line["owner"] == "frozen"] == [10]
