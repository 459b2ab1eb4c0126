"""Exports that are cancelled, fail, or run while the window is closed or something else is asked of it."""
import os
import random
import re
import shutil
import time

import pytest
import recording
from places import windows_path
from window import (CANCELLED, CANCELLING, COMPLETE, NO, OK, SEPARATE_CLIPS, STILL_RUNS, TIME, WM_CLOSE, WM_COMMAND,
                    YES)

EXPORTS = 50 if "VELKANTRIX_LONG" in os.environ else 5
PROGRESS = re.compile(rf"Exporting  \d+%   ·   {TIME} / {TIME}   ·   about {TIME} remaining$")
CANCEL = "CTRL+SHIFT+S"
OLD = b"what was there before\n" * 100


def begin_export(window, path, replaced=False):
    """Until it is seen to run. From then on what is drawn is about this one, not about one before."""
    window.forget()
    window.export_to(path)
    if replaced:
        window.wait_for(lambda: window.box_count() == 2, "the question")
        window.ask(f"answer {YES}")
    window.wait_for_text("Preparing native export…")
    window.forget()


def wait_for_end(window):
    """True when the export, of which the cancel was asked, was cancelled; False when it was complete before. Then
    the key has opened the dialog for another one, which is put away."""
    window.wait_for(lambda: {CANCELLED, COMPLETE} & set(window.drawn()), "the end")
    if CANCELLED in window.drawn():
        return True
    window.cancel_dialog()
    return False


def export_and_cancel(window, path, replaced=False):
    """Cancels an export as soon as it runs; again until that was soon enough, and was seen."""
    for _ in range(20):
        begin_export(window, path, replaced)
        window.keys(CANCEL)
        if not wait_for_end(window):
            path.unlink()
        elif CANCELLING in window.drawn():
            return
    raise AssertionError("no export was cancelled")


def wait_for_failure(window):
    assert window.wait_for_message()["texts"][0].startswith("Export failed.\n\n")
    window.answer(OK)
    window.wait_for_text("Export failed")


# Cancelling


def test_a_cancelled_export_leaves_nothing(hour, tmp_path):
    target = tmp_path / "out.mp4"
    export_and_cancel(hour, target)
    assert not target.exists()
    hour.open_menu("F")
    hour.wait_for_item("Export &As…")
    hour.wait_for_item("Show &last export in Explorer", enabled=False)
    hour.keys("ESC", "ESC")


def test_an_export_tells_how_long_it_takes(hour, tmp_path):
    begin_export(hour, tmp_path / "out.mp4")
    hour.wait_for(lambda: any(map(PROGRESS.match, hour.drawn())), "the time that is left")
    hour.keys(CANCEL)
    wait_for_end(hour)


def test_exports_cancelled_at_any_moment_leave_what_is_complete(five_minutes, tmp_path):
    folder = tmp_path / "exports"
    folder.mkdir()
    moments = random.Random(8)
    complete = []
    for number in range(EXPORTS):
        path = folder / f"{number}.mp4"
        begin_export(five_minutes, path)
        time.sleep(moments.uniform(0, 1.2))
        five_minutes.keys(CANCEL)
        if not wait_for_end(five_minutes):
            complete.append(path)
    assert sorted(folder.iterdir()) == complete
    for path in complete:
        assert recording.decoding_complaints(path) == ""


def test_a_cancelled_copy_of_a_file_that_may_not_be_changed_leaves_nothing(start, media, tmp_path):
    source = tmp_path / "kept.mp4"
    shutil.copy(media / "large.mp4", source)
    source.chmod(0o444)
    window = start(windows_path(source))
    window.wait_for_picture()
    export_and_cancel(window, tmp_path / "copy.mp4")
    assert not (tmp_path / "copy.mp4").exists()
    assert source.stat().st_size == (media / "large.mp4").stat().st_size


# What was there before


def test_a_cancelled_export_leaves_what_it_was_to_replace(hour, tmp_path):
    folder = tmp_path / "exports"
    folder.mkdir()
    (folder / "out.mp4").write_bytes(OLD)
    export_and_cancel(hour, folder / "out.mp4", replaced=True)
    assert [file.name for file in folder.iterdir()] == ["out.mp4"]
    assert (folder / "out.mp4").read_bytes() == OLD


def assert_no_others(folder):
    """The first clip is short: it may be there, and then all of it."""
    assert {file.name for file in folder.iterdir()} <= {"clip-01.mp4", "clip-02.mp4"}
    if (folder / "clip-01.mp4").exists():
        assert recording.decoding_complaints(folder / "clip-01.mp4") == ""


def test_cancelled_clips_leave_what_they_were_to_replace(hour, tmp_path):
    folder = tmp_path / "exports"
    folder.mkdir()
    (folder / "clip-02.mp4").write_bytes(OLD)
    hour.post(WM_COMMAND, SEPARATE_CLIPS)
    begin_export(hour, folder)
    hour.keys(CANCEL)
    assert wait_for_end(hour)
    assert (folder / "clip-02.mp4").read_bytes() == OLD
    assert_no_others(folder)


def test_a_failed_export_leaves_what_it_was_to_replace(large, small_folder):
    (small_folder / "out.mp4").write_bytes(OLD)
    begin_export(large, small_folder / "out.mp4", replaced=True)
    wait_for_failure(large)
    assert [file.name for file in small_folder.iterdir()] == ["out.mp4"]
    assert (small_folder / "out.mp4").read_bytes() == OLD
    (small_folder / "out.mp4").rename(small_folder / "clip-02.mp4")
    large.post(WM_COMMAND, SEPARATE_CLIPS)
    begin_export(large, small_folder)
    wait_for_failure(large)
    assert (small_folder / "clip-02.mp4").read_bytes() == OLD
    assert_no_others(small_folder)


# Closing


def close_behind_export(window, path):
    """Exports, closes, and waits for the question."""
    begin_export(window, path)
    window.post(WM_CLOSE)
    box = window.wait_for_box()
    assert (box["title"], box["texts"], box["focus"]) == ("Velkantrix", [STILL_RUNS], NO)
    assert sorted(box["buttons"]) == [YES, NO]


def test_closing_while_an_export_runs_cancels_it(hour, tmp_path):
    close_behind_export(hour, tmp_path / "out.mp4")
    hour.forget()
    hour.ask(f"answer {YES}")
    hour.post(WM_CLOSE)  # once more
    assert hour.exit_code() == 0  # behind another box it would not end
    assert COMPLETE not in hour.drawn()
    assert not (tmp_path / "out.mp4").exists()


def test_an_export_may_go_on_instead_of_closing(five_minutes, tmp_path):
    close_behind_export(five_minutes, tmp_path / "out.mp4")
    five_minutes.answer(NO)
    five_minutes.wait_for_text(COMPLETE)
    assert recording.decoding_complaints(tmp_path / "out.mp4") == ""
    assert five_minutes.close() == 0


def test_an_export_that_ends_behind_the_question_is_not_cancelled(five_minutes, tmp_path):
    close_behind_export(five_minutes, tmp_path / "out.mp4")
    five_minutes.wait_for_text(COMPLETE)
    box = five_minutes.box()
    assert (box["texts"], box["count"]) == ([STILL_RUNS], 1)
    five_minutes.ask(f"answer {YES}")
    assert five_minutes.exit_code() == 0
    assert (tmp_path / "out.mp4").exists()


# Whatever else is asked for meanwhile


def test_while_an_export_runs_seeks_land_and_nothing_is_edited_or_opened(hour, media, tmp_path):
    begin_export(hour, tmp_path / "out.mp4")
    hour.keys("S", "DELETE")
    assert hour.seek("RIGHT")[1] == 10
    hour.drop(media / "closed.mp4")
    hour.settle()
    assert hour.state()["title"] == "hour.mp4 - Velkantrix"
    hour.keys(CANCEL)
    assert wait_for_end(hour), "the export was over too soon"
    assert not [text for text in hour.drawn() if text in ("Split created", "Clip removed — Ctrl+Z to undo")]
    assert hour.info()[1] == 2
