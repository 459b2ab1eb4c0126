"""Exports from the window: joined, separate clips, a copy, and what they say."""
import filecmp

import encoded
import pytest
import recording
from conftest import with_cut
from places import windows_path
from test_menus import choose, open_settings
from test_reencode_effects import check_rendered
from window import COMPLETE, LOGGED, NO, OK, SEPARATE_CLIPS, WM_COMMAND, YES

TOGGLE_FADE_OUT = 136


def length(path):
    return max(packet.end for packet in recording.first(recording.read(path), "video").packets)


def test_what_is_left_is_written_into_one_file(edited, tmp_path):
    edited.keys("DELETE")
    edited.wait_for_text("Clip removed — Ctrl+Z to undo")
    edited.export_to(tmp_path / "out.mp4")
    edited.wait_for_text(COMPLETE)
    assert length(tmp_path / "out.mp4") == pytest.approx(5, abs=0.6)
    assert recording.decoding_complaints(tmp_path / "out.mp4") == ""
    assert edited.close() == 0  # what was exported isn't asked about


def test_an_unedited_video_is_copied_byte_for_byte(paused, media, tmp_path):
    paused.export_to(tmp_path / "copy.mp4")
    paused.wait_for_text(COMPLETE)
    assert filecmp.cmp(media / "closed.mp4", tmp_path / "copy.mp4", shallow=False)


def test_clips_are_written_one_by_one(edited, tmp_path):
    edited.post(WM_COMMAND, SEPARATE_CLIPS)
    edited.keys("F2")
    edited.wait_for(lambda: "Edit" in edited.state()["children"], "the field")
    edited.ask("type a/b?")
    edited.keys("ENTER")
    folder = tmp_path / "clips"
    folder.mkdir()
    edited.export_to(folder)
    edited.wait_for_text(COMPLETE)
    assert sorted(file.name for file in folder.iterdir()) == ["02 - a-b-.mp4", "clip-01.mp4"]
    for file in folder.iterdir():
        assert recording.decoding_complaints(file) == ""


def test_the_dialogs_begin_where_the_recording_lies(start, media, tmp_path):
    """Names without a folder are typed there."""
    (tmp_path / "clips").mkdir()
    (tmp_path / "one.mp4").write_bytes((media / "closed.mp4").read_bytes())
    window = start(windows_path(tmp_path / "one.mp4"))
    window.wait_for_picture()
    window.type_in_dialog("out.mp4")
    window.wait_for_text(COMPLETE)
    assert (tmp_path / "out.mp4").exists()
    window.post(WM_COMMAND, SEPARATE_CLIPS)
    window.type_in_dialog("clips")  # behind which the first export's words may be drawn again
    window.wait_for(lambda: any((tmp_path / "clips").iterdir()), "a clip")
    assert [file.name for file in (tmp_path / "clips").iterdir()] == ["clip-01.mp4"]


def test_an_export_that_is_gone_can_not_be_shown(edited, tmp_path):
    edited.export_to(tmp_path / "out.mp4")
    edited.wait_for_text(COMPLETE)
    (tmp_path / "out.mp4").unlink()
    edited.open_menu("F")
    edited.wait_for_item("Show &last export in Explorer")
    edited.keys("L")
    edited.wait_for_no_menu()
    assert edited.seek("RIGHT")[1] == 10  # and nothing else came of it
    assert edited.box() is None


def test_the_source_as_the_target_is_asked_about_as_a_save(start, media, tmp_path):
    source = tmp_path / "own.mp4"
    source.write_bytes((media / "closed.mp4").read_bytes())
    window = start(windows_path(source))
    window.wait_for_picture()
    window.export_to(source)
    window.wait_for(lambda: (window.box() or {"count": 0})["count"] == 2, "the dialog's question")
    window.ask(f"answer {YES}")
    question = "Replace \"own.mp4\" with your edit?\n\n"
    window.wait_for(lambda: any(question in text for text in (window.box() or {"texts": []})["texts"]), "the question")
    window.answer(NO)
    window.settle()
    assert source.read_bytes() == (media / "closed.mp4").read_bytes()
    assert "Preparing native export…" not in window.drawn()


def test_an_export_that_fails_tells_why(edited, tmp_path):
    folder = tmp_path / "folder.mp4"
    folder.mkdir()
    edited.post(WM_COMMAND, SEPARATE_CLIPS)
    (folder / "clip-01.mp4").mkdir()  # in the way
    edited.export_to(folder)
    assert edited.wait_for_message()["texts"][0].startswith("Export failed.\n\n")
    edited.answer(OK)
    edited.wait_for_text("Export failed")


# Encoding


def choose_quality(window, *keys):
    open_settings(window)
    window.keys(*keys)
    window.wait_for_no_menu()


def keep_first_five_seconds(window):
    window.keys("DELETE")
    window.wait_for_text("Clip removed — Ctrl+Z to undo")


@pytest.fixture
def edited_losslessly(play):
    """Like `edited`, with an encoder that loses nothing."""
    window = play(environment={**LOGGED, "RIG_WRITER_LOSSLESS": "1"})
    window.pause()
    window.seek("HOME")
    window.seek("RIGHT")
    window.keys("S")
    window.wait_for_text("Split created")
    return window


def test_fades_exposure_and_quality_are_rendered_as_they_were_chosen(edited_losslessly, media, tmp_path):
    window = edited_losslessly
    keep_first_five_seconds(window)
    choose(window, "E", "I", "Fade in 1.0 s — renders on export (re-encode)")
    window.open_menu("E")
    window.keys("UP", "ENTER")
    window.wait_for_text("Fade out 1.0 s — renders on export (re-encode)")
    window.keys(*["BRACKET6"] * 3)
    window.wait_for_text("Exposure +30%")
    choose_quality(window, "Z")
    window.export_to(tmp_path / "out.mp4")
    window.wait_for_text(COMPLETE)
    assert encoded.shown_size(tmp_path / "out.mp4") == (320, 180)
    assert check_rendered(media / "closed.mp4", tmp_path / "out.mp4", [(0, 5)], 0.3, [(1, 1)]) > 140
    assert window.close() == 0


def test_a_smaller_quality_is_written_in_its_size(edited, media, tmp_path):
    keep_first_five_seconds(edited)
    choose_quality(edited, "UP", "ENTER")  # the last item
    edited.export_to(tmp_path / "out.mp4")
    edited.wait_for_text(COMPLETE)
    encoded.check_form(tmp_path / "out.mp4", (852, 480), "30")
    wanted = encoded.expected(encoded.times(media / "closed.mp4"), [(0, 5)])
    encoded.check_times(encoded.times(tmp_path / "out.mp4"), wanted)
    encoded.check_pictures(media / "closed.mp4", tmp_path / "out.mp4", wanted)


def test_fades_are_said_to_need_encoding(play, tmp_path):
    window = with_cut(play(environment={**LOGGED, "RIG_WRITER_PACE": "5"}))
    window.post(WM_COMMAND, TOGGLE_FADE_OUT)
    window.wait_for_text("Fade out 1.0 s — renders on export (re-encode)")
    for number in range(20):  # it may go on before the window is drawn
        window.forget()
        window.export_to(tmp_path / f"{number}.mp4")
        window.wait_for_text(COMPLETE)
        if "Fades require re-encoding — exporting at source quality…" in window.drawn():
            break
    assert "Fades require re-encoding — exporting at source quality…" in window.drawn()
    encoded.check_form(tmp_path / "0.mp4", (320, 180))
    assert length(tmp_path / "0.mp4") == pytest.approx(12, abs=0.05)
    assert recording.decoding_complaints(tmp_path / "0.mp4") == ""


# The dialogs


@pytest.fixture
def own(start, media, tmp_path):
    """A recording that lies alone in its folder, and stands still."""
    folder = tmp_path / "own"
    folder.mkdir()
    source = folder / "own.mp4"
    source.write_bytes((media / "closed.mp4").read_bytes())
    window = start(windows_path(source), environment=LOGGED)
    window.wait_for_picture()
    window.pause()
    return window


def accept_dialog(window, choices):
    """As it is proposed."""
    window.keys("CTRL+SHIFT+S")
    window.wait_for_dialog()
    assert window.box()["choices"] == choices
    window.forget()
    window.keys("ENTER")
    window.wait_for_text(COMPLETE)


def test_the_dialog_proposes_a_name_beside_the_source(own, tmp_path):
    folder = tmp_path / "own"
    accept_dialog(own, ["Video file"])
    assert filecmp.cmp(folder / "own.mp4", folder / "own-copy.mp4", shallow=False)
    own.seek("RIGHT")
    own.keys("S")
    own.wait_for_text("Split created")
    own.keys("DELETE")
    own.wait_for_text("Clip removed")
    accept_dialog(own, ["MP4 video"])
    assert length(folder / "own-cut.mp4") < 12
    assert sorted(file.name for file in folder.iterdir()) == ["own-copy.mp4", "own-cut.mp4", "own.mp4"]


def test_the_dialog_completes_a_name_and_asks_before_it_replaces(own, tmp_path):
    folder = tmp_path / "own"
    own.export_to(folder / "plain")
    own.wait_for_text(COMPLETE)
    assert filecmp.cmp(folder / "own.mp4", folder / "plain.mp4", shallow=False)
    (folder / "plain.mp4").write_bytes(b"mine")
    own.forget()
    own.export_to(folder / "plain")
    own.wait_for(lambda: own.box_count() == 2, "the question")
    own.answer_one(NO)
    own.cancel_dialog()
    own.settle()
    assert (folder / "plain.mp4").read_bytes() == b"mine"
    assert "Preparing native export…" not in own.drawn()
