"""The timeline under the mouse: scrubbing, dragging cuts, the pointer's time, naming clips, the clip's menu."""
import time

import pytest


def length_of_first(window):
    """The length of the first clip as it is written last."""
    window.wait_for(lambda: "CLIP 1" in window.drawn(), "the first clip")
    texts = window.drawn()
    last = len(texts) - 1 - texts[::-1].index("CLIP 1")
    return texts[last + 1]


def info(window):
    """The last text of where the playhead is."""
    found = [text for text in window.drawn() if text.startswith("Clip ") and "·" in text]
    return found[-1] if found else ""


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
    paused.wait_for(lambda: info(paused).startswith("Clip 1/1  ·  00:0"), "the place")


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
    edited.wait_for(lambda: length_of_first(edited) == "00:05.000", "the cut in its old place")


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
    edited.wait_for(lambda: length_of_first(edited).startswith("00:07.0"), "the clips as the drag left them")


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


# Names


PROMPT = "Type a clip name — Enter saves, Tab next clip, Esc cancels"
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
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid rename — Ctrl+Y to redo")


def test_keys_are_the_fields_own_while_it_is_open(edited):
    edited.keys("F2")
    rename(edited, "SZM", "SPACE")
    edited.keys("ENTER")
    edited.wait_for_text(RENAMED)
    edited.wait_for(lambda: "SZM" in edited.drawn(), "the name, without the blank")
    assert "Split created" not in edited.drawn()[-6:]


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


# The clip's menu


def test_the_clips_menu_acts_on_the_clicked_clip_and_time(edited):
    edited.mouse("rightclick", 8 / 12)
    edited.wait_for(lambda: edited.ask("menu")["menu"], "the menu")
    edited.keys("E")  # trims the clip's end to here
    edited.wait_for_text("Clip 2 end trimmed to 00:08.0")
    edited.forget()
    edited.mouse("rightclick", 0.2)
    edited.wait_for(lambda: edited.ask("menu")["menu"], "the menu")
    edited.keys("S")
    edited.wait_for_text("Split created")


def test_a_command_of_the_clips_menu_is_carried_out(edited):
    edited.mouse("rightclick", 0.2)
    edited.wait_for(lambda: edited.ask("menu")["menu"], "the menu")
    edited.keys("R")
    edited.wait_for_text("Clip removed — Ctrl+Z to undo")


def test_the_key_for_menus_opens_that_of_the_selected_clip(edited):
    edited.keys("APPS")
    edited.wait_for(lambda: edited.ask("menu")["menu"], "the menu")
    edited.keys("I")
    edited.wait_for_text("1.0 s")
