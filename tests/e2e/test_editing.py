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
    with_hole.wait_for(lambda: (with_hole.info() or [0])[0] == 2, "the second clip, selected")


def test_playing_ends_where_the_rest_was_removed(edited):
    assert edited.seek("DELETE") == (0, 0)
    edited.seek("HOME")
    edited.keys("SPACE")
    edited.wait_until_playing()
    assert 4.9 < edited.play_to(5) < 5.04


def test_keys_go_by_what_is_left(with_hole):
    with_hole.seek("END")
    assert with_hole.seek("LEFT")[1] == 2  # 7 of kept time less 5, over the hole
    before = len(with_hole.presents())
    with_hole.mouse("click", 1 / 7)
    _, place = with_hole.wait_for_landing(before)
    assert place == pytest.approx(1, abs=0.02)
    assert with_hole.seek("RIGHT")[1] == pytest.approx(place + 10, abs=1e-3)


def test_a_step_over_a_hole_shows_the_first_picture_behind_it(with_hole):
    assert with_hole.seek("HOME") == (0, 0)
    assert with_hole.seek("RIGHT") == (10, 10)  # where the two clips meet
    frame, _ = with_hole.seek("COMMA")
    assert frame == pytest.approx(5 - 1 / 30, abs=1e-3)
    frame, _ = with_hole.seek("PERIOD")
    assert frame == pytest.approx(10, abs=1e-3)


def test_the_ends_are_those_of_what_is_left(edited):
    assert edited.seek("RIGHT") == (10, 10)
    edited.forget()
    edited.keys("S")
    edited.wait_for_text("Split created")
    edited.seek("DELETE")  # what is behind 10 seconds, selected by the split
    edited.seek("HOME")  # selects the first clip
    assert edited.seek("DELETE") == (5, 5)
    assert edited.seek("END")[1] == 10
    assert edited.seek("HOME") == (5, 5)
