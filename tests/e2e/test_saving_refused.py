"""Saves over the original that aren't begun, and why."""
import recording
from places import windows_path
from saving import (BEING_SAVED, CANCEL, EXPORT_INSTEAD, REPLACE, SAVE_CANCELLED, ask, assert_refused, assert_untouched,
                    begin, cut, names, save)
from window import NO, OK, YES


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
