"""How saves over the original end: at every moment the original or the complete new file stands."""
import contextlib
import ctypes
import os
import random
import select
import struct
import subprocess
import time

import pytest
import recording
from saving import (CANCEL, LONG, REPLACE, SAVE_CANCELLED, SAVED, UNTOUCHED, assert_untouched, begin, cut,
                    length, long_run, names, save, wait_until_saved)
from window import OK, STILL_RUNS, WM_CLOSE, YES

TEMPORARY = "own.mp4.velkantrix-tmp"


def test_a_cancelled_save_leaves_the_original(own):
    window = cut(own("five-minutes", pace="50"))
    moments = random.Random(35)
    for _ in range(20 if LONG else 2):
        begin(window)
        time.sleep(moments.uniform(0, 1.5))
        window.forget()
        window.keys(CANCEL)
        window.wait_for_text(SAVE_CANCELLED)
        assert_untouched(window)
    begin(window)  # and closing cancels too
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
    text = window.wait_for(lambda: next((t for t in (window.box() or {"texts": []})["texts"] if "failed" in t), None),
                           "the failure")
    assert text.startswith("Save failed.\n\nThe edit was encoded, but it could not replace the original (")
    assert text.endswith(").\n\nYour original file is untouched.")
    assert_untouched(window)
    window.answer(OK)
    window.wait_for_picture()
    window.forget()
    window.settle()  # which draws everything
    assert UNTOUCHED in window.drawn()
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
    filler = folder / "filler"
    filler.write_bytes(bytes(60 << 20))
    window.keys("CTRL+S")
    assert window.wait_for_message()["texts"][0].startswith("Not enough free space to save in place.\n\nAbout ")
    window.answer(OK)
    filler.unlink()
    assert_untouched(window)
    for _ in range(10 if LONG else 1):
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


@long_run
def test_on_a_read_only_disk_it_is_refused(own, disk):
    folder, mount = disk
    window = cut(own(folder=folder))
    assert mount("remount,ro,size=100m")
    window.keys("CTRL+S")
    text = window.wait_for_message()["texts"][0]
    assert text.startswith("\"own.mp4\" can't be replaced (") or text.startswith("\"own.mp4\" is read-only"), text
    window.answer(OK)
    assert_untouched(window)


@long_run
def test_a_folder_that_is_removed_under_a_save_is_told(own):
    window = cut(own("minute", pace="30"))
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
    return times + events if LONG else chosen.sample(events[5:], 1)


@pytest.mark.parametrize("what,delay", moments_to_kill())
def test_a_killed_save_leaves_the_old_file_or_the_new_one(own, what, delay):
    window = cut(own("minute", pace="30"))
    events = FolderEvents(window.source.parent)
    begin(window)
    masks = {"created": FolderEvents.CREATE, "written": FolderEvents.CLOSED,
             "gone": FolderEvents.MOVED_FROM | FolderEvents.DELETED}
    if what in masks:
        assert events.wait(TEMPORARY, masks[what])
    time.sleep(delay)
    window.process.stdin.write("quit\n")  # which ends the program at once
    window.process.stdin.flush()
    window.process.wait(30)
    events.close()
    content = window.source.read_bytes()
    if content != window.before:
        assert length(window.source) == pytest.approx(55, abs=0.5)
        assert recording.decoding_complaints(window.source) == ""
    assert set(names(window)) <= {"own.mp4", TEMPORARY}
    if TEMPORARY in names(window):
        again = cut(own("minute"))
        save(again)
        assert names(again) == ["own.mp4"]


@long_run
@pytest.mark.parametrize("delay", [0, 0, 0.002, 0.01, 0.05])
def test_a_cancel_while_the_file_is_completed_is_one_or_comes_too_late(own, delay):
    window = cut(own("minute", pace="30"))
    events = FolderEvents(window.source.parent)
    begin(window)
    window.forget()
    assert events.wait(TEMPORARY, FolderEvents.CLOSED)
    time.sleep(delay)
    window.keys(CANCEL)
    events.close()
    window.wait_for(lambda: {SAVE_CANCELLED, SAVED} & set(window.drawn()) or window.box(), "the end")
    if window.box():  # it was saved already, and the keys have opened a dialog
        window.cancel_dialog()
    if window.source.read_bytes() == window.before:
        assert_untouched(window)
        return
    wait_until_saved(window)
    assert names(window) == ["own.mp4"]
    assert length(window.source) == pytest.approx(55, abs=0.5)


@long_run
def test_another_machines_new_file_is_neither_swapped_in_nor_deleted(own):
    window = cut(own("minute", pace="30"))
    holder = own("minute")  # by which the swap has to wait
    events = FolderEvents(window.source.parent)
    begin(window)
    assert events.wait(TEMPORARY, FolderEvents.CLOSED)
    time.sleep(0.5)
    temporary = window.source.parent / TEMPORARY
    temporary.unlink()
    temporary.write_bytes(b"another machine's")
    events.close()
    window.wait_for(lambda: any("by another program" in text for text in (window.box() or {"texts": []})["texts"]),
                    "the failure")
    assert window.source.read_bytes() == window.before
    assert temporary.read_bytes() == b"another machine's"
    window.answer(OK)
    holder.end()
