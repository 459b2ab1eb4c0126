"""The window's program: how it starts, what it is given to open, how it ends."""
import re
import shutil
import struct
import subprocess

import pytest
from places import ROOT, windows_path
from window import HEIGHT, LOGGED, NO, OK, UNSAVED_AT_THE_END, WIDTH, WM_CLOSE, WM_COMMAND, YES

COMMAND_EXIT = 107
SW_SHOWMAXIMIZED = 3


def test_without_a_file_the_window_is_empty_and_in_the_middle(start):
    window = start()
    window.assert_is_empty()
    left, top, right, bottom = window.place()
    assert (right - left, bottom - top) == (1320, 820)
    assert (left, top) == ((WIDTH - 1320) // 2, (HEIGHT - 820) // 2)
    for text in ("Open a video. Slice what you don't need. Export without losing a pixel.",
                 "Ctrl+O   ·   File ▸ Open video   ·   or drop a file anywhere in this window",
                 "0 DEPS  ·  0 NET"):
        window.wait_for_text(text)
    assert window.close() == 0


def test_a_missing_file_and_a_folder_are_ignored(start, media, tmp_path):
    for path in (tmp_path / "missing.mp4", tmp_path):
        window = start(windows_path(path), windows_path(media / "closed.mp4"))
        window.assert_is_empty()
        window.settle()
        window.assert_shows_nothing()
        assert window.close() == 0


def test_a_recording_is_played_from_the_command_line(play):
    window = play()
    assert window.state()["title"] == "closed.mp4 - Velkantrix"
    window.wait_for_text("Playing")
    assert window.transport()["visible"]
    assert window.close() == 0


def test_only_the_first_argument_counts(start, media):
    window = start(windows_path(media / "mono.mp4"), windows_path(media / "closed.mp4"))
    window.wait_for_picture()
    assert window.state()["title"] == "mono.mp4 - Velkantrix"


@pytest.mark.parametrize("name", ["Ünïcode 映像 é.mp4", "50%25 off #1 & more.mp4"])
def test_names_may_have_any_letters(start, media, tmp_path, name):
    shutil.copy(media / "closed.mp4", tmp_path / name)
    window = start(windows_path(tmp_path / name), environment=LOGGED)
    window.wait_for_title(name)
    window.wait_until_playing()


def test_names_may_be_longer_than_the_old_limit(start, media, tmp_path):
    folder = tmp_path.joinpath(*["a folder with a long name, one of many" for _ in range(7)])
    folder.mkdir(parents=True)
    shutil.copy(media / "closed.mp4", folder / "long.mp4")
    assert len(str(folder)) > 260
    window = start(windows_path(folder / "long.mp4"))
    window.wait_for_title("long.mp4")


def test_the_children_are_known_to_the_system(start):
    children = start().state()["children"]
    video = children["Static"]
    assert (video["text"], video["id"], video["visible"]) == ("Video preview", 121, False)
    assert not children["VelkantrixTransport"]["visible"]


def test_a_system_without_media_features_is_told_what_to_install(start, media):
    window = start(windows_path(media / "closed.mp4"), environment={"WINEDLLOVERRIDES": "mfplat="})
    box = window.wait_for_box()
    assert (box["title"], box["count"]) == ("Velkantrix", 1)
    assert "Media Feature Pack" in box["texts"][0]
    window.answer(OK)
    window.settle()
    window.assert_is_empty()
    assert window.close() == 0


def test_the_window_is_shown_as_the_program_was_asked_to(play):
    state = play(environment={"DRIVE_WINDOW_SHOW": str(SW_SHOWMAXIMIZED)}).state()
    assert state["zoomed"]
    assert state["dpi_per_monitor"]


def test_the_window_bears_the_programs_icon(start):
    pictures = subprocess.run(["ffmpeg", "-v", "error", "-i", str(ROOT / "app" / "velkantrix.ico"), "-map", "0:v:3",
                               "-f", "rawvideo", "-pix_fmt", "bgra", "-"], check=True, capture_output=True)
    picture = list(struct.unpack(f"<{32 * 32}I", pictures.stdout))
    window = start()
    words = ["xprop", "-notype", "-len", "1000000", "-id", window.number_on_screen(), "32c", "_NET_WM_ICON"]

    def bears_it():
        shown = subprocess.run(words, check=True, capture_output=True, text=True).stdout
        numbers = [int(number) for number in re.findall(r"\b\d+\b", shown.partition("=")[2])]
        return any(numbers[at:at + 2] == [32, 32] and numbers[at + 2:at + 2 + len(picture)] == picture
                   for at in range(len(numbers)))

    window.wait_for(bears_it, "the icon")


def test_media_libraries_are_loaded_in_advance_without_a_file_only(start, play):
    window = start()
    advance = {"mfplat.dll", "mfplay.dll", "mfreadwrite.dll"}
    window.wait_for(lambda: advance <= set(window.ask("modules")["modules"]), "the libraries")
    assert window.close() == 0
    assert not {"mfplay.dll"} & set(play().ask("modules")["modules"])


# ---- its end ----------------------------------------------------------------------------------------------


def test_closing_an_empty_window_at_once_ten_times(start):
    for _ in range(10):
        assert start().close() == 0


def test_closing_at_once(start, media):
    window = start(windows_path(media / "closed.mp4"))
    assert window.close() == 0


def test_closing_while_playing_and_in_fullscreen(play):
    window = play()
    window.keys("F")
    window.wait_for_fullscreen()
    assert window.close() == 0


def test_closing_while_paused(paused):
    assert paused.close() == 0


def test_closing_while_minimised(play):
    window = play()
    window.ask("minimise")
    window.wait_for(lambda: window.state()["iconic"], "the window to be minimised")
    assert window.close() == 0


def test_closing_while_seeks_are_pending(paused):
    paused.keys("END", "HOME", "END", "SPACE", "HOME")
    assert paused.close() == 0


def test_closing_behind_the_file_dialog_waits_for_it(play):
    window = play()
    window.keys("CTRL+O")
    window.wait_for_box()
    window.post(WM_CLOSE)
    window.settle()
    assert window.box()["count"] == 1
    window.cancel_dialog()
    assert window.close() == 0


def test_the_exit_command_closes(play):
    window = play()
    window.post(WM_COMMAND, COMMAND_EXIT)
    assert window.exit_code() == 0


def test_closing_with_unsaved_edits_asks(edited):
    edited.post(WM_CLOSE)
    box = edited.wait_for_box()
    assert (box["title"], box["texts"], box["focus"]) == ("Velkantrix", [UNSAVED_AT_THE_END], NO)
    edited.answer(NO)
    assert edited.place()
    edited.post(WM_COMMAND, COMMAND_EXIT)
    assert edited.wait_for_box()["texts"] == [UNSAVED_AT_THE_END]
    edited.answer(YES)
    assert edited.exit_code() == 0


def test_edits_that_were_undone_are_not_asked_about(edited):
    edited.keys("CTRL+Z")
    edited.wait_for_text("Undid split")
    assert edited.close() == 0
