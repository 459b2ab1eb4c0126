"""Opening videos by dialog and by dropping; what can't be opened; what is open already."""
import shutil
import struct

import pytest
from places import windows_path
from window import CANNOT_OPEN, LOGGED, NO, OK, UNSAVED, WM_CLOSE, YES

SIX_GIB = 6 * 2**30


def test_the_dialog_opens_a_video(start, media):
    window = start()
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")


def test_the_dialog_offers_videos_and_all_files(start):
    window = start()
    window.keys("CTRL+O")
    window.wait_for_dialog()
    assert window.box()["choices"] == ["Video files", "All files"]


def test_a_cancelled_dialog_opens_nothing(start):
    window = start()
    window.keys("CTRL+O")
    window.wait_for_dialog()
    window.forget()
    window.cancel_dialog()
    window.assert_is_empty()


def test_a_name_that_does_not_exist_keeps_the_dialog_open(start, media):
    window = start()
    window.choose(media / "missing.mp4")
    window.wait_for(lambda: window.box_count() == 2, "the dialog to object")
    window.answer_one(OK)
    window.cancel_dialog()
    window.assert_shows_nothing()


def test_another_video_takes_the_place_of_the_first(play, media):
    window = play()
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")


def test_of_several_dropped_files_the_first_is_opened(start, media):
    window = start()
    window.drop(media / "mono.mp4", media / "closed.mp4")
    window.wait_for_title("mono.mp4")


def test_a_dropped_folder_is_no_video(start, tmp_path):
    window = start()
    window.drop(tmp_path)
    assert window.wait_for_box()["texts"] == [CANNOT_OPEN]
    window.answer(OK)


@pytest.mark.parametrize("name", ["text", "empty", "truncated", "audio-only"])
def test_what_is_no_video_is_reported_once(start, media, name):
    window = start(windows_path(media / f"{name}.mp4"))
    box = window.wait_for_box()
    assert box["title"] == "Velkantrix"
    assert box["texts"] == [CANNOT_OPEN]
    window.answer(OK)
    window.assert_shows_nothing()
    assert window.close() == 0


def test_a_video_that_cannot_be_opened_leaves_nothing_of_the_one_before(play, media):
    window = play()
    window.drop(media / "text.mp4")
    window.wait_for_box()
    window.answer(OK)
    window.assert_shows_nothing()


def test_behind_a_box_the_window_neither_closes_nor_opens(start, media):
    window = start(windows_path(media / "text.mp4"))
    window.wait_for_box()
    window.post(WM_CLOSE)
    window.settle()
    box = window.box()
    assert (box["texts"], box["count"]) == ([CANNOT_OPEN], 1)
    window.answer(OK)
    assert window.close() == 0


def test_behind_a_question_the_window_does_not_ask_another(edited, media):
    edited.drop(media / "mono.mp4")
    edited.wait_for_box()
    edited.post(WM_CLOSE)
    edited.settle()
    box = edited.box()
    assert (box["texts"], box["count"]) == ([UNSAVED], 1)
    edited.answer(NO)


def test_unsaved_edits_are_kept_unless_the_answer_is_yes(edited, media):
    edited.drop(media / "mono.mp4")
    box = edited.wait_for_box()
    assert (box["title"], box["texts"]) == ("Velkantrix", [UNSAVED])
    assert sorted(box["buttons"]) == [YES, NO]
    assert box["focus"] == NO
    edited.answer(NO)
    assert edited.state()["title"] == "closed.mp4 - Velkantrix"
    edited.drop(media / "mono.mp4")
    edited.wait_for_box()
    edited.answer(YES)
    edited.wait_for_title("mono.mp4")


def test_a_large_recording_of_many_fragments_is_said_to_seek_slowly(start, media, tmp_path):
    path = tmp_path / "slow.mp4"
    shutil.copy(media / "fragmented-video-short.mp4", path)
    with path.open("r+b") as file:  # a box that says nothing, and takes no place on the disk
        length = file.seek(0, 2)
        file.write(struct.pack(">I4sQ", 1, b"free", SIX_GIB - length))
        file.truncate(SIX_GIB)
    window = start(windows_path(path))
    window.wait_for_text("Seeking is slow on this recording — File ▸ Optimise for editing")
    window.wait_for_picture()
    assert "Playing" not in window.drawn()


def test_the_videos_size_and_the_files_are_shown(play, media):
    window = play("large")
    size = (media / "large.mp4").stat().st_size // 2**20
    window.wait_for(lambda: f"1280×720  ·  {size} MB" in window.drawn(), "the video's facts")


def test_a_file_that_vanishes_while_it_is_open_does_no_harm(start, media, tmp_path):
    shutil.copy(media / "closed.mp4", tmp_path / "short-lived.mp4")
    window = start(windows_path(tmp_path / "short-lived.mp4"), environment=LOGGED)
    window.wait_for_picture()
    (tmp_path / "short-lived.mp4").unlink()
    window.seek("RIGHT")
    window.keys("LEFT", "SPACE")
    window.seek("END")
    window.drop(media / "mono.mp4")
    window.wait_for_title("mono.mp4")
    assert window.close() == 0
