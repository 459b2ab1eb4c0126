"""Saves over the original, and rewrites of it for quick seeks: what is asked and said, and that at every moment the
original or the complete new file stands."""
import ctypes
import os
import random
import select
import shutil
import struct
import subprocess
import threading
import time
from pathlib import Path

import pytest
import recording
from places import windows_path
from window import CANCELLING, LOGGED, NO, OK, STILL_RUNS, WM_CLOSE, WM_COMMAND, YES

LONG = "VELKANTRIX_LONG" in os.environ
SAVE, OPTIMISE = 166, 167  # commands
CANCEL = "CTRL+SHIFT+S"

SAVING = "Saving — writing the new file beside the original…"
SAVED = "Saved — the original was replaced"
UNTOUCHED = "Save failed — your original is untouched"
SAVE_CANCELLED = "Save cancelled — your original is untouched"
NOTHING = "Nothing to save — this video is unedited"
REPLACE = ("Replace \"own.mp4\" with your edit?\n\nThe original is written over and can't be recovered. Velkantrix "
           "writes the new file beside it first and only swaps it in once that's finished, so a failure or a cancel "
           "leaves your original untouched.")
NEEDLESS = "This file already seeks well — optimising it would rewrite it for no gain.\n\nRewrite it anyway?"
REWRITE = ("Rewrite \"own.mp4\" so it seeks quickly?\n\nNo frame is re-encoded — the video and audio are copied across "
           "exactly as they are, and only the file's index is rebuilt. Any cuts you have made are not applied. The new "
           "file is written beside the original and swapped in only once it is complete.")
BEING_SAVED = "\"own.mp4\" is being saved in another window of Velkantrix.\n\nWait until that has finished."
EXPORT_INSTEAD = "\n\nFile ▸ Export As… writes your edit to another file."


@pytest.fixture
def own(start, media, tmp_path):
    """Opens a copy of a recording that lies alone in its folder; it stands still at 5 seconds."""

    def open_own(name="closed", folder=None, pace=None):
        folder = folder or tmp_path / "own"
        folder.mkdir(exist_ok=True)
        source = folder / "own.mp4"
        if not source.exists():
            shutil.copyfile(media / f"{name}.mp4", source)
        window = start(windows_path(source), environment={**LOGGED, **({"RIG_WRITER_PACE": pace} if pace else {})})
        window.wait_for_picture()
        window.pause()
        window.seek("HOME")
        window.seek("RIGHT")
        window.source = source
        window.before = source.read_bytes()
        return window

    return open_own


def cut(window):
    """What lies before 5 seconds is removed."""
    window.keys("S")
    window.wait_for_text("Split created")
    window.seek("LEFT")
    window.keys("DELETE")
    window.wait_for_text("Clip removed")
    return window


def ask(window, keys="CTRL+S", text=REPLACE, default=NO):
    window.forget()
    if isinstance(keys, int):
        window.post(WM_COMMAND, keys)
    else:
        window.keys(keys)
    box = window.wait_for_message()
    assert (box["title"], box["texts"], box["focus"], sorted(box["buttons"])) == ("Velkantrix", [text], default, [YES, NO])


def begin(window):
    ask(window)
    window.answer(YES)
    window.wait_for_text(SAVING)


def save(window):
    ask(window)
    window.answer(YES)
    window.wait_for_text(SAVED)


def names(window):
    return sorted(file.name for file in window.source.parent.iterdir())


def length(path):
    return max(packet.end for packet in recording.first(recording.read(path), "video").packets)


def assert_untouched(window):
    assert window.source.read_bytes() == window.before
    assert names(window) == ["own.mp4"]


def assert_refused(window, text, keys="CTRL+S"):
    window.keys(keys)
    assert window.wait_for_message()["texts"] == [text]
    window.answer(OK)


# Questions and answers


def test_a_saved_edit_takes_the_originals_place_and_goes_on_in_it(own):
    window = cut(own())
    window.seek("RIGHT")
    save(window)
    window.wait_for_text("Resumed at")
    window.wait_for_picture()
    assert names(window) == ["own.mp4"]
    assert length(window.source) == pytest.approx(7, abs=0.1)
    assert recording.decoding_complaints(window.source) == ""
    assert window.state()["title"] == "own.mp4 - Velkantrix"
    window.forget()
    window.seek("HOME")
    window.wait_for(window.info, "the times")
    assert window.info()[1] == 1 and window.info()[3] == pytest.approx(7, abs=0.1)
    assert window.close() == 0  # without a question


def test_answered_no_nothing_happens(own):
    window = cut(own())
    ask(window)
    window.answer(NO)
    ask(window, OPTIMISE, NEEDLESS)
    window.answer(NO)
    ask(window, OPTIMISE, NEEDLESS)
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [REWRITE], "the second question")
    window.answer(NO)
    window.settle()
    assert SAVING not in window.drawn()
    assert_untouched(window)


def test_by_the_menu_and_by_enter_on_the_default(own):
    window = cut(own())
    window.open_menu("F")
    window.wait_for_item("&Save (replace original)")
    window.keys("S")
    assert window.wait_for_message()["texts"] == [REPLACE]
    window.keys("ENTER")
    window.wait_for_no_box()
    assert_untouched(window)
    window.open_menu("F")
    window.keys("O")  # two items have it
    window.keys("ESC", "ESC")
    window.wait_for_no_menu()


def test_an_unedited_video_has_nothing_to_save(own):
    window = own()
    window.forget()
    window.keys("CTRL+S")
    window.wait_for_text(NOTHING)
    assert window.box() is None
    assert_untouched(window)


def test_optimising_keeps_all_and_leaves_the_edit_out(own):
    window = cut(own("fragmented"))
    before = recording.read(window.source)
    ask(window, OPTIMISE, NEEDLESS)
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [REWRITE], "the second question")
    assert window.box()["focus"] == YES
    window.answer(YES)
    window.wait_for_text(SAVED)
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        assert len(recording.first(after, kind).packets) == len(recording.first(before, kind).packets)
    assert b"moof" not in window.source.read_bytes()
    assert names(window) == ["own.mp4"]


@pytest.mark.parametrize("name", ["sound-longer", "video-short", "audio-late", "video-late", "audio-short"])
def test_optimising_costs_no_sample_and_no_time(own, name):
    window = own(name)
    before = recording.read(window.source)
    ask(window, OPTIMISE, NEEDLESS)
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [REWRITE], "the second question")
    window.answer(YES)
    window.wait_for_text(SAVED)
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        old, new = (recording.first(file, kind).packets for file in (before, after))
        assert len(new) >= len(old) - 1  # AAC's priming isn't delivered
        assert max(packet.end for packet in new) == pytest.approx(max(packet.end for packet in old), abs=0.03)


# Refusals


def test_a_read_only_original_is_refused(own):
    window = cut(own())
    window.source.chmod(0o444)
    assert_refused(window, '"own.mp4" is read-only, so it can\'t be replaced.' + EXPORT_INSTEAD)
    assert_untouched(window)


def test_an_original_that_was_changed_is_refused(own):
    window = cut(own())
    window.before += b"more"
    window.source.write_bytes(window.before)
    assert_refused(window, '"own.mp4" has been changed by another program since it was opened. What is in it now would '
                           "be lost." + EXPORT_INSTEAD)
    assert_untouched(window)


def test_an_original_that_is_gone_is_refused(own):
    window = cut(own())
    window.source.unlink()
    assert_refused(window, windows_path(window.source) + "\n\nThis file no longer exists.")
    assert names(window) == []


def test_a_folder_in_the_place_of_the_temporary_file_is_refused(own):
    window = cut(own())
    (window.source.parent / "own.mp4.velkantrix-tmp").mkdir()
    ask(window)
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": [""]})["texts"][0].startswith(
        "The new file can't be written beside the original, as "), "the refusal")
    window.answer(OK)
    assert window.source.read_bytes() == window.before
    assert names(window) == ["own.mp4", "own.mp4.velkantrix-tmp"]


def test_what_a_killed_process_has_left_is_written_over(own):
    window = cut(own())
    (window.source.parent / "own.mp4.velkantrix-tmp").write_bytes(b"left over" * 1000)
    save(window)
    assert names(window) == ["own.mp4"]
    assert recording.decoding_complaints(window.source) == ""


def test_two_instances_save_one_file(own):
    first = cut(own("five-minutes", pace="20"))
    second = cut(own("five-minutes", pace="20"))
    begin(second)
    first.keys("CTRL+S")
    assert first.wait_for_message()["texts"] == [BEING_SAVED]
    first.answer(OK)
    second.keys(CANCEL)
    second.wait_for_text(SAVE_CANCELLED)
    assert_untouched(second)
    ask(first)
    first.answer(NO)


# Moments


def test_a_cancelled_save_leaves_the_original(own):
    window = cut(own("five-minutes", pace="50"))
    moments = random.Random(35)
    for _ in range(20 if LONG else 3):
        begin(window)
        time.sleep(moments.uniform(0, 1.5))
        window.forget()
        window.keys(CANCEL)
        window.wait_for_text(SAVE_CANCELLED)
        assert_untouched(window)


def test_closing_while_a_save_runs_leaves_the_original(own):
    window = cut(own("five-minutes", pace="20"))
    begin(window)
    window.post(WM_CLOSE)
    assert window.wait_for_box()["texts"] == [STILL_RUNS]
    window.ask(f"answer {YES}")
    assert window.exit_code() == 0
    assert_untouched(window)


class FolderEvents:
    """What happens in a folder, as it happens."""

    CREATE, MODIFY, CLOSED, MOVED_FROM, MOVED_TO, DELETED = 0x100, 0x2, 0x8, 0x40, 0x80, 0x200

    def __init__(self, folder):
        self.libc = ctypes.CDLL(None)
        self.file = self.libc.inotify_init()
        assert self.libc.inotify_add_watch(self.file, os.fsencode(folder), 0x3CA) >= 0

    def wait(self, name, mask, seconds=60):
        """Until such an event of that file."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if not select.select([self.file], [], [], 1)[0]:
                continue
            data = os.read(self.file, 65536)
            at = 0
            while at < len(data):
                _, bits, _, size = struct.unpack_from("iIII", data, at)
                found = data[at + 16:at + 16 + size].rstrip(b"\0").decode()
                at += 16 + size
                if found == name and bits & mask:
                    return True
        return False

    def close(self):
        os.close(self.file)
