"""Saves over the original, and rewrites of it for quick seeks: what is asked and said, and that at every moment the
original or the complete new file stands."""
import contextlib
import ctypes
import os
import random
import select
import shutil
import struct
import subprocess
import time

import pytest
import recording
from places import windows_path
from window import LOGGED, NO, OK, STILL_RUNS, WM_CLOSE, WM_COMMAND, YES

LONG = "VELKANTRIX_LONG" in os.environ
SAVE, OPTIMISE = 166, 167  # commands
CANCEL = "CTRL+SHIFT+S"

SAVING = "Saving — writing the new file beside the original…"
OPENED = ("Resumed at", "Playing")
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


def wait_until_saved(window):
    """Until the new file plays: what is said of the save is gone by then."""
    window.wait_for(lambda: any(text.startswith(OPENED) for text in window.drawn()), "the new file")
    window.wait_for_picture()
    assert window.box() is None


def save(window):
    ask(window)
    window.answer(YES)
    wait_until_saved(window)


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
    window.wait_for_text("Resumed at 00:05.000")  # the same picture
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
    wait_until_saved(window)
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        assert len(recording.first(after, kind).packets) == len(recording.first(before, kind).packets)
    assert b"moof" not in window.source.read_bytes()
    assert names(window) == ["own.mp4"]


@pytest.mark.parametrize("name", ["sound-longer", "video-short", "audio-late", "audio-short"])
def test_optimising_costs_no_sample_and_no_time(own, name):
    window = own(name)
    before = recording.read(window.source)
    ask(window, OPTIMISE, NEEDLESS)
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [REWRITE], "the second question")
    window.answer(YES)
    wait_until_saved(window)
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
    refusal = "The new file can't be written beside the original, as "
    window.wait_for(lambda: any(refusal in text for text in (window.box() or {"texts": []})["texts"]), "the refusal")
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


def test_an_original_that_another_program_holds_open_stays_with_its_edit(own):
    window = cut(own())
    holder = own()
    window.keys("CTRL+S")
    assert window.wait_for_message()["texts"] == [REPLACE]
    window.forget()
    window.ask(f"answer {YES}")
    text = window.wait_for(lambda: next((t for t in (window.box() or {"texts": []})["texts"] if "Save failed" in t), None),
                           "the failure")
    assert text.startswith("Save failed.\n\nThe edit was encoded, but it could not replace the original (")
    assert text.endswith(").\n\nYour original file is untouched.")
    assert_untouched(window)
    window.answer(OK)
    window.wait_for_text(UNTOUCHED)
    window.wait_for_picture()
    holder.end()
    window.keys("CTRL+Z")
    window.wait_for(lambda: (window.info() or [0, 0])[1] == 2, "the clips before the last step")
    window.keys("CTRL+Y")
    save(window)
    assert length(window.source) == pytest.approx(7, abs=0.1)


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


@pytest.fixture
def disk(tmp_path):
    """A disk of its own, and what gives it other options."""
    folder = tmp_path / "disk"
    folder.mkdir()

    def mount(options):
        return subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", str(folder)], check=False,
                              capture_output=True).returncode == 0

    if not mount("size=100m"):
        pytest.skip("this machine permits no mounts")
    yield folder, mount
    subprocess.run(["umount", "-l", str(folder)], check=False)


def test_a_disk_that_fills_up_leaves_the_original(own, disk):
    folder, _ = disk
    window = cut(own("five-minutes", folder=folder, pace="40"))
    moments = random.Random(36)
    filler = folder.parent / "disk" / "filler"
    for _ in range(10 if LONG else 2):
        begin(window)
        time.sleep(moments.uniform(0, 1.5))
        with open(filler, "wb") as file, contextlib.suppress(OSError):
            while True:
                file.write(bytes(65536))
                file.flush()
        texts = window.wait_for_message()["texts"]
        assert texts[0].startswith("Save failed.\n\n"), texts
        assert "(0x80070070)" in texts[0]
        filler.unlink()
        window.answer(OK)
        window.wait_for_text(UNTOUCHED)
        assert_untouched(window)


def test_without_room_it_is_refused(own, disk):
    folder, _ = disk
    window = cut(own(folder=folder))
    (folder / "filler").write_bytes(bytes(60 << 20))
    window.keys("CTRL+S")
    assert window.wait_for_message()["texts"][0].startswith("Not enough free space to save in place.\n\nAbout 6")
    window.answer(OK)
    assert window.source.read_bytes() == window.before


def test_on_a_read_only_disk_it_is_refused(own, disk):
    folder, mount = disk
    window = cut(own(folder=folder))
    assert mount("remount,ro,size=100m")
    window.keys("CTRL+S")
    text = window.wait_for_message()["texts"][0]
    assert text.startswith("\"own.mp4\" can't be replaced (") or text.startswith("\"own.mp4\" is read-only"), text
    window.answer(OK)
    assert_untouched(window)


def test_a_folder_that_is_removed_under_a_save_is_told(own):
    window = cut(own("five-minutes", pace="40"))
    begin(window)
    time.sleep(0.3)
    elsewhere = window.source.parent.with_name("moved")
    window.source.parent.rename(elsewhere)
    assert window.wait_for_message()["texts"][0].startswith("Save failed.\n\n")
    window.answer(OK)
    window.wait_for_text("Save failed — the original was not replaced")
    assert (elsewhere / "own.mp4").read_bytes() == window.before


def moments_to_kill():
    """When the process is killed: so long after its job has begun, or at something that happens in the folder."""
    chosen = random.Random(37)
    times = [("time", chosen.uniform(0, 2.5)) for _ in range(16)]
    events = [(what, delay) for what in ("created", "written", "gone") for delay in (0, 0, 0.002, 0.01, 0.05)]
    return times + events if LONG else [times[0], events[0], events[5], events[10], events[12]]


@pytest.mark.parametrize("what,delay", moments_to_kill())
def test_a_killed_save_leaves_the_old_file_or_the_new_one(own, what, delay):
    window = cut(own("minute", pace="30"))
    temporary = "own.mp4.velkantrix-tmp"
    events = FolderEvents(window.source.parent)
    begin(window)
    masks = {"created": FolderEvents.CREATE, "written": FolderEvents.CLOSED,
             "gone": FolderEvents.MOVED_FROM | FolderEvents.DELETED}
    if what in masks:
        assert events.wait(temporary, masks[what])
    time.sleep(delay)
    window.process.stdin.write("quit\n")  # which ends the program at once
    window.process.stdin.flush()
    window.process.wait(30)
    events.close()
    content = window.source.read_bytes()
    if content != window.before:
        assert length(window.source) == pytest.approx(55, abs=0.5)
        assert recording.decoding_complaints(window.source) == ""
    assert set(names(window)) <= {"own.mp4", temporary}
    if temporary in names(window):
        again = cut(own("minute"))
        save(again)
        assert names(again) == ["own.mp4"]
