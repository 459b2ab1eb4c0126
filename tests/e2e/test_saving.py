"""Saves over the original, and rewrites of it for quick seeks: what is asked and said, and what they write."""
import random
import shutil
import subprocess

import pytest
import recording
from saving import (LESS, LONG, LOSES_EDITS, LOSS, NEEDLESS, NOTHING, OPENED, OPTIMISE, REPLACE, REWRITE,
                    SAVE_CANCELLED, SAVED, SAVING, answer_and_be_asked, ask, assert_untouched, cut, length, long_run,
                    names, save, spoil, wait_until_saved)
from window import NO, WM_COMMAND, YES

QUALITY_720 = 313  # a command


def test_a_saved_edit_takes_the_originals_place_and_goes_on_in_it(own):
    window = cut(own())
    window.seek("RIGHT")
    (window.source.parent / "own.mp4.velkantrix-tmp").write_bytes(b"left over" * 1000)  # by a killed process
    shown = len(window.presents())
    save(window)
    assert window.wait_for_landing(shown) == pytest.approx((5, 5), abs=0.02)  # the same picture
    window.forget()
    window.settle()  # which draws everything
    assert SAVED in window.drawn()
    assert not any(text.startswith(OPENED) for text in window.drawn())
    assert names(window) == ["own.mp4"]
    assert length(window.source) == pytest.approx(7, abs=0.1)
    assert recording.decoding_complaints(window.source) == ""
    assert window.state()["title"] == "own.mp4 - Velkantrix"
    window.forget()
    window.seek("HOME")
    window.wait_for(window.info, "the times")
    assert window.info()[1] == 1 and window.info()[3] == pytest.approx(7, abs=0.1)
    assert window.close() == 0  # without a question


# By a name of which the system makes another of its own kinds.
@pytest.mark.parametrize("ending", [".mov", ".m4v"] if LONG else [".mov"])
def test_an_edit_is_saved_by_each_ending(own, ending):
    window = cut(own(ending=ending))
    ask(window, text=REPLACE.replace("own.mp4", window.source.name))
    window.answer(YES)
    wait_until_saved(window)
    assert names(window) == [f"own{ending}"]
    assert length(window.source) == pytest.approx(7, abs=0.1)


@long_run
def test_a_clip_that_begins_with_an_earlier_keyframe_goes_on_with_the_same_picture(own):
    window = cut(own("fragmented-halves"))
    window.seek("RIGHT")  # 10 seconds
    shown = len(window.presents())
    save(window)
    assert window.wait_for_landing(shown) == pytest.approx((5.2, 5.2), abs=0.02)
    assert length(window.source) == pytest.approx(7.2, abs=0.1)  # from the keyframe at 4.8 seconds on


def choose(window, item, *letters):
    """By the File menu; the question that is then asked."""
    window.open_menu("F")
    window.wait_for_item(item)
    window.forget()
    window.keys(*letters)
    return window.wait_for_message()


def test_saving_with_every_answer_and_by_the_menu(own):
    window = own()
    window.forget()
    window.keys("CTRL+S")
    window.wait_for_text(NOTHING)
    assert window.box() is None
    cut(window)
    ask(window)
    window.answer(NO)
    ask(window, OPTIMISE, LOSES_EDITS)
    window.answer(NO)
    ask(window, OPTIMISE, LOSES_EDITS)
    answer_and_be_asked(window, NEEDLESS)
    window.answer(NO)
    window.settle()
    assert SAVING not in window.drawn()
    for key in ("ENTER", "Y"):
        box = choose(window, "&Save (replace original)", "S")
        assert (box["texts"], box["focus"]) == ([REPLACE], NO)
        assert_untouched(window)
        window.keys(key)
        window.wait_for_no_box()
    wait_until_saved(window)
    assert length(window.source) == pytest.approx(7, abs=0.1)


def test_optimising_by_the_menu_with_every_answer(own):
    window = own("fragmented")
    before = recording.read(window.source)
    for answers in (["ENTER"], ["Y", "N"], ["Y", "ENTER"]):
        box = choose(window, "&Optimise for editing (rebuild index)", "UP", "UP", "UP", "ENTER")
        assert (box["texts"], box["focus"]) == ([NEEDLESS], NO)
        window.keys(answers[0])
        if len(answers) == 2:
            window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [REWRITE], "the second question")
            assert window.box()["focus"] == YES
            assert_untouched(window)
            window.keys(answers[1])
        window.wait_for_no_box()
    wait_until_saved(window)
    assert b"moof" not in window.source.read_bytes()
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        assert len(recording.first(after, kind).packets) == len(recording.first(before, kind).packets)


def test_a_second_sound_track_is_not_left_out_unasked(own):
    window = cut(own("two-audio"))
    ask(window, text=LOSS)
    window.answer(NO)
    ask(window, text=LOSS)
    answer_and_be_asked(window, REPLACE)
    window.answer(NO)
    ask(window, OPTIMISE, LOSES_EDITS)
    answer_and_be_asked(window, NEEDLESS)
    answer_and_be_asked(window, LOSS)
    window.answer(NO)
    assert_untouched(window)
    ask(window, text=LOSS)
    answer_and_be_asked(window, REPLACE)
    window.answer(YES)
    wait_until_saved(window)
    assert [stream.kind for stream in recording.read(window.source)] == ["video", "audio"]
    window.pause()
    window.keys("S")
    window.wait_for_text("Split created")
    ask(window)  # nothing is left out any more
    window.answer(NO)


def save_less(window):
    """Asked whether the original is to be replaced by less: No, and then Yes."""
    for answer in (NO, YES):
        ask(window)
        answer_and_be_asked(window, LESS)
        assert window.box()["focus"] == NO
        assert window.source.read_bytes() == window.before
        assert names(window) == ["own.mp4", "own.mp4.velkantrix-tmp"]
        window.answer(answer)
        if answer == NO:
            window.wait_for_text(SAVE_CANCELLED)
            assert_untouched(window)
    wait_until_saved(window)
    assert names(window) == ["own.mp4"]
    assert recording.decoding_complaints(window.source) == ""


def test_a_source_that_ends_early_when_it_is_read_is_replaced_only_by_a_yes(own, media, tmp_path):
    (tmp_path / "own").mkdir()
    shutil.copyfile(media / "closed.mp4", tmp_path / "own" / "own.mp4")
    spoil(tmp_path / "own" / "own.mp4", 7, 8)
    window = cut(own())
    save_less(window)
    assert length(window.source) == pytest.approx(2, abs=0.5)


# The timeline ends with the pictures.
@pytest.mark.parametrize("name", ["video-short", "truncated-data", "fragmented-video-short"] if LONG
                         else ["video-short"])
def test_what_lies_behind_the_timeline_is_left_out_only_by_a_yes(own, name):
    save_less(cut(own(name)))


def test_an_unedited_video_in_another_size_is_encoded_and_replaced(own):
    window = own()
    window.post(WM_COMMAND, QUALITY_720)
    save(window)
    assert names(window) == ["own.mp4"]
    size = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=width,height",
                           "-of", "csv=p=0", str(window.source)], capture_output=True, text=True, check=True).stdout
    assert size.strip() == "1280,720"
    assert length(window.source) == pytest.approx(12, abs=0.1)
    assert recording.decoding_complaints(window.source) == ""


@long_run
def test_optimising_keeps_all_and_leaves_the_edit_out(own):
    window = cut(own("fragmented"))
    before = recording.read(window.source)
    ask(window, OPTIMISE, LOSES_EDITS)
    answer_and_be_asked(window, NEEDLESS)
    answer_and_be_asked(window, REWRITE)
    assert window.box()["focus"] == YES
    window.answer(YES)
    wait_until_saved(window)
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        assert len(recording.first(after, kind).packets) == len(recording.first(before, kind).packets)
    assert b"moof" not in window.source.read_bytes()
    assert names(window) == ["own.mp4"]


EVERY_END = ["video-late", "audio-short", "sound-longer", "video-short", "audio-late"]


@pytest.mark.parametrize("name", EVERY_END if LONG else random.Random(38).sample(EVERY_END, 1))
def test_optimising_costs_no_sample_and_no_time(own, name):
    window = own(name)
    before = recording.read(window.source)
    ask(window, OPTIMISE, NEEDLESS)
    answer_and_be_asked(window, REWRITE)
    window.answer(YES)
    wait_until_saved(window)
    after = recording.read(window.source)
    for kind in ("video", "audio"):
        old, new = (recording.first(file, kind).packets for file in (before, after))
        assert len(new) >= len(old) - 1  # AAC's priming isn't delivered
        for edge in (lambda packets: min(packet.pts for packet in packets if packet.end > 0),
                     lambda packets: max(packet.end for packet in packets)):
            assert edge(new) == pytest.approx(edge(old), abs=0.03)
