"""The timeline under the mouse: scrubbing, dragging cuts, the pointer's time and its shape, naming clips."""
import time

import pytest
from window import HEIGHT, PROMPT, WIDTH, WM_COMMAND

FULLSCREEN = 128  # a command


def wait_for_scrub(window, seconds):
    """The status says that the pointer is there, give or take a pixel."""

    def is_there():
        found = [text for text in window.drawn() if text.startswith("Scrubbing  00:")]
        return found and float(found[-1].removeprefix("Scrubbing  00:")) == pytest.approx(seconds, abs=0.04)

    window.wait_for(is_there, f"a scrub to {seconds} s")


def test_a_press_scrubs_and_a_release_lands(paused):
    before = len(paused.presents())
    paused.mouse("press", 0.5)
    wait_for_scrub(paused, 6)
    for share in (0.6, 0.7, 0.75):  # a hand moves the mouse many times
        time.sleep(0.05)
        paused.mouse("move", share)
    wait_for_scrub(paused, 9)
    paused.mouse("release", 0.75)
    frame, target = paused.wait_for_landing(before)
    assert target == pytest.approx(9, abs=0.04)
    assert frame == pytest.approx(target, abs=1.25 / 30)
    paused.wait_for_text("Ready")
    clip, count, position, total = paused.info()
    assert (clip, count, total) == (1, 1, 12)
    assert position == pytest.approx(9, abs=0.04)


def test_a_scrub_of_what_plays_plays_on(playing):
    before = len(playing.presents())
    playing.mouse("press", 0.5)
    wait_for_scrub(playing, 6)
    playing.mouse("release", 0.5)
    _, target = playing.wait_for_landing(before)
    assert target == pytest.approx(6, abs=0.04)
    playing.wait_until_playing()
    assert playing.time_on_screen() > 6


def test_escape_ends_a_scrub_where_it_is(paused):
    before = len(paused.presents())
    paused.mouse("press", 0.5)
    wait_for_scrub(paused, 6)
    paused.keys("ESC")
    paused.wait_for_text("Ready")
    _, target = paused.wait_for_landing(before)
    assert target == pytest.approx(6, abs=0.04)
    paused.mouse("release", 0.75)
    assert paused.wait_until_still() == pytest.approx(6, abs=0.05)


def test_a_cut_is_dragged_and_follows_at_once_from_its_limit(edited):
    edited.mouse("press", 5 / 12)
    edited.wait_for_text("Cut 1–2 — drag to move   ·   ← → 5 s   ·   , . frame   ·   Esc done")
    edited.forget()
    edited.mouse("move", 7 / 12)
    edited.wait_for_text("Cut 1–2  00:07.0")
    edited.forget()
    edited.mouse("move", 1.5)  # far behind the end: the right clip keeps a tenth of a second
    edited.wait_for_text("Cut 1–2  00:11.900")
    edited.forget()
    edited.mouse("move", 1.5 - 1 / 12)
    edited.wait_for_text("Cut 1–2  00:10.9")
    edited.forget()
    edited.mouse("release", 1.5 - 1 / 12)
    edited.wait_for_text("Cut 1–2  00:10.9")
    edited.forget()
    edited.keys("CTRL+Z")  # all of it was one step
    edited.wait_for_text("Undid roll cut — Ctrl+Y to redo")
    edited.wait_for(lambda: edited.length_of_first() == "00:05.000", "the cut in its old place")


def test_a_selected_cut_is_nudged_by_keys(edited):
    edited.mouse("press", 5 / 12)
    edited.mouse("release", 5 / 12)
    edited.forget()
    edited.keys("LEFT")
    edited.wait_for_text("Cut 1–2  00:00.100")
    edited.forget()
    edited.keys("RIGHT")
    edited.wait_for_text("Cut 1–2  00:05.100")
    edited.forget()
    edited.keys("PERIOD")
    edited.wait_for_text("Cut 1–2  00:05.133")
    edited.forget()
    edited.keys("ESC")
    edited.wait_for_text("Ready")


def test_removing_during_a_drag_ends_the_drag(edited):
    edited.mouse("press", 5 / 12)
    edited.mouse("move", 7 / 12)
    edited.wait_for_text("Cut 1–2  00:07.0")
    edited.post(0x111, 104)
    edited.wait_for_text("Clip removed — Ctrl+Z to undo")
    edited.forget()
    edited.mouse("move", 0.2)
    edited.mouse("release", 0.2)
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid remove clip — Ctrl+Y to redo")
    edited.wait_for(lambda: edited.length_of_first().startswith("00:07.0"), "the clips as the drag left them")


def test_the_pointers_time_is_shown(paused):
    paused.forget()
    paused.mouse("move", 0.5)
    paused.wait_for(lambda: any(text.startswith("00:06.0") for text in paused.drawn()), "the time")
    left, top, _, _ = paused.track()
    paused.ask(f"move {left + 5} {top - 60}")
    paused.wait_for_text("0 NET")
    paused.forget()
    paused.keys("M")  # paints nothing of the timeline by itself
    paused.post(0x111, 127)
    paused.wait_for_text("0 NET")
    assert not any(text.startswith("00:06.0") for text in paused.drawn())


def test_the_pointers_time_is_that_of_what_is_left(with_hole):
    with_hole.forget()
    with_hole.mouse("move", 6 / 7)
    times = ("00:05.99", "00:06.00")
    with_hole.wait_for(lambda: any(text.startswith(times) for text in with_hole.drawn()), "the time")


def test_the_cursor_shows_where_a_cut_can_be_dragged(edited):
    def cursor():
        return edited.ask("cursor")["cursor"]

    edited.mouse("move", 0.2)
    edited.settle()
    arrow = cursor()
    edited.mouse("move", 5 / 12)
    edited.wait_for(lambda: cursor() != arrow, "another cursor")
    sizing = cursor()
    edited.mouse("move", 0.8)
    edited.wait_for(lambda: cursor() == arrow, "the arrow")
    edited.mouse("press", 5 / 12)
    edited.mouse("move", 0.6)
    edited.wait_for(lambda: cursor() == sizing, "the cursor of a drag, away from the cut's old place")
    edited.mouse("release", 0.6)
    left, top, right, bottom = edited.video()["rect"]
    edited.ask(f"move {(left + right) // 2} {(top + bottom) // 2}")
    edited.wait_for(lambda: cursor() == arrow, "the arrow over the video")


def test_escape_ends_a_drag_and_then_the_selection_of_the_cut(edited):
    edited.mouse("press", 5 / 12)
    edited.mouse("move", 7 / 12)
    edited.wait_for_text("Cut 1–2  00:07.0")
    edited.forget()
    edited.keys("ESC")
    edited.mouse("move", 9 / 12)
    edited.wait_for(lambda: edited.length_of_first().startswith("00:0"), "the clips")
    edited.settle()
    assert edited.length_of_first().startswith("00:07.0")
    edited.mouse("release", 9 / 12)
    assert "Ready" not in edited.drawn()
    edited.keys("ESC")
    edited.wait_for_text("Ready")
    edited.seek("RIGHT")  # not a nudge any more
    assert edited.length_of_first().startswith("00:07.0")


def test_escape_gives_up_a_cut_before_fullscreen(edited):
    before = edited.place()
    edited.mouse("click", 5 / 12)
    edited.wait_for_text("Cut 1–2  00:05.000")
    edited.keys("F11")
    edited.wait_for_fullscreen()
    edited.keys("ESC")
    edited.wait_until_still()
    assert edited.seek("RIGHT") == (10, 10)  # with a cut selected it would be moved
    edited.wait_for_fullscreen()
    edited.keys("ESC")
    edited.wait_for_place(before)
    edited.wait_for(lambda: edited.length_of_first() == "00:05.000", "the cut in its place")


def test_fullscreen_during_a_scrub_keeps_the_place(paused):
    paused.mouse("press", 0.5)
    wait_for_scrub(paused, 6)
    paused.post(WM_COMMAND, FULLSCREEN)
    paused.wait_for_fullscreen()
    before = len(paused.presents())
    paused.ask("release 900 500")
    paused.settle()
    assert paused.wait_until_still() == pytest.approx(6, abs=0.05)
    paused.keys("ESC")
    paused.wait_for(lambda: paused.place() != [0, 0, WIDTH, HEIGHT], "the window")
    assert paused.wait_until_still() == pytest.approx(6, abs=0.05)
    assert all(float(line["target"]) > 5.9 for line in paused.landings(before))


# Names


RENAMED = "Clip renamed — Ctrl+Z to undo"


def rename(window, name, key):
    window.wait_for_text(PROMPT)
    window.wait_for(lambda: "Edit" in window.state()["children"], "the field")
    window.ask(f"type {name}")
    window.keys(key)


def test_a_clip_is_named(edited):
    edited.keys("F2")
    rename(edited, "Goal & shot", "ENTER")
    edited.wait_for_text(RENAMED)
    edited.wait_for_text("Goal & shot")
    assert "Edit" not in edited.state()["children"]
    edited.forget()
    edited.keys("F2")
    edited.wait_for_text(PROMPT)
    edited.keys("DELETE", "ENTER")  # all of the name is selected
    edited.wait_for_text("Clip name cleared")
    for _ in range(2):
        edited.forget()
        edited.keys("CTRL+Z")
        edited.wait_for_text("Undid rename — Ctrl+Y to redo")


def test_keys_are_the_fields_own_while_it_is_open(edited):
    edited.keys("F2")
    edited.wait_for_text(PROMPT)
    edited.wait_for(lambda: "Edit" in edited.state()["children"], "the field")
    edited.forget()
    edited.ask("type SZM")
    edited.keys("SPACE", "ENTER")
    edited.wait_for_text(RENAMED)
    edited.wait_for(lambda: "SZM" in edited.drawn(), "the name, without the blank")
    assert "Split created" not in edited.drawn()


def test_escape_keeps_the_old_name(edited):
    edited.keys("F2")
    rename(edited, "never", "ESC")
    edited.wait_for(lambda: "Edit" not in edited.state()["children"], "the field to go")
    edited.forget()
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid split — Ctrl+Y to redo")


def test_tab_names_the_next_clip_and_shift_tab_the_one_before(edited):
    edited.keys("F2")  # the right one is selected
    rename(edited, "second", "TAB")
    edited.wait_for(lambda: edited.drawn().count(PROMPT) >= 2, "the next field")
    edited.wait_for(lambda: "Edit" in edited.state()["children"], "the next field")
    edited.ask("type first")
    edited.forget()
    edited.keys("SHIFT+TAB")
    edited.wait_for_text(PROMPT)
    assert edited.child("Edit")["text"] == "second"
    edited.keys("ESC")
    edited.wait_for_text("first")


def test_a_press_on_the_label_names_and_one_elsewhere_keeps_what_was_typed(edited):
    edited.mouse("click", 5 / 12 + 0.03, 14)
    rename(edited, "clicked", "A")
    edited.mouse("click", 0.1, 70)
    edited.wait_for_text("clickeda")
    assert "Edit" not in edited.state()["children"]
