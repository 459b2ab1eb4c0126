"""Saves over the original that aren't begun, and why."""
import shutil

from places import windows_path
from saving import (BEING_SAVED, CANCEL, EXPORT_INSTEAD, OPTIMISE, SAVE_CANCELLED, ask, assert_refused, assert_untouched,
                    begin, cut, long_run, names)
from window import NO, OK, WM_COMMAND, YES


def test_what_cannot_be_replaced_is_refused(own):
    window = cut(own())
    window.source.chmod(0o444)
    assert_refused(window, '"own.mp4" is read-only, so it can\'t be replaced.' + EXPORT_INSTEAD)
    assert_untouched(window)
    window.source.chmod(0o644)
    temporary = window.source.parent / "own.mp4.velkantrix-tmp"
    temporary.mkdir()
    ask(window)
    window.ask(f"answer {YES}")
    refusal = "The new file can't be written beside the original, as "
    window.wait_for(lambda: any(refusal in text for text in (window.box() or {"texts": []})["texts"]), "the refusal")
    window.answer(OK)
    assert names(window) == ["own.mp4", temporary.name]
    temporary.rmdir()
    window.before += b"more"
    window.source.write_bytes(window.before)
    assert_refused(window, '"own.mp4" has been changed by another program since it was opened. What is in it now would '
                           "be lost." + EXPORT_INSTEAD)
    assert_untouched(window)
    window.source.unlink()
    assert_refused(window, windows_path(window.source) + "\n\nThis file no longer exists.")
    assert names(window) == []


@long_run
def test_a_file_that_is_not_named_as_mp4_is_refused(start, media, tmp_path):
    source = tmp_path / "own.mkv"
    shutil.copyfile(media / "closed.mp4", source)
    window = start(windows_path(source))
    window.wait_for_picture()
    window.post(WM_COMMAND, OPTIMISE)
    assert window.wait_for_message()["texts"] == [
        '"own.mkv" can\'t be saved in place: what is written is an MP4 file, and only by the endings .mp4, .m4v and '
        ".mov is it opened as one." + EXPORT_INSTEAD]
    window.answer(OK)
    assert source.read_bytes() == (media / "closed.mp4").read_bytes()


@long_run
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
